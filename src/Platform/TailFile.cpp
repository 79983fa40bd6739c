#include "Platform/TailFile.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {

std::optional<TailFile> TailFile::open(const QString &path)
{
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return std::nullopt;
    struct stat status = {};
    const bool isFile = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    TailFile file(descriptor, {.device = status.st_dev, .inode = status.st_ino});
    return isFile ? std::optional(std::move(file)) : std::nullopt;
}

TailFile::~TailFile()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

quint64 TailFile::size() const
{
    struct stat status = {};
    return ::fstat(m_descriptor, &status) == 0 ? static_cast<quint64>(status.st_size) : 0;
}

QByteArray TailFile::read(quint64 offset, qsizetype limit) const
{
    QByteArray bytes(limit, Qt::Uninitialized);
    ssize_t count = 0;
    do {
        count = ::pread(m_descriptor, bytes.data(), static_cast<size_t>(limit), static_cast<off_t>(offset));
    } while (count < 0 && errno == EINTR);
    bytes.truncate(std::max<ssize_t>(count, 0));
    return bytes;
}

} // namespace Keelhaven
