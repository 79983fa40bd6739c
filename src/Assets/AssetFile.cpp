#include "Assets/AssetFile.h"

#include "Assets/AssetKind.h"
#include "Platform/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <vector>

namespace Keelhaven::AssetFile {

using namespace Qt::StringLiterals;

namespace {

/// A file descriptor that closes itself.
class Descriptor
{
public:
    explicit Descriptor(int number)
        : m_number(number)
    {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }
    [[nodiscard]] int number() const { return m_number; }
    [[nodiscard]] explicit operator bool() const { return m_number >= 0; }

private:
    int m_number;
};

/// File systems whose files are made up by the kernel: regular by their mode, and yet endless, secret or
/// waiting for something to happen.
bool isKernelFileSystem(const QByteArray &path)
{
    constexpr std::array<decltype(statfs::f_type), 7> types{
        PROC_SUPER_MAGIC,   SYSFS_MAGIC,      DEBUGFS_MAGIC,      TRACEFS_MAGIC,
        CGROUP_SUPER_MAGIC, SECURITYFS_MAGIC, CGROUP2_SUPER_MAGIC};
    struct statfs status = {};
    return ::statfs(path.constData(), &status) == 0 && std::ranges::find(types, status.f_type) != types.end();
}

/// Size of the regular file at `path`; nothing for anything else.
std::optional<qint64> regularFileSize(const QByteArray &path)
{
    struct stat status = {};
    if (::stat(path.constData(), &status) != 0 || !S_ISREG(status.st_mode) || isKernelFileSystem(path))
        return std::nullopt;
    return status.st_size;
}

bool writeAll(int target, const char *bytes, size_t size)
{
    while (size > 0) {
        const ssize_t count = ::write(target, bytes, size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

/// The number of bytes copied, nothing on an error, a stop, or when there are more than `limit`.
std::optional<qint64> copyBytes(int source, int target, qint64 limit, const std::stop_token &stop)
{
    std::vector<char> buffer(256 * 1024);
    qint64 total = 0;
    while (!stop.stop_requested()) {
        const ssize_t count = ::read(source, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            return total;
        total += count;
        if (total > limit || !writeAll(target, buffer.data(), static_cast<size_t>(count)))
            return std::nullopt;
    }
    return std::nullopt;
}

/// Whether the bytes are on the disk before a row says that they are. Some file systems cannot tell.
bool flush(int target)
{
    return ::fdatasync(target) == 0 || errno == EINVAL || errno == ENOSYS;
}

/// Copies the file, which may have been swapped for something else since it was looked at.
std::optional<qint64> copyFile(const QByteArray &source, const QString &target, qint64 limit,
                               const std::stop_token &stop)
{
    const Descriptor in(::open(source.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!in || ::fstat(in.number(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    const QByteArray name = QFile::encodeName(target);
    std::optional<qint64> copied;
    {
        const Descriptor out(
            ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!out)
            return std::nullopt;
        copied = copyBytes(in.number(), out.number(), limit, stop);
        if (copied && !flush(out.number()))
            copied.reset();
    }
    if (!copied)
        ::unlink(name.constData());
    return copied;
}

std::optional<QString> mimeFor(const QString &fileName)
{
    const QString extension = FileNameParts::of(fileName).extension;
    if (extension.isEmpty())
        return std::nullopt;
    // By name only: a look into the file would have the database read it.
    const auto types = QMimeDatabase().mimeTypesForFileName(u"file."_s + extension);
    return types.isEmpty() ? std::nullopt : std::optional(types.first().name());
}

/// `stem` and `ending`, the stem cut so that file systems take the name: the original's may be as long as
/// they go, and the copy's or the thumbnail's gets longer.
QString fittingName(const QString &stem, const QString &ending)
{
    constexpr qsizetype longestName = 255; // bytes
    QString fitted = stem;
    while (fitted.size() > 1 && QFile::encodeName(fitted + ending).size() > longestName)
        fitted.chop(fitted.back().isLowSurrogate() ? 2 : 1);
    return fitted + ending;
}

/// Whether anything has this name, a link that leads nowhere included.
bool isTaken(const QString &path)
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0;
}

} // namespace

std::optional<Taken> take(const QString &path, const QString &folder, qint64 copyLimit, std::stop_token stop)
{
    const QByteArray source = QFile::encodeName(path);
    const auto size = regularFileSize(source);
    if (!size)
        return std::nullopt;
    const QString fileName = QFileInfo(path).fileName();
    Taken taken{.bytes = *size, .mime = mimeFor(fileName), .storedPath = {}, .thumbnailPath = {}};
    const bool hasFolders = makeFolder(folder + u"/thumbs"_s).has_value();
    if (hasFolders && copyLimit >= *size) {
        const QString target = uniquePath(folder + u'/' + fileName);
        if (const auto copied = copyFile(source, target, copyLimit, stop)) {
            taken.bytes = *copied;
            taken.storedPath = target;
        }
    }
    const QString shownName = taken.storedPath ? QFileInfo(*taken.storedPath).fileName() : fileName;
    taken.thumbnailPath = uniquePath(folder + u"/thumbs/"_s + shownName + u".jpg"_s);
    return taken;
}

QString uniquePath(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    const QString folder = path.first(slash + 1);
    const auto [stem, extension] = FileNameParts::of(path.sliced(slash + 1));
    const QString ending = extension.isEmpty() ? QString() : u'.' + extension;
    QString candidate = folder + fittingName(stem, ending);
    for (int number = 2; isTaken(candidate); ++number)
        candidate = folder + fittingName(stem, u'-' + QString::number(number) + ending);
    return candidate;
}

void discard(const QString &folder, const std::optional<QString> &storedPath,
             const std::optional<QString> &thumbnailPath)
{
    for (const auto &file : {storedPath, thumbnailPath}) {
        if (file)
            QFile::remove(*file);
    }
    QDir().rmdir(folder + u"/thumbs"_s);
    QDir().rmdir(folder);
}

void removeLeftovers(const QString &folder, const QSet<QString> &kept)
{
    for (const QString &part : {QString(), u"thumbs/"_s}) {
        const QDir directory(folder + u'/' + part);
        if (QFileInfo(QDir::cleanPath(directory.path())).isSymLink())
            return;
        for (const QString &name : directory.entryList(QDir::Files | QDir::Hidden | QDir::System)) {
            if (!kept.contains(part + name))
                QFile::remove(directory.filePath(name));
        }
    }
}

} // namespace Keelhaven::AssetFile
