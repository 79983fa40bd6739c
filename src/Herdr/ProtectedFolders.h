#pragma once

#include <QString>
#include <QStringList>

namespace Keelhaven {

/// The personal folders that an unattended run is kept out of.
namespace ProtectedFolders {

/// The folders that stay closed: those that hold neither `cwd` nor one of `addDirs`, by name or behind
/// symbolic links.
[[nodiscard]] QStringList denied(const QString &home, const QString &cwd, const QStringList &addDirs);

/// Value of KEELHAVEN_PROTECTED_ROOTS.
[[nodiscard]] QString environmentValue(const QStringList &paths);

/// Value of KEELHAVEN_PROTECTED_ROOTS_JSON, which the guard believes first; empty when no path holds a colon,
/// so that the other one says it all.
[[nodiscard]] QString environmentList(const QStringList &paths);

/// The prompt with the run's rule appended.
[[nodiscard]] QString guarded(const QString &text);

/// `path` absolute, without a leading tilde, "." and "..", by its text alone; symbolic links are not
/// followed.
[[nodiscard]] QString normalized(const QString &path, const QString &home);

} // namespace ProtectedFolders

} // namespace Keelhaven
