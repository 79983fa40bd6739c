#include "Platform/BusAddress.h"

#include <QFileInfo>
#include <QList>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keelhaven {

namespace {

using Deadline = std::chrono::steady_clock::time_point;

constexpr char pathPrefix[] = "unix:path=";
constexpr char abstractPrefix[] = "unix:abstract=";

QByteArray unixAddress(const QByteArray &path)
{
    return pathPrefix + path.toPercentEncoding("/", "~");
}

/// The value behind `prefix`, with the escapes of the address syntax undone.
std::optional<QByteArray> valueOf(const QByteArray &alternative, QByteArrayView prefix)
{
    if (!alternative.startsWith(prefix))
        return std::nullopt;
    return QByteArray::fromPercentEncoding(alternative.sliced(prefix.size()).split(',').first());
}

/// The name of a local socket as the kernel takes it: a path, or a name behind a zero.
std::optional<QByteArray> socketName(const QByteArray &alternative)
{
    if (const auto name = valueOf(alternative, abstractPrefix))
        return '\0' + *name;
    return valueOf(alternative, pathPrefix);
}

class Socket
{
public:
    Socket()
        : m_descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {}
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    ~Socket() { ::close(m_descriptor); }

    /// 0, or why not.
    [[nodiscard]] int connect(const QByteArray &name) const
    {
        sockaddr_un address{};
        if (std::size_t(name.size()) >= sizeof address.sun_path)
            return ENAMETOOLONG;
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.constData(), std::size_t(name.size()));
        const auto size = offsetof(sockaddr_un, sun_path) + std::size_t(name.size()) + (name[0] ? 1 : 0);
        const auto *where = reinterpret_cast<const sockaddr *>(&address);
        return ::connect(m_descriptor, where, socklen_t(size)) == 0 ? 0 : errno;
    }

    void send(const QByteArray &bytes) const
    {
        static_cast<void>(::send(m_descriptor, bytes.constData(), std::size_t(bytes.size()), MSG_NOSIGNAL));
    }

    /// The next bytes; empty when the other end hung up. Nothing when it stayed silent.
    [[nodiscard]] std::optional<QByteArray> receive(Deadline deadline) const
    {
        while (true) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            pollfd watched{m_descriptor, POLLIN, 0};
            const int ready = ::poll(&watched, 1, int(std::max<qint64>(left.count(), 0)));
            if (ready == 0)
                return std::nullopt;
            char bytes[512];
            const ssize_t count = ready > 0 ? ::recv(m_descriptor, bytes, sizeof bytes, 0) : -1;
            if (count >= 0)
                return QByteArray(bytes, count);
            if (errno != EINTR && errno != EAGAIN)
                return QByteArray();
        }
    }

private:
    int m_descriptor;
};

/// The call that every client of a bus begins with, as it goes over the wire.
QByteArray hello()
{
    const auto number = [](quint32 value) {
        const char bytes[] = {char(value), char(value >> 8), char(value >> 16), char(value >> 24)};
        return QByteArray(bytes, sizeof bytes);
    };
    const auto padded = [](QByteArray bytes) { return bytes.append((8 - bytes.size() % 8) % 8, '\0'); };
    QByteArray fields;
    const auto field = [&](char code, char type, const QByteArray &text) {
        const char start[] = {code, 1, type, '\0'};
        fields =
            padded(fields) + QByteArray(start, sizeof start) + number(quint32(text.size())) + text + '\0';
    };
    field(1, 'o', "/org/freedesktop/DBus");
    field(2, 's', "org.freedesktop.DBus");
    field(3, 's', "Hello");
    field(6, 's', "org.freedesktop.DBus");
    constexpr char littleEndianCall[] = {'l', 1, 0, 1};
    constexpr quint32 noBody = 0;
    constexpr quint32 serial = 1;
    return padded(QByteArray(littleEndianCall, sizeof littleEndianCall) + number(noBody) + number(serial) +
                  number(quint32(fields.size())) + fields);
}

/// Whoever hangs up or wants another way to sign in does answer.
bool greets(const Socket &bus, Deadline deadline)
{
    bus.send('\0' + QByteArray("AUTH EXTERNAL ") + QByteArray::number(::getuid()).toHex() + "\r\n");
    const auto welcome = bus.receive(deadline);
    if (!welcome || !welcome->startsWith("OK "))
        return welcome.has_value();
    bus.send("BEGIN\r\n" + hello());
    return bus.receive(deadline).has_value();
}

} // namespace

BusAddress BusAddress::system()
{
    const QByteArray address = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
    return address.isEmpty() ? unixAddress("/run/dbus/system_bus_socket") : address;
}

BusAddress BusAddress::session()
{
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray folder = qgetenv("XDG_RUNTIME_DIR");
    return !address.isEmpty() || folder.isEmpty() ? address : unixAddress(folder + "/bus");
}

bool BusAddress::isAbsent() const
{
    const auto alternatives = m_text.split(';');
    return std::ranges::all_of(alternatives, [](const QByteArray &each) {
        const auto path = valueOf(each, pathPrefix);
        return path ? !QFileInfo::exists(QString::fromLocal8Bit(*path)) : each.isEmpty();
    });
}

BusAddress::Listener BusAddress::greet(Span patience) const
{
    const Deadline deadline = std::chrono::steady_clock::now() + patience;
    for (const QByteArray &each : m_text.split(';')) {
        const auto name = socketName(each);
        if (!name || name->isEmpty())
            return each.isEmpty() ? Listener::None : Listener::Answers;
        const Socket bus;
        const int error = bus.connect(*name);
        if (error == 0)
            return greets(bus, deadline) ? Listener::Answers : Listener::Silent;
        // Its queue is full: it takes no callers any more.
        if (error == EAGAIN)
            return Listener::Silent;
    }
    return Listener::None;
}

} // namespace Keelhaven
