#include "SessionHost/HostServer.h"

#include "Platform/InotifyDirectoryWatch.h"
#include "SessionHost/HostMethods.h"

#include <QSocketNotifier>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Span lookInterval = 2s;

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

std::optional<sockaddr_un> addressOf(const QString &path)
{
    const QByteArray bytes = QFile::encodeName(path);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (bytes.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return std::nullopt;
    std::memcpy(address.sun_path, bytes.constData(), static_cast<size_t>(bytes.size()));
    return address;
}

bool somebodyAnswers(const sockaddr_un &address)
{
    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int result = ::connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    // A full queue also means that somebody listens.
    const bool answers = result == 0 || errno == EAGAIN;
    ::close(probe);
    return answers;
}

bool isStanding(const sockaddr_un &address, const HostServer::SocketFile &file)
{
    struct stat found = {};
    return ::lstat(address.sun_path, &found) == 0 && found.st_dev == file.device &&
           found.st_ino == file.inode;
}

bool isOwnUser(int socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::getuid();
}

} // namespace

/// One client: reads its line, has it answered, writes the answer, ends.
class HostServer::Connection : public QObject
{
public:
    Connection(HostServer &server, int socket)
        : m_server(server)
        , m_socket(socket)
        , m_readable(socket, QSocketNotifier::Read)
        , m_writable(socket, QSocketNotifier::Write)
    {
        m_writable.setEnabled(false);
        QObject::connect(&m_readable, &QSocketNotifier::activated, this, [this] { read(); });
        QObject::connect(&m_writable, &QSocketNotifier::activated, this, [this] { write(); });
        restartIdleTimer();
    }

    ~Connection() override { retire(); }

    /// Hangs up; nothing happens here any more.
    void retire()
    {
        m_readable.setEnabled(false);
        m_writable.setEnabled(false);
        m_idle.reset();
        if (m_socket >= 0)
            ::close(std::exchange(m_socket, -1));
    }

    [[nodiscard]] bool waitsForRequest() const { return m_readable.isEnabled(); }

    void respond(const QByteArray &line)
    {
        if (m_socket < 0)
            return;
        m_output = line + '\n';
        restartIdleTimer();
        write();
    }

private:
    void restartIdleTimer()
    {
        m_idle = m_server.m_clock.after(m_server.m_limits.idle, [this] { m_server.remove(this); });
    }

    void read()
    {
        char chunk[65536];
        // A bounded number of reads a turn: a client that floods shares the loop with the others.
        for (int i = 0; i < 16; ++i) {
            const ssize_t count = ::recv(m_socket, chunk, sizeof chunk, 0);
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
                return;
            if (count < 0)
                return m_server.remove(this);
            if (count == 0)
                return takeRequest(m_input.isEmpty() ? -1 : m_input.size());
            const void *end = std::memchr(chunk, '\n', static_cast<size_t>(count));
            m_input.append(chunk, end ? static_cast<const char *>(end) - chunk : count);
            if (end)
                return takeRequest(m_input.size());
            if (m_input.size() > m_server.m_limits.lineLength)
                return refuse(u"request_too_large"_s, u"the request is too long"_s);
        }
    }

    /// `size` is -1 when the client went without a word.
    void takeRequest(qsizetype size)
    {
        if (size < 0)
            return m_server.remove(this);
        m_readable.setEnabled(false);
        m_idle.reset();
        m_server.m_tasks.spawn(m_server.answer(this, std::exchange(m_input, {})), "request");
    }

    void refuse(const QString &code, const QString &message)
    {
        m_readable.setEnabled(false);
        m_input.clear();
        respond(HostMethods::errorLine(HerdrFailure{code, message}));
    }

    void write()
    {
        while (!m_output.isEmpty()) {
            const ssize_t count =
                ::send(m_socket, m_output.constData(), static_cast<size_t>(m_output.size()), MSG_NOSIGNAL);
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                m_writable.setEnabled(true);
                return;
            }
            if (count <= 0)
                break;
            m_output.remove(0, count);
        }
        m_server.remove(this);
    }

    HostServer &m_server;
    int m_socket;
    QSocketNotifier m_readable;
    QSocketNotifier m_writable;
    QByteArray m_input;
    QByteArray m_output;
    Timer m_idle;
};

HostServer::HostServer(Serve serve, Clock &clock, Limits limits)
    : m_serve(std::move(serve))
    , m_clock(clock)
    , m_limits(limits)
{}

HostServer::~HostServer()
{
    stopListening();
    if (m_lock >= 0)
        ::close(m_lock);
}

Result<void, QString> HostServer::listen(const QString &path, const QString &lockPath)
{
    const auto address = addressOf(path);
    if (!address)
        return failure(u"the socket path is too long: %1"_s.arg(path));
    m_lock = ::open(QFile::encodeName(lockPath).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_lock < 0)
        return failure(u"cannot open %1: %2"_s.arg(lockPath, systemError()));
    // The kernel gives the lock back when its holder dies, however it dies.
    if (::flock(m_lock, LOCK_EX | LOCK_NB) != 0)
        return failure(u"a server already answers at %1"_s.arg(path));
    m_path = path;
    if (auto opened = openSocket(*address); !opened)
        return opened;
    watchFolder();
    return {};
}

/// A socket that a clean-up of the folder took away would leave everybody without the panes, and its lock
/// would keep any other server from taking the place.
void HostServer::watchFolder()
{
    m_folderWatch = InotifyDirectoryWatchFactory().watch(
        QFileInfo(m_path).path(), [this] { lookAfterSocket(); }, [this] { watchFolder(); });
    // While the folder itself is away nothing tells of its return.
    m_folderPoll = m_folderWatch ? Timer() : m_clock.after(lookInterval, [this] { watchFolder(); });
    lookAfterSocket();
}

void HostServer::lookAfterSocket()
{
    const auto address = addressOf(m_path);
    if (address && !isStanding(*address, m_socketFile))
        static_cast<void>(openSocket(*address));
}

/// On failure an earlier socket stays in use.
Result<void, QString> HostServer::openSocket(const sockaddr_un &address)
{
    if (somebodyAnswers(address))
        return failure(u"a server already answers at %1"_s.arg(m_path));
    struct stat status = {};
    if (::lstat(address.sun_path, &status) == 0) {
        if (!S_ISSOCK(status.st_mode))
            return failure(u"cannot listen at %1: something that is no socket stands there"_s.arg(m_path));
        ::unlink(address.sun_path);
    }
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener < 0 || ::bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::chmod(address.sun_path, 0600) != 0 || ::listen(listener, 128) != 0 ||
        ::lstat(address.sun_path, &status) != 0) {
        const QString reason = systemError();
        if (listener >= 0)
            ::close(listener);
        return failure(u"cannot listen at %1: %2"_s.arg(m_path, reason));
    }
    if (m_listener >= 0) {
        acceptAll(); // who is already in its queue
        m_notifier.reset();
        m_acceptPause.reset();
        ::close(m_listener);
    }
    m_listener = listener;
    m_socketFile = {status.st_dev, status.st_ino};
    m_notifier = std::make_unique<QSocketNotifier>(m_listener, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &HostServer::acceptAll);
    return {};
}

void HostServer::stopListening()
{
    m_folderWatch.reset();
    m_folderPoll.reset();
    m_notifier.reset();
    m_acceptPause.reset();
    if (m_listener < 0)
        return;
    if (const auto address = addressOf(m_path); address && isStanding(*address, m_socketFile))
        ::unlink(address->sun_path);
    ::close(std::exchange(m_listener, -1));
}

void HostServer::acceptAll()
{
    while (m_listener >= 0) {
        const int socket = ::accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket < 0) {
            if (errno == EMFILE || errno == ENFILE || errno == ENOMEM) {
                // The waiting connection stays readable: without a pause the loop would spin on it.
                m_notifier->setEnabled(false);
                m_acceptPause = m_clock.after(200ms, [this] {
                    if (m_notifier)
                        m_notifier->setEnabled(true);
                });
            }
            return;
        }
        if (!isOwnUser(socket)) {
            ::close(socket);
            continue;
        }
        m_connections.push_back(std::make_unique<Connection>(*this, socket));
        if (connectionCount() > m_limits.connections) {
            const auto oldest = std::find_if(m_connections.begin(), m_connections.end(),
                                             [](const auto &each) { return each->waitsForRequest(); });
            if (oldest != m_connections.end())
                remove(oldest->get());
        }
    }
}

void HostServer::remove(Connection *connection)
{
    const auto found = std::find_if(m_connections.begin(), m_connections.end(),
                                    [&](const auto &each) { return each.get() == connection; });
    if (found == m_connections.end())
        return;
    // It is one of its own notifiers that calls.
    connection->retire();
    found->release()->deleteLater();
    m_connections.erase(found);
}

QCoro::Task<> HostServer::answer(QPointer<QObject> connection, QByteArray line)
{
    const QByteArray response = co_await m_serve(line);
    if (connection)
        static_cast<Connection *>(connection.data())->respond(response);
}

} // namespace Keelhaven
