#pragma once

#include "Scheduler/Model/RunRecord.h"

namespace Keelhaven {

/// Token use as a Claude session's transcript tells it.
namespace TranscriptUsageReader {

/// The name of the folder below ~/.claude/projects that holds the transcripts of sessions in `cwd`.
[[nodiscard]] QString slug(const QString &cwd);

/// "{home}/.claude/projects/{slug of cwd}/{sessionID}.jsonl". Nothing for a session id that is no plain name:
/// it comes from a file that any program may write.
[[nodiscard]] std::optional<QString> transcriptFile(const QString &home, const QString &cwd,
                                                    const QString &sessionID);

/// Sums over all assistant lines; nothing when there is none, or no file. Blocking, for a pool thread.
[[nodiscard]] std::optional<RunUsage> usage(const QString &path);

/// The same for a session in `cwd`. The CLI names the folder by where it really is, so behind a symbolic link
/// the transcript is looked for there as well.
[[nodiscard]] std::optional<RunUsage> usage(const QString &home, const QString &cwd,
                                            const QString &sessionID);

} // namespace TranscriptUsageReader

} // namespace Keelhaven
