#include "Herdr/UnixSocketTransport.h"

#include "Herdr/HerdrSocketQueue.h"
#include "Platform/OneShot.h"

#include <QObject>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr size_t chunkSize = 8192;
constexpr QStringView brokenOffText = u"Keelhaven is quitting";

/// A descriptor that closes itself.
class Descriptor
{
public:
    explicit Descriptor(int fd)
        : m_fd(fd)
    {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    [[nodiscard]] int get() const { return m_fd; }

private:
    int m_fd;
};

auto systemFailure(QStringView call, int error)
{
    return failure(
        HerdrError::transport(call.toString() + u"(): "_s + QString::fromLocal8Bit(std::strerror(error))));
}

void limitWaits(int fd, Span timeout)
{
    timeval limit{};
    limit.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(timeout).count();
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

Result<void, HerdrError> connectTo(int fd, const QString &socketPath)
{
    const QByteArray path = socketPath.toUtf8();
    sockaddr_un address{};
    if (path.size() > static_cast<qsizetype>(sizeof address.sun_path) - 1)
        return failure(HerdrError::transport(u"socket path too long: "_s + socketPath));
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return {};
    const int error = errno;
    if (error == ENOENT || error == ECONNREFUSED)
        return failure(HerdrError::unreachable(u"no Herdr server at "_s + socketPath));
    return systemFailure(u"connect", error);
}

Result<void, HerdrError> writeAll(int fd, const QByteArray &bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        // A server that went away must be an error here, not a SIGPIPE for the program.
        const ssize_t count = ::send(fd, bytes.constData() + written,
                                     static_cast<size_t>(bytes.size() - written), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return systemFailure(u"write", errno);
        written += count;
    }
    return {};
}

/// The bytes up to the first line feed or the end of the stream.
Result<QByteArray, HerdrError> readLine(int fd)
{
    QByteArray line;
    std::array<char, chunkSize> chunk{};
    while (true) {
        const ssize_t count = ::read(fd, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return failure(HerdrError::transport(UnixSocketTransport::timedOutText.toString()));
        if (count < 0)
            return systemFailure(u"read", errno);
        if (count == 0)
            return line;
        const QByteArrayView part(chunk.data(), count);
        const qsizetype end = part.indexOf('\n');
        line.append(end < 0 ? part : part.first(end));
        if (end >= 0)
            return line;
    }
}

} // namespace

UnixSocketTransport::UnixSocketTransport(QString socketPath)
    : m_socketPath(std::move(socketPath))
{}

Result<QString, HerdrError> UnixSocketTransport::exchange(const QString &socketPath, const QString &line,
                                                          Span timeout)
{
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (socket.get() < 0)
        return systemFailure(u"socket", errno);
    const HerdrSocketQueue::Exchange running(socket.get());
    if (running.isBrokenOff())
        return failure(HerdrError::transport(brokenOffText.toString()));
    limitWaits(socket.get(), timeout);
    if (auto connected = connectTo(socket.get(), socketPath); !connected)
        return failure(connected.error());
    if (auto written = writeAll(socket.get(), line.toUtf8() + '\n'); !written)
        return failure(written.error());
    const auto answer = readLine(socket.get());
    if (running.isBrokenOff())
        return failure(HerdrError::transport(brokenOffText.toString()));
    if (!answer)
        return failure(answer.error());
    if (answer->isEmpty())
        return failure(HerdrError::transport(u"empty response from Herdr"_s));
    return QString::fromUtf8(*answer);
}

QCoro::Task<Result<QString, HerdrError>> UnixSocketTransport::roundTrip(QString line, Span timeout)
{
    using Answer = Result<QString, HerdrError>;
    OneShot<Answer> done;
    auto *const relay = new QObject;
    auto job = [relay, done, path = m_socketPath, line, timeout]() mutable {
        // The reference moves on to the main loop: the waiting coroutine's state must not die on this thread.
        QMetaObject::invokeMethod(
            relay,
            [relay, done = std::move(done), answer = exchange(path, line, timeout)] {
                relay->deleteLater();
                done.resolve(answer);
            },
            Qt::QueuedConnection);
    };
    HerdrSocketQueue::post(std::move(job));
    auto answer = co_await done;
    co_return answer;
}

void UnixSocketTransport::post(QString line, Span timeout, std::function<void()> finished)
{
    HerdrSocketQueue::post(
        [path = m_socketPath, line = std::move(line), timeout, finished = std::move(finished)] {
            static_cast<void>(exchange(path, line, timeout));
            finished();
        });
}

} // namespace Keelhaven
