#include "SessionHost/TmuxControl.h"

#include "Platform/Shell.h"
#include "SessionHost/PaneEnvironment.h"
#include "SessionHost/TmuxWords.h"

#include <QProcess>
#include <QStandardPaths>
#include <linux/close_range.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// How long tmux may take for one step. It answers in milliseconds; a server that hangs is given up after
/// this.
constexpr Span patience = 10s;

/// How often a connection is tried, with a start of the server in between.
constexpr int attempts = 5;

/// Sent with every connection, so that an older server gets what this version needs. `exit-empty` keeps the
/// server when its last session closes; no status refresh, no renaming: an idle server does not wake up.
const QList<QByteArrayList> &serverOptions()
{
    static const QList<QByteArrayList> options{
        {"set-option"_ba, "-s"_ba, "exit-empty"_ba, "off"_ba},
        {"set-option"_ba, "-s"_ba, "escape-time"_ba, "0"_ba},
        {"set-option"_ba, "-g"_ba, "default-size"_ba, "200x50"_ba},
        {"set-option"_ba, "-g"_ba, "history-limit"_ba, "20000"_ba},
        {"set-option"_ba, "-g"_ba, "status-interval"_ba, "0"_ba},
        {"set-option"_ba, "-g"_ba, "status-right"_ba, ""_ba},
        {"set-option"_ba, "-g"_ba, "automatic-rename"_ba, "off"_ba},
        {"set-option"_ba, "-g"_ba, "allow-rename"_ba, "off"_ba},
        {"set-option"_ba, "-g"_ba, "detach-on-destroy"_ba, "off"_ba},
        {"set-option"_ba, "-g"_ba, "remain-on-exit"_ba, "off"_ba},
    };
    return options;
}

bool onlyAsks(const QByteArray &command)
{
    static const QByteArrayList questions{"list-panes"_ba,   "list-windows"_ba, "list-sessions"_ba,
                                          "list-clients"_ba, "capture-pane"_ba, "display-message"_ba,
                                          "show-options"_ba};
    return questions.contains(command);
}

/// Ends a process without waiting for it; the caller may be one of its own signals.
void letGo(std::unique_ptr<QProcess> owned)
{
    QProcess *process = owned.release();
    process->disconnect();
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    process->closeWriteChannel(); // end of input detaches a control client
    if (process->state() == QProcess::NotRunning)
        process->deleteLater();
    process->kill();
}

} // namespace

HerdrFailure terminalUnavailable(const QString &reason)
{
    return HerdrFailure{u"terminal_unavailable"_s, u"the terminals cannot be reached: "_s + reason};
}

TmuxControl::TmuxControl(Setup setup, Clock &clock)
    : m_setup(std::move(setup))
    , m_clock(clock)
{}

TmuxControl::~TmuxControl()
{
    close();
}

QCoro::Task<HostResult<void>> TmuxControl::open()
{
    if (m_isOpen)
        co_return {};
    if (m_isClosed)
        co_return failure(terminalUnavailable(u"the host is going down"_s));
    if (m_isConnecting) {
        const OneShot<bool> turn;
        m_waiters.push_back(turn);
        [[maybe_unused]] const bool waited = co_await turn;
        co_return HostResult<void>(m_lastOpen);
    }
    m_isConnecting = true;
    auto outcome = co_await connectNow();
    m_lastOpen = outcome;
    m_isConnecting = false;
    // They go on one turn later: what this caller sends next must come before what they send.
    QMetaObject::invokeMethod(
        this,
        [waiters = std::exchange(m_waiters, {})] {
            for (const auto &waiter : waiters)
                waiter.resolve(true);
        },
        Qt::QueuedConnection);
    co_return outcome;
}

QCoro::Task<HostResult<void>> TmuxControl::connectNow()
{
    if (QStandardPaths::findExecutable(u"tmux"_s).isEmpty())
        co_return failure(terminalUnavailable(u"tmux is not installed"_s));
    HostResult<void> reached = failure(terminalUnavailable(u"no server"_s));
    for (int attempt = 0; attempt < attempts && !reached; ++attempt) {
        const bool attached = co_await attach();
        if (attached) {
            reached = {};
            break;
        }
        const auto started = co_await startServer();
        if (!started) {
            // A server that is just going down still takes connections, and drops them.
            reached = started;
            const bool waited = co_await m_clock.sleep(200ms);
            if (!waited)
                break;
        }
    }
    if (!reached)
        co_return reached;
    const auto configured = co_await configure();
    if (!configured) {
        drop(configured.error().message);
        co_return configured;
    }
    ++m_generation;
    m_isOpen = true;
    co_return {};
}

QCoro::Task<bool> TmuxControl::attach()
{
    drop(u"connecting again"_s);
    const OneShot<bool> attached;
    m_attached = attached;
    m_process = std::make_unique<QProcess>();
    m_process->setProcessEnvironment(paneEnvironment());
    m_process->setStandardErrorFile(QProcess::nullDevice());
    connect(m_process.get(), &QProcess::readyReadStandardOutput, this, &TmuxControl::readOutput);
    connect(m_process.get(), &QProcess::finished, this, [this] { drop(u"tmux has ended"_s); });
    connect(m_process.get(), &QProcess::errorOccurred, this, [this] { drop(u"tmux failed"_s); });
    m_process->start(u"tmux"_s, {u"-u"_s, u"-S"_s, m_setup.socketPath, u"-f"_s, u"/dev/null"_s, u"-N"_s,
                                 u"-C"_s, u"attach-session"_s, u"-f"_s, u"no-output,ignore-size"_s, u"-t"_s,
                                 u"="_s + QLatin1StringView(homeName)});
    const Timer timeout = m_clock.after(patience, [attached] { attached.resolve(false); });
    const bool succeeded = co_await attached;
    m_attached.reset();
    if (!succeeded)
        drop(u"no server"_s);
    co_return succeeded;
}

QCoro::Task<HostResult<void>> TmuxControl::startServer()
{
    const OneShot<bool> ended;
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(paneEnvironment());
    process->setWorkingDirectory(QDir::homePath());
    process->setProcessChannelMode(QProcess::MergedChannels);
    process->setStandardInputFile(QProcess::nullDevice());
    process->setChildProcessModifier([mask = m_setup.paneMask] {
        ::umask(mask);
        // The server stays for ever; files that whoever started the host had open must not stay with it.
        ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    });
    connect(process.get(), &QProcess::finished, this, [ended] { ended.resolve(true); });
    connect(process.get(), &QProcess::errorOccurred, this, [ended] { ended.resolve(true); });
    // The history limit and the shell count for windows made after them, so the home session comes last.
    QStringList arguments{u"-S"_s, m_setup.socketPath, u"-f"_s, u"/dev/null"_s, u"start-server"_s, u";"_s};
    arguments += {u"set-option"_s, u"-g"_s, u"default-shell"_s, userShell(), u";"_s};
    arguments += {u"new-session"_s,
                  u"-d"_s,
                  u"-s"_s,
                  QLatin1StringView(homeName),
                  u"-n"_s,
                  u"keelhaven"_s,
                  u"printf 'No session is open. Ctrl-b d leaves this view.\\n'; exec tail -f /dev/null"_s};
    process->start(u"tmux"_s, arguments);
    const Timer timeout = m_clock.after(patience, [ended] { ended.resolve(false); });
    const bool inTime = co_await ended;
    const QString output = QString::fromLocal8Bit(process->readAll()).trimmed();
    const bool succeeded = inTime && process->state() == QProcess::NotRunning &&
                           process->exitStatus() == QProcess::NormalExit && process->exitCode() == 0;
    letGo(std::move(process));
    if (!succeeded)
        co_return failure(terminalUnavailable(output.isEmpty() ? u"tmux did not start"_s : output));
    co_return {};
}

QCoro::Task<HostResult<void>> TmuxControl::configure()
{
    for (const QByteArrayList &option : serverOptions()) {
        const auto set = co_await send(option);
        if (!set)
            co_return failure(set.error());
    }
    const QByteArrayList drawEpoch{"set-option"_ba, "-goq"_ba, "@keelhaven_epoch"_ba,
                                   uuidText(QUuid::createUuid()).first(6).toLower().toLatin1()};
    const auto drawn = co_await send(drawEpoch);
    const QByteArrayList readEpoch{"show-options"_ba, "-gqv"_ba, "@keelhaven_epoch"_ba};
    const auto epoch = co_await send(readEpoch);
    const QByteArrayList readHome{"display-message"_ba, "-p"_ba, "#{session_id} #{pid}"_ba};
    const auto home = co_await send(readHome);
    if (!drawn || !epoch || !home)
        co_return failure(!drawn ? drawn.error() : !epoch ? epoch.error() : home.error());
    m_epoch = epoch->trimmed();
    const auto fields = home->trimmed().split(' ');
    m_homeSession = fields.value(0);
    m_serverProcess = fields.value(1).toInt();
    co_return {};
}

QCoro::Task<HostResult<TmuxOutput>> TmuxControl::run(QByteArrayList words)
{
    const auto opened = co_await open();
    if (!opened)
        co_return failure(opened.error());
    auto outcome = co_await send(words);
    co_return outcome;
}

QCoro::Task<TmuxControl::Outcome> TmuxControl::send(QByteArrayList words)
{
    if (!m_process)
        co_return failure(terminalUnavailable(u"the connection is lost"_s));
    for (const QByteArray &word : words) {
        if (word.contains('\0'))
            co_return failure(HerdrFailure{u"invalid_request"_s, u"a NUL character cannot be carried"_s});
    }
    if (!onlyAsks(words.value(0)))
        ++m_changes;
    const OneShot<Outcome> answer;
    m_pending.push_back(answer);
    m_process->write(tmuxLine(words) + '\n');
    watchReplies();
    auto outcome = co_await answer;
    co_return outcome;
}

void TmuxControl::readOutput()
{
    const quint64 told = m_parser.notificationCount();
    const auto replies = m_parser.feed(m_process->readAllStandardOutput());
    m_changes += m_parser.notificationCount() - told;
    const QProcess *source = m_process.get();
    m_lastReply = m_clock.now();
    for (const auto &reply : replies) {
        if (!reply.isOwn) {
            if (m_attached)
                m_attached->resolve(reply.succeeded);
            continue;
        }
        if (m_pending.empty() || m_process.get() != source)
            return; // whoever was answered just now gave the connection up
        const OneShot<Outcome> answer = m_pending.front();
        m_pending.pop_front();
        if (reply.succeeded)
            answer.resolve(TmuxOutput(reply.body));
        else
            answer.resolve(
                failure(HerdrFailure{u"terminal_error"_s, QString::fromUtf8(reply.body).trimmed()}));
    }
}

void TmuxControl::watchReplies()
{
    if (m_replyTimer)
        return;
    m_lastReply = m_clock.now();
    // One timer for a burst of commands; it ends with the first look that finds nothing waiting.
    m_replyTimer = m_clock.after(patience, [this] {
        m_replyTimer.reset();
        if (m_pending.empty())
            return;
        if (m_clock.now() - m_lastReply >= patience - 1s)
            drop(u"tmux does not answer"_s);
        else
            watchReplies();
    });
}

void TmuxControl::drop(const QString &reason)
{
    m_isOpen = false;
    if (m_process)
        letGo(std::move(m_process));
    m_parser = {};
    // Those who are woken may connect again at once.
    const auto attached = std::exchange(m_attached, {});
    const auto pending = std::exchange(m_pending, {});
    if (attached)
        attached->resolve(false);
    for (const auto &answer : pending)
        answer.resolve(failure(terminalUnavailable(reason)));
}

void TmuxControl::close()
{
    m_isClosed = true;
    m_replyTimer.reset();
    if (m_process) {
        m_process->disconnect(this);
        m_process->closeWriteChannel();
        if (!m_process->waitForFinished(1000)) {
            m_process->kill();
            m_process->waitForFinished(1000);
        }
        m_process.reset();
    }
    drop(u"the host is going down"_s);
}

} // namespace Keelhaven
