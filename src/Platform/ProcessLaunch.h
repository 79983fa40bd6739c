#pragma once

#include <QMap>
#include <QProcess>
#include <optional>

/// What everything that starts an outside process has in common. For the implementations in Platform only.
namespace Keelhaven::ProcessLaunch {

/// Laid over the inherited environment; an empty optional removes the variable.
using Environment = QMap<QString, std::optional<QString>>;

/// The inherited environment with `changes` laid over it.
[[nodiscard]] QProcessEnvironment environment(const Environment &changes);

/// The executable that `program` names, looked up on the child's own PATH; empty when there is none. QProcess
/// only finds out that a program is missing after its own time-out.
[[nodiscard]] QString executablePath(const QString &program, const Environment &changes);

/// Why `program` cannot start, where executablePath is empty.
[[nodiscard]] QString missingProgram(const QString &program);

/// Runs between fork and exec: the child leads a session and a process group of its own, and dies with
/// `parent`, this process. Calls async-signal-safe functions only.
void leadOwnGroup(pid_t parent);

} // namespace Keelhaven::ProcessLaunch
