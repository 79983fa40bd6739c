#pragma once

#include "Platform/Result.h"

#include <QByteArray>
#include <QString>

namespace Keelhaven {

/// A failed file operation. `path` and `reason` make the sentence "cannot write {path}: {reason}".
struct FileError
{
    QString text;
    [[nodiscard]] QString message() const { return text; }
};

/// Creates the folder with its parents; folders it makes get mode 0700.
[[nodiscard]] Result<void, FileError> makeFolder(const QString &path);

/// Writes the bytes beside the file, syncs and renames, so a reader sees the old content or the new, never a
/// part. The file gets mode 0600. Missing parent folders are made.
[[nodiscard]] Result<void, FileError> writeFileAtomically(const QString &path, const QByteArray &bytes);

/// No file that is read whole comes near this size, in bytes; a sparse one made by mistake must not end the
/// program.
inline constexpr qint64 largestFile = qint64(1) << 30;

/// The whole file, or an error that names it. Only regular files of up to `limit` bytes are read, one that
/// grows meanwhile included: a pipe in the place of one is refused, never waited for.
[[nodiscard]] Result<QByteArray, FileError> readFile(const QString &path, qint64 limit = largestFile);

/// `path` without a leading "~" or "~/", which become `home`.
[[nodiscard]] QString expandTilde(const QString &path, const QString &home);

/// Absolute path with "." and ".." resolved and, where they exist, symbolic links followed. Components that
/// do not exist are kept as they stand.
[[nodiscard]] QString resolvedPath(const QString &path);

/// Whether `path` is `root` or lies below it; both compared by component after resolvedPath.
[[nodiscard]] bool isInside(const QString &path, const QString &root);

} // namespace Keelhaven
