#include "App/ControlInstance.h"

#include "Platform/Files.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using ControlAddress::Descriptor;

namespace {

auto failed(const QString &text)
{
    return failure(ControlInstanceError{ControlInstanceError::Kind::Failed, text});
}

QString systemError()
{
    return QString::fromLocal8Bit(::strerror(errno));
}

/// Takes the lock file's record lock; `type` is F_RDLCK or F_WRLCK.
std::optional<ControlInstanceError> take(const Descriptor &lock, short type, const QString &path)
{
    // A record lock belongs to the process alone. flock would be shared by a child that a killed instance was
    // just starting, and keep its successor out.
    struct flock whole = {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    if (::fcntl(lock.get(), F_SETLK, &whole) == 0)
        return std::nullopt;
    if (errno == EACCES || errno == EAGAIN)
        return ControlInstanceError{ControlInstanceError::Kind::AlreadyRunning,
                                    u"Keelhaven is already running."_s};
    return ControlInstanceError{ControlInstanceError::Kind::Failed,
                                u"cannot lock %1: %2"_s.arg(path, systemError())};
}

Result<Descriptor, ControlInstanceError> lockIn(const QString &folder)
{
    const QString path = folder + u"/instance.lock"_s;
    Descriptor lock(
        ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!lock)
        return failed(u"cannot open %1: %2"_s.arg(path, systemError()));
    if (auto error = take(lock, F_WRLCK, path))
        return failure(*std::move(error));
    return lock;
}

/// Nobody can make a lock in a folder that cannot be written, but an instance may have one from before.
Result<Descriptor, ControlInstanceError> lockInUnwritable(const QString &folder)
{
    const QString path = folder + u"/instance.lock"_s;
    Descriptor lock(::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!lock)
        return Descriptor();
    if (auto error = take(lock, F_RDLCK, path))
        return failure(*std::move(error));
    return lock;
}

/// The data folder's lock. A data folder that cannot be written is told by the database that does not open,
/// and keeps nobody from starting.
Result<Descriptor, ControlInstanceError> lockData(const QString &folder)
{
    const bool isThere = makeFolder(folder).has_value();
    const bool isWritable = isThere && ::access(QFile::encodeName(folder).constData(), W_OK | X_OK) == 0;
    return isWritable ? lockIn(folder) : lockInUnwritable(folder);
}

} // namespace

ControlInstance::ControlInstance(Descriptor dataLock, Descriptor lock, Descriptor folder, Descriptor listener)
    : m_dataLock(std::move(dataLock))
    , m_lock(std::move(lock))
    , m_folder(std::move(folder))
    , m_listener(std::move(listener))
{}

Result<ControlInstance, ControlInstanceError> ControlInstance::claim(const KeelhavenPaths &paths)
{
    auto dataLock = lockData(paths.appSupportDir);
    if (!dataLock)
        return failure(std::move(dataLock.error()));
    if (const auto made = makeFolder(paths.runtimeDir); !made)
        return failed(made.error().message());
    // An older folder may have been made under another umask.
    const QByteArray runtime = QFile::encodeName(paths.runtimeDir);
    ::chmod(runtime.constData(), 0700);
    Descriptor folder = ControlAddress::openFolder(runtime.toStdString());
    if (!folder)
        return failed(u"cannot use %1 for the control socket: %2"_s.arg(paths.runtimeDir, systemError()));
    auto lock = lockIn(paths.runtimeDir);
    if (!lock)
        return failure(std::move(lock.error()));
    Descriptor listener = ControlAddress::listenIn(folder);
    if (!listener)
        return failed(u"cannot listen in %1: %2"_s.arg(paths.runtimeDir, systemError()));
    return ControlInstance(*std::move(dataLock), *std::move(lock), std::move(folder), std::move(listener));
}

ControlInstance::~ControlInstance()
{
    if (m_folder)
        ::unlinkat(m_folder.get(), ControlAddress::socketName, 0);
}

} // namespace Keelhaven
