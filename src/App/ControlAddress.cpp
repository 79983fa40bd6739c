#include "App/ControlAddress.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keelhaven::ControlAddress {

namespace {

constexpr int backlog = 128;
constexpr int connectSeconds = 10;

/// A socket's path is cut at 107 bytes, a home folder's is not: the name is reached through the open folder.
sockaddr_un addressIn(const Descriptor &folder)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", folder.get(), socketName);
    return address;
}

std::string absoluteVariable(const char *name)
{
    const char *value = std::getenv(name);
    return value && *value == '/' ? value : "";
}

} // namespace

Descriptor::~Descriptor()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void ensureHome()
{
    if (!absoluteVariable("HOME").empty())
        return;
    const passwd *account = ::getpwuid(::geteuid());
    if (account && account->pw_dir && *account->pw_dir == '/')
        ::setenv("HOME", account->pw_dir, 1);
}

std::string runtimeFolderFromEnvironment()
{
    if (const auto runtime = absoluteVariable("XDG_RUNTIME_DIR"); !runtime.empty())
        return runtime + "/keelhaven";
    if (const auto data = absoluteVariable("XDG_DATA_HOME"); !data.empty())
        return data + "/keelhaven/run";
    return absoluteVariable("HOME") + "/.local/share/keelhaven/run";
}

Descriptor openFolder(const std::string &path)
{
    Descriptor folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status{};
    if (!folder || ::fstat(folder.get(), &status) != 0)
        return {};
    if (status.st_uid != ::geteuid() || (status.st_mode & 077) != 0) {
        errno = EACCES;
        return {};
    }
    return folder;
}

Descriptor connectTo(const Descriptor &folder)
{
    Descriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    // A full queue of callers makes connect wait; an instance that hangs must not hang every command.
    const timeval limit{connectSeconds, 0};
    if (connection)
        ::setsockopt(connection.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const auto address = addressIn(folder);
    if (!connection ||
        ::connect(connection.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        return {};
    if (!peerIsSelf(connection.get())) {
        errno = EACCES;
        return {};
    }
    return connection;
}

Descriptor listenIn(const Descriptor &folder)
{
    if (::unlinkat(folder.get(), socketName, 0) != 0 && errno != ENOENT)
        return {};
    Descriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto address = addressIn(folder);
    if (!listener ||
        ::bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::fchmodat(folder.get(), socketName, 0600, 0) != 0 || ::listen(listener.get(), backlog) != 0)
        return {};
    return listener;
}

bool peerIsSelf(int connection)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

} // namespace Keelhaven::ControlAddress
