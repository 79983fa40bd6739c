#include "SessionHost/PaneInput.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Enter waits until the program has read the paste, so that it never reads both at one go: at least this
/// long, since older releases of the agents look at the time as well, and no longer than this when it reads
/// nothing.
constexpr Span shortestPause = 10ms;
constexpr Span longestPause = 100ms;
constexpr Span longestPausePerKilobyte = 1ms;

/// The terminal takes 4 KB at a time, and between two such parts nothing waits in it for a moment: only
/// several looks in a row tell that the last part was read, more of them for a text of many parts.
constexpr Span lookInterval = 4ms;
constexpr qsizetype fewestLooks = 2;
constexpr qsizetype bytesPerLook = 16 * 1024;

/// Whether nothing that was typed into the terminal waits for its program. False when that cannot be told.
bool hasReadAll(const QByteArray &terminal)
{
    const int file = ::open(terminal.constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return false;
    int waiting = 0;
    const bool known = ::ioctl(file, FIONREAD, &waiting) == 0;
    ::close(file);
    return known && waiting == 0;
}

/// Bytes in one command. tmux reads a line as a whole before it runs it.
constexpr qsizetype chunkSize = 256 * 1024;

} // namespace

/// The right to type into a pane; passes on when the last copy goes.
class PaneInput::Turn
{
public:
    Turn(PaneInput &input, QByteArray pane)
        : m_input(input)
        , m_pane(std::move(pane))
    {}
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;
    ~Turn() { m_input.pass(m_pane); }

private:
    PaneInput &m_input;
    QByteArray m_pane;
};

QByteArray pastable(const QString &prompt)
{
    QByteArray text = prompt.toUtf8();
    // Taking one out may join the halves of another.
    for (qsizetype before = -1; before != text.size();) {
        before = text.size();
        for (const char *mark : {"\x1b[200~", "\x1b[201~",
                                 "\xc2\x9b"
                                 "200~",
                                 "\xc2\x9b"
                                 "201~"})
            text.replace(mark, "");
    }
    return text;
}

PaneInput::PaneInput(TmuxControl &tmux, Clock &clock)
    : m_tmux(tmux)
    , m_clock(clock)
{}

QCoro::Task<std::shared_ptr<PaneInput::Turn>> PaneInput::takeTurn(QByteArray pane)
{
    if (const auto queue = m_queues.find(pane); queue != m_queues.end()) {
        const OneShot<bool> turn;
        queue->push_back(turn);
        [[maybe_unused]] const bool mine = co_await turn;
    } else {
        m_queues.insert(pane, {});
    }
    co_return std::make_shared<Turn>(*this, pane);
}

void PaneInput::pass(const QByteArray &pane)
{
    const auto queue = m_queues.find(pane);
    if (queue == m_queues.end())
        return;
    if (queue->empty()) {
        m_queues.erase(queue);
        return;
    }
    const OneShot<bool> next = queue->front();
    queue->pop_front();
    QMetaObject::invokeMethod(&m_tmux, [next] { next.resolve(true); }, Qt::QueuedConnection);
}

QCoro::Task<HostResult<void>> PaneInput::leaveCopyMode(QByteArray pane)
{
    // While a person scrolls, keys would go to the scrolling, and the paste would not know of the brackets.
    const QByteArrayList command{"copy-mode"_ba, "-q"_ba, "-t"_ba, pane};
    const auto done = co_await m_tmux.run(command);
    if (!done)
        co_return failure(done.error());
    co_return {};
}

QCoro::Task<HostResult<void>> PaneInput::write(QByteArray pane, QByteArray bytes, Brackets brackets)
{
    const QByteArray buffer = "keelhaven-"_ba + QByteArray::number(m_nextBuffer++);
    for (qsizetype start = 0; start < bytes.size(); start += chunkSize) {
        QByteArrayList fill{"set-buffer"_ba, "-b"_ba, buffer};
        if (start > 0)
            fill << "-a"_ba;
        fill << "--"_ba << bytes.mid(start, chunkSize);
        const auto filled = co_await m_tmux.run(fill);
        if (!filled)
            co_return failure(filled.error());
    }
    QByteArrayList paste{"paste-buffer"_ba, "-r"_ba, "-d"_ba, "-b"_ba, buffer, "-t"_ba, pane};
    if (brackets == Brackets::WhenAsked)
        paste << "-p"_ba;
    const auto pasted = co_await m_tmux.run(paste);
    if (!pasted) {
        const QByteArrayList discard{"delete-buffer"_ba, "-b"_ba, buffer};
        [[maybe_unused]] const auto discarded = co_await m_tmux.run(discard);
        co_return failure(pasted.error());
    }
    co_return {};
}

QCoro::Task<HostResult<void>> PaneInput::type(QByteArray pane, QByteArray text)
{
    const auto turn = co_await takeTurn(pane);
    const auto left = co_await leaveCopyMode(pane);
    if (!left)
        co_return failure(left.error());
    // tmux's buffers end at a NUL, which is Ctrl-Space as a key.
    const auto pieces = text.split('\0');
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        if (i > 0) {
            const QByteArrayList nul{"send-keys"_ba, "-t"_ba, pane, "-H"_ba, "00"_ba};
            const auto sent = co_await m_tmux.run(nul);
            if (!sent)
                co_return failure(sent.error());
        }
        if (pieces[i].isEmpty())
            continue;
        const auto written = co_await write(pane, pieces[i], Brackets::Never);
        if (!written)
            co_return failure(written.error());
    }
    co_return {};
}

QCoro::Task<bool> PaneInput::untilRead(QByteArray terminal, qsizetype size)
{
    const Date began = m_clock.now();
    const Span longest = longestPause + size / 1024 * longestPausePerKilobyte;
    const qsizetype wantedLooks = fewestLooks + size / bytesPerLook;
    bool slept = co_await m_clock.sleep(shortestPause);
    for (qsizetype looks = 0; slept && looks < wantedLooks && m_clock.now() - began < longest;) {
        looks = hasReadAll(terminal) ? looks + 1 : 0;
        slept = co_await m_clock.sleep(lookInterval);
    }
    co_return slept;
}

QCoro::Task<HostResult<void>> PaneInput::pasteAndEnter(QByteArray pane, QByteArray terminal, QString text)
{
    const QByteArray bytes = pastable(text);
    if (bytes.contains('\0'))
        co_return failure(HerdrFailure{u"invalid_request"_s, u"a prompt cannot hold a NUL character"_s});
    const auto turn = co_await takeTurn(pane);
    const auto left = co_await leaveCopyMode(pane);
    if (!left)
        co_return failure(left.error());
    if (!bytes.isEmpty()) {
        const auto pasted = co_await write(pane, bytes, Brackets::WhenAsked);
        if (!pasted)
            co_return failure(pasted.error());
        const bool waited = co_await untilRead(terminal, bytes.size());
        if (!waited)
            co_return failure(terminalUnavailable(u"the host is going down"_s));
    }
    auto entered = co_await write(pane, "\r"_ba, Brackets::Never);
    // What the next one types must not be read together with this Enter, either.
    const auto queue = m_queues.constFind(pane);
    if (queue != m_queues.constEnd() && !queue->empty()) {
        [[maybe_unused]] const bool waited = co_await untilRead(terminal, 1);
    }
    co_return entered;
}

} // namespace Keelhaven
