#include "Platform/Files.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// What is left of the file from where it stands, or one byte more than `limit` when there is more.
QByteArray readUpTo(QFile &file, qint64 size, qint64 limit)
{
    QByteArray bytes = file.read(std::min(size, limit) + 1);
    // A size is only what the file had: it may grow, and the kernel's own files tell none.
    constexpr qint64 chunk = 256 * 1024;
    while (bytes.size() <= limit) {
        const QByteArray more = file.read(std::min(chunk, limit + 1 - bytes.size()));
        if (more.isEmpty())
            break;
        bytes.append(more);
    }
    return bytes;
}

/// What a symbolic link says, relative or absolute; empty for anything else.
QString linkTarget(const QString &path)
{
    std::array<char, PATH_MAX> target;
    const ssize_t size = ::readlink(QFile::encodeName(path).constData(), target.data(), target.size());
    return size > 0 ? QFile::decodeName(QByteArray(target.data(), size)) : QString();
}

} // namespace

Result<void, FileError> makeFolder(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir())
        return {};
    if (const QString parent = info.path(); parent != path) {
        if (auto made = makeFolder(parent); !made)
            return made;
    }
    if (::mkdir(QFile::encodeName(path).constData(), 0700) != 0 && errno != EEXIST)
        return failure(FileError{
            u"cannot create folder %1: %2"_s.arg(path, QString::fromLocal8Bit(std::strerror(errno)))});
    if (!QFileInfo(path).isDir())
        return failure(FileError{u"cannot create folder %1: %2 stands there"_s.arg(
            path, QFileInfo(path).isSymLink() ? u"a link that leads to no folder"_s : u"a file"_s)});
    return {};
}

Result<void, FileError> writeFileAtomically(const QString &path, const QByteArray &bytes)
{
    if (auto folder = makeFolder(QFileInfo(path).path()); !folder)
        return folder;
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        return failure(FileError{u"cannot write %1: %2"_s.arg(path, file.errorString())});
    if (!file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) || !file.commit())
        return failure(FileError{u"cannot write %1: %2"_s.arg(path, file.errorString())});
    return {};
}

Result<QByteArray, FileError> readFile(const QString &path, qint64 limit)
{
    const auto failed = [&](const QString &reason) {
        return failure(FileError{u"cannot read %1: %2"_s.arg(path, reason)});
    };
    // Sessions can put a pipe where a file is expected: opening one would wait for its writer.
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return failed(QString::fromLocal8Bit(std::strerror(errno)));
    QFile file;
    if (!file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, QFile::AutoCloseHandle)) {
        ::close(descriptor);
        return failed(file.errorString());
    }
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return failed(u"it is no regular file"_s);
    const QByteArray bytes = status.st_size > limit ? QByteArray() : readUpTo(file, status.st_size, limit);
    if (file.error() != QFile::NoError)
        return failed(file.errorString());
    if (std::max<qint64>(status.st_size, bytes.size()) > limit)
        return failed(u"it is larger than %1 MB"_s.arg(limit >> 20));
    return bytes;
}

QString expandTilde(const QString &path, const QString &home)
{
    if (path == u"~")
        return home;
    return path.startsWith(u"~/") ? home + path.sliced(1) : path;
}

QString resolvedPath(const QString &path)
{
    // Component by component, as the system walks a path: behind a symbolic link ".." is the parent of its
    // target, and a link whose target is missing still leads there.
    constexpr int mostLinks = 40;
    QStringList open = QDir::current().absoluteFilePath(path).split(u'/', Qt::SkipEmptyParts);
    QString resolved;
    int links = 0;
    while (!open.isEmpty()) {
        const QString component = open.takeFirst();
        if (component == u".")
            continue;
        if (component == u"..") {
            resolved.truncate(std::max<qsizetype>(resolved.lastIndexOf(u'/'), 0));
            continue;
        }
        const QString next = resolved + u'/' + component;
        const QString target = links < mostLinks ? linkTarget(next) : QString();
        if (target.isEmpty()) {
            resolved = next;
            continue;
        }
        ++links;
        if (target.startsWith(u'/'))
            resolved.clear();
        open = target.split(u'/', Qt::SkipEmptyParts) + open;
    }
    return resolved.isEmpty() ? u"/"_s : resolved;
}

bool isInside(const QString &path, const QString &root)
{
    const QString inner = resolvedPath(path);
    const QString outer = resolvedPath(root);
    return inner == outer || outer == u"/" || inner.startsWith(outer + u'/');
}

} // namespace Keelhaven
