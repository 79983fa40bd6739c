#pragma once

#include "Scheduler/Model/TaskResult.h"

namespace Keelhaven {

/// The line added to an agent's prompt that asks for a result file, and that file's reader.
namespace RunContract {

/// How the added line begins; also where strip() cuts.
inline constexpr QStringView marker = u" When you are completely done, write a JSON file at";

/// The trimmed prompt with the request to write `resultPath`, still one line if the prompt was one: a line
/// break would submit the prompt early. Without a path the prompt as it is.
[[nodiscard]] QString withResultContract(const QString &prompt, const std::optional<QString> &resultPath);

/// What the user asked for: the text before the marker, trimmed; the text as it is when it holds none.
[[nodiscard]] QString strip(const QString &text);

/// A result is a few sentences and a list of files; what is larger, in bytes, was written by mistake.
inline constexpr qint64 largestResult = 1 << 20;

/// The result an agent left, or nothing when the file is missing or not readable as one. One that is too
/// large gives a result whose summary says so.
[[nodiscard]] std::optional<TaskResult> readResult(const QString &path);

} // namespace RunContract

} // namespace Keelhaven
