#pragma once

#include <string>
#include <utility>

/// Where the running instance listens, as both ends see it. Plain POSIX without Qt, like ControlWire.
namespace Keelhaven::ControlAddress {

inline constexpr const char *socketName = "control.sock";

/// A file descriptor of its own; -1 for none.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor)
        : m_descriptor(descriptor)
    {}
    Descriptor(Descriptor &&other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~Descriptor();

    [[nodiscard]] int get() const { return m_descriptor; }
    [[nodiscard]] explicit operator bool() const { return m_descriptor >= 0; }

private:
    int m_descriptor = -1;
};

/// Sets HOME to the account's home folder where it is not set to a path, as by a supervisor that starts its
/// programs without an environment: all data would lie in the root folder. For the start of a program.
void ensureHome();

/// $XDG_RUNTIME_DIR/keelhaven, else `run` in the application's data folder: KeelhavenPaths::runtimeDir
/// without Qt.
[[nodiscard]] std::string runtimeFolderFromEnvironment();

/// The folder, open for names in it; none when it is missing, a link, another user's or open to others (errno
/// says).
[[nodiscard]] Descriptor openFolder(const std::string &path);

/// A socket connected to the instance; none when nobody listens (errno says). EACCES when the listener is
/// another user's process.
[[nodiscard]] Descriptor connectTo(const Descriptor &folder);

/// A non-blocking socket that listens in the folder, in place of whatever had its name; mode 0600. Only the
/// holder of the instance lock may call it.
[[nodiscard]] Descriptor listenIn(const Descriptor &folder);

/// Whether the process at the other end of the connection is this user's.
[[nodiscard]] bool peerIsSelf(int connection);

} // namespace Keelhaven::ControlAddress
