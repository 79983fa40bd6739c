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

} // namespace

ControlInstance::ControlInstance(Descriptor lock, Descriptor folder, Descriptor listener)
    : m_lock(std::move(lock))
    , m_folder(std::move(folder))
    , m_listener(std::move(listener))
{}

Result<ControlInstance, ControlInstanceError> ControlInstance::claim(const KeelhavenPaths &paths)
{
    for (const QString &path : {paths.appSupportDir, paths.runtimeDir}) {
        if (const auto made = makeFolder(path); !made)
            return failed(made.error().message());
    }
    const QString lockFile = paths.appSupportDir + u"/instance.lock"_s;
    Descriptor lock(
        ::open(QFile::encodeName(lockFile).constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!lock)
        return failed(u"cannot open %1: %2"_s.arg(lockFile, systemError()));
    // A record lock belongs to the process alone. flock would be shared by a child that a killed instance was
    // just starting, and keep its successor out.
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (::fcntl(lock.get(), F_SETLK, &whole) != 0) {
        if (errno == EACCES || errno == EAGAIN)
            return failure(ControlInstanceError{ControlInstanceError::Kind::AlreadyRunning,
                                                u"Keelhaven is already running."_s});
        return failed(u"cannot lock %1: %2"_s.arg(lockFile, systemError()));
    }
    // An older folder may have been made under another umask.
    const QByteArray runtime = QFile::encodeName(paths.runtimeDir);
    ::chmod(runtime.constData(), 0700);
    Descriptor folder = ControlAddress::openFolder(runtime.toStdString());
    if (!folder)
        return failed(u"cannot use %1 for the control socket: %2"_s.arg(paths.runtimeDir, systemError()));
    Descriptor listener = ControlAddress::listenIn(folder);
    if (!listener)
        return failed(u"cannot listen in %1: %2"_s.arg(paths.runtimeDir, systemError()));
    return ControlInstance(std::move(lock), std::move(folder), std::move(listener));
}

ControlInstance::~ControlInstance()
{
    if (m_folder)
        ::unlinkat(m_folder.get(), ControlAddress::socketName, 0);
}

} // namespace Keelhaven
