#include "Platform/Files.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

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
        return failure(FileError{u"cannot create folder %1: %2"_s.arg(path, QString::fromLocal8Bit(std::strerror(errno)))});
    if (!QFileInfo(path).isDir())
        return failure(FileError{u"cannot create folder %1: a file stands there"_s.arg(path)});
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
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    if (!file.commit())
        return failure(FileError{u"cannot write %1: %2"_s.arg(path, file.errorString())});
    return {};
}

Result<QByteArray, FileError> readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failure(FileError{u"cannot read %1: %2"_s.arg(path, file.errorString())});
    return file.readAll();
}

QString expandTilde(const QString &path, const QString &home)
{
    if (path == u"~")
        return home;
    return path.startsWith(u"~/") ? home + path.sliced(1) : path;
}

QString resolvedPath(const QString &path)
{
    QString existing = QDir::cleanPath(QDir::current().absoluteFilePath(path));
    QString rest;
    while (true) {
        if (const QString canonical = QFileInfo(existing).canonicalFilePath(); !canonical.isEmpty())
            return QDir::cleanPath(canonical + rest);
        const qsizetype slash = existing.lastIndexOf(u'/');
        if (slash < 0)
            return existing + rest;
        rest.prepend(existing.sliced(slash));
        existing.truncate(std::max<qsizetype>(slash, 1));
        if (existing == u"/")
            return QDir::cleanPath(existing + rest);
    }
}

bool isInside(const QString &path, const QString &root)
{
    const QString inner = resolvedPath(path);
    const QString outer = resolvedPath(root);
    return inner == outer || outer == u"/" || inner.startsWith(outer + u'/');
}

} // namespace Keelhaven
