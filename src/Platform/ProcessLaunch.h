#pragma once

#include <QMap>
#include <QProcess>
#include <optional>

/// What everything that starts an outside process has in common. For the implementations in Platform, but for
/// withholdCoreFiles().
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

/// From now on a crash of this process leaves no core file, in which the tokens would stand that it holds.
/// Its children keep the limit that it had.
void withholdCoreFiles();

/// Gives this process the limit back as long as it lives: for a start that calls nothing of ours between fork
/// and exec.
class CoreLimitGivenBack
{
public:
    CoreLimitGivenBack();
    ~CoreLimitGivenBack();
    Q_DISABLE_COPY_MOVE(CoreLimitGivenBack)
};

/// Runs between fork and exec: the child leads a session and a process group of its own, dies with `parent`,
/// this process, and has the limit on core files that this process had. Calls async-signal-safe functions
/// only.
void leadOwnGroup(pid_t parent);

} // namespace Keelhaven::ProcessLaunch
