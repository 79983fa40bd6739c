#pragma once

#include "Platform/Files.h"
#include "Platform/Moments.h"

namespace Keelhaven {

/// Codex tells of its session only with the first prompt, which waits for that very word; so the host says it
/// as soon as the input line shows: one line in {folder}/{runID}.jsonl. `runID` must be a UUID.
[[nodiscard]] Result<void, FileError> appendCodexSessionStart(const QString &folder, const QString &runID,
                                                              Date now);

} // namespace Keelhaven
