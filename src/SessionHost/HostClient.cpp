#include "SessionHost/HostClient.h"

#include "Herdr/Wire/HerdrEnvelope.h"
#include "Herdr/Wire/HerdrParams.h"
#include "Herdr/Wire/HerdrRecords.h"
#include "Herdr/Wire/HerdrStatusJSON.h"
#include "SessionHost/HostMethods.h"
#include "SessionHost/HostVersion.h"

#include <QCoreApplication>
#include <QProcess>
#include <QThread>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

using Steady = std::chrono::steady_clock;

/// A socket that closes itself.
struct Socket
{
    int number = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    Socket() = default;
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    ~Socket() { ::close(number); }

    [[nodiscard]] bool waitFor(short events, Steady::time_point deadline) const
    {
        pollfd entry{number, events, 0};
        while (true) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Steady::now()).count();
            const int ready = ::poll(&entry, 1, static_cast<int>(std::max<qint64>(left, 0)));
            if (ready >= 0 || errno != EINTR)
                return ready > 0;
        }
    }
};

template <typename Params>
QByteArray requestLine(QStringView method, const Params &params)
{
    const HerdrRequest<Params> request{newHerdrRequestID(), method.toString(), params};
    return JSONValue(encodeRecord(request)).encoded();
}

std::optional<Herdr::Pong> pingHost(const QString &socket)
{
    const auto line = askHost(socket, requestLine(Herdr::Method::ping, Herdr::NoParams()), 3s);
    const auto envelope = line ? decodeRecordBytes<HerdrEnvelope<Herdr::Pong>>(*line)
                               : Decoded<HerdrEnvelope<Herdr::Pong>>(std::unexpect);
    return envelope && !envelope->error ? envelope->result : std::nullopt;
}

HerdrStatusJSON statusOf(const HostPaths &paths)
{
    HerdrStatusJSON status;
    status.client.version = hostVersion();
    status.client.protocol = Herdr::protocolVersion;
    status.client.binary = QCoreApplication::applicationFilePath();
    status.client.session = paths.session;
    status.server.socket = paths.socket;
    status.server.session = paths.session;
    if (const auto pong = pingHost(paths.socket)) {
        status.server.running = true;
        status.server.version = pong->version;
        status.server.protocol = pong->protocolVersion;
        status.server.compatible = pong->protocolVersion == Herdr::protocolVersion;
        status.server.restartNeeded = pong->version != status.client.version;
    }
    return status;
}

} // namespace

Result<QByteArray, QString> askHost(const QString &socketPath, const QByteArray &line,
                                    std::chrono::milliseconds timeout)
{
    const auto deadline = Steady::now() + timeout;
    const QByteArray path = QFile::encodeName(socketPath);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return failure(u"the socket path is too long: %1"_s.arg(socketPath));
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    const Socket socket;
    if (::connect(socket.number, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        return failure(u"no server at %1"_s.arg(socketPath));
    QByteArray output = line + '\n';
    while (!output.isEmpty()) {
        const ssize_t count =
            ::send(socket.number, output.constData(), static_cast<size_t>(output.size()), MSG_NOSIGNAL);
        if (count > 0)
            output.remove(0, count);
        else if (errno != EAGAIN || !socket.waitFor(POLLOUT, deadline))
            return failure(u"the server at %1 takes no request"_s.arg(socketPath));
    }
    QByteArray input;
    char chunk[8192];
    while (!input.contains('\n')) {
        if (!socket.waitFor(POLLIN, deadline))
            return failure(u"the server at %1 does not answer"_s.arg(socketPath));
        const ssize_t count = ::recv(socket.number, chunk, sizeof chunk, 0);
        if (count > 0)
            input.append(chunk, count);
        else if (count == 0 || (errno != EAGAIN && errno != EINTR))
            return failure(u"the server at %1 hung up"_s.arg(socketPath));
    }
    return input.first(input.indexOf('\n'));
}

QByteArray hostStatusJSON(const HostPaths &paths)
{
    return JSONValue(encodeRecord(statusOf(paths))).encoded();
}

QString hostStatusText(const HostPaths &paths)
{
    const auto status = statusOf(paths);
    const QString client =
        u"keelhaven-host %1 (protocol %2), "_s.arg(status.client.version).arg(status.client.protocol);
    if (!status.server.running)
        return client + u"no server at "_s + paths.socket;
    return client + u"server %1 at %2"_s.arg(status.server.version.value_or(QString()), paths.socket);
}

Result<QString, QString> stopHost(const HostPaths &paths, bool closePanes)
{
    // Panes that outlived their server are closed by a server that finds them.
    const bool hasPanesOnly = closePanes && QFile::exists(paths.tmuxSocket) && !pingHost(paths.socket);
    if (auto started = hasPanesOnly ? ensureHost(paths) : Result<void, QString>(); !started)
        return failure(started.error());
    if (!pingHost(paths.socket))
        return u"no server is running at %1"_s.arg(paths.socket);
    ServerStopParams params;
    params.panes = closePanes;
    const auto answer = askHost(paths.socket, requestLine(u"server.stop", params), 15s);
    if (!answer)
        return failure(answer.error());
    if (const auto envelope = decodeRecordBytes<HerdrEnvelope<Herdr::Ack>>(*answer);
        envelope && envelope->error)
        return failure(envelope->error->message);
    for (int i = 0; i < 100; ++i) {
        if (!QFile::exists(paths.socket))
            return u"the server has stopped"_s;
        QThread::msleep(50);
    }
    return failure(u"the server at %1 did not stop"_s.arg(paths.socket));
}

Result<void, QString> ensureHost(const HostPaths &paths)
{
    const QByteArray line = requestLine(Herdr::Method::workspaceList, Herdr::NoParams());
    auto answer = askHost(paths.socket, line, 15s);
    if (!answer) {
        const QString program = QCoreApplication::applicationFilePath();
        QProcess server;
        server.setProgram(program);
        server.setArguments({u"--session"_s, paths.session, u"server"_s});
        server.setStandardInputFile(QProcess::nullDevice());
        server.setStandardOutputFile(QProcess::nullDevice());
        server.setStandardErrorFile(QProcess::nullDevice());
        server.setWorkingDirectory(QDir::rootPath());
        if (!server.startDetached())
            return failure(u"cannot start %1"_s.arg(program));
    }
    for (int i = 0; i < 100 && !answer; ++i) {
        QThread::msleep(50);
        answer = askHost(paths.socket, line, 15s);
    }
    if (!answer)
        return failure(answer.error());
    const auto envelope = decodeRecordBytes<HerdrEnvelope<Herdr::WorkspaceList>>(*answer);
    if (envelope && envelope->error)
        return failure(envelope->error->message);
    return {};
}

} // namespace Keelhaven
