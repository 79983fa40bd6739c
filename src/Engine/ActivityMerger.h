#pragma once

#include "Contract/Models/StateFile.h"

/// Tells to which repository what happens in a session belongs.
namespace Keelhaven::ActivityMerger {

/// An absolute path without empty parts, "." and ".."; ".." at the root does nothing. Any other text stays as
/// it is. Looks at no file, so symbolic links stay.
[[nodiscard]] QString normalize(const QString &path);

/// The repository whose local path holds the directory `cwd`; of several the one with the longest path. Paths
/// are compared by component after normalize().
[[nodiscard]] std::optional<QString> cwdToSlug(const std::optional<QString> &cwd,
                                               const StateFile::Links &links);

} // namespace Keelhaven::ActivityMerger
