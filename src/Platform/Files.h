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

/// The whole file, or an error that names it. Only regular files of up to 1 GiB are read: a pipe in the place
/// of one is refused, never waited for.
[[nodiscard]] Result<QByteArray, FileError> readFile(const QString &path);

/// `path` without a leading "~" or "~/", which become `home`.
[[nodiscard]] QString expandTilde(const QString &path, const QString &home);

/// Absolute path with "." and ".." resolved and, where they exist, symbolic links followed. Components that
/// do not exist are kept as they stand.
[[nodiscard]] QString resolvedPath(const QString &path);

/// Whether `path` is `root` or lies below it; both compared by component after resolvedPath.
[[nodiscard]] bool isInside(const QString &path, const QString &root);

} // namespace Keelhaven
