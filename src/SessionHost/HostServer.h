#pragma once

#include "Platform/Clock.h"
#include "Platform/DirectoryWatch.h"
#include "Platform/Result.h"
#include "Platform/Tasks.h"

#include <QObject>
#include <list>
#include <sys/types.h>

class QSocketNotifier;
struct sockaddr_un;

namespace Keelhaven {

/// Listens on a Unix socket and serves one request a connection: a line in, a line out, closed. Nobody can
/// hold up the others: nothing blocks, a line has a greatest length, a connection that does not come to its
/// end is dropped after `idleLimit`, and beyond `connectionLimit` the one that has waited longest for its
/// request goes.
class HostServer : public QObject
{
    Q_OBJECT

public:
    using Serve = std::function<QCoro::Task<QByteArray>(QByteArray line)>;

    struct Limits
    {
        qsizetype lineLength = 8 * 1024 * 1024;
        Span idle = std::chrono::seconds(30);
        int connections = 64;
    };

    /// What tells our socket from another one of that name.
    struct SocketFile
    {
        dev_t device = 0;
        ino_t inode = 0;
    };

    /// `serve` gives the response for a request line; `clock` outlives the server.
    HostServer(Serve serve, Clock &clock, Limits limits);
    ~HostServer() override;

    /// Takes the path for this process, in place of the socket of a host that died. The error is a sentence:
    /// another server has the path, or the system refuses. From then on a socket that is taken away is made
    /// again.
    [[nodiscard]] Result<void, QString> listen(const QString &path, const QString &lockPath);

    /// Takes no more connections and gives the path back. Answers under way are still sent.
    void stopListening();

    [[nodiscard]] int connectionCount() const { return static_cast<int>(m_connections.size()); }

private:
    class Connection;

    [[nodiscard]] Result<void, QString> openSocket(const sockaddr_un &address);
    void watchFolder();
    void lookAfterSocket();
    void acceptAll();
    void remove(Connection *connection);
    QCoro::Task<> answer(QPointer<QObject> connection, QByteArray line);

    Serve m_serve;
    Clock &m_clock;
    Limits m_limits;
    Tasks m_tasks;
    std::list<std::unique_ptr<Connection>> m_connections; ///< oldest first
    std::unique_ptr<QSocketNotifier> m_notifier;
    Timer m_acceptPause;
    std::unique_ptr<DirectoryWatch> m_folderWatch;
    Timer m_folderPoll;
    SocketFile m_socketFile;
    QString m_path;
    int m_listener = -1;
    int m_lock = -1;
};

} // namespace Keelhaven
