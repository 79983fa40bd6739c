#pragma once

#include <QString>
#include <QStringList>
#include <cstring>
#include <functional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace Keelhaven {

/// A Unix socket server on a thread of its own: serves each connection with the next handler, then stops
/// listening.
class UnixServer
{
public:
    using Handler = std::function<void(UnixServer &server, int connection)>;

    UnixServer(const QString &path, std::vector<Handler> handlers)
        : m_listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray name = path.toUtf8();
        std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
        isListening = ::bind(m_listener, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
                      ::listen(m_listener, 8) == 0;
        m_thread = std::thread([this, handlers = std::move(handlers)] {
            for (const Handler &handler : handlers) {
                const int connection = ::accept(m_listener, nullptr, nullptr);
                if (connection < 0)
                    return;
                handler(*this, connection);
                ::close(connection);
            }
        });
    }
    ~UnixServer()
    {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
    }

    /// Reads up to the line feed.
    static QByteArray readRequest(int connection)
    {
        QByteArray line;
        char byte = 0;
        while (::read(connection, &byte, 1) == 1 && byte != '\n')
            line.append(byte);
        return line;
    }
    static void send(int connection, const QByteArray &bytes)
    {
        static_cast<void>(
            ::send(connection, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL));
    }
    /// Waits until the peer closed.
    static void drain(int connection)
    {
        char byte = 0;
        while (::read(connection, &byte, 1) == 1) {
        }
    }
    /// Whether another client connects within this time.
    [[nodiscard]] bool hasWaitingClient(int milliseconds) const
    {
        pollfd entry{m_listener, POLLIN, 0};
        return ::poll(&entry, 1, milliseconds) > 0;
    }
    /// Handler that answers any request with these bytes.
    static Handler replying(const QByteArray &bytes)
    {
        return [bytes](UnixServer &, int connection) {
            readRequest(connection);
            send(connection, bytes);
        };
    }

    bool isListening = false;

private:
    int m_listener;
    std::thread m_thread;
};

} // namespace Keelhaven
