#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QMap>
#include <QStringList>
#include <chrono>
#include <optional>

namespace Keelhaven {

/// One outside process to run: an argv list, never a shell line.
struct ProcessSpec
{
    enum class Errors { Discard, Merge, Capture };

    QString program;
    QStringList arguments;
    /// Laid over the inherited environment; an empty optional removes the variable.
    QMap<QString, std::optional<QString>> environment;
    QString workingDirectory;
    Errors errors = Errors::Discard;
    QByteArray input;
    std::chrono::milliseconds timeout = std::chrono::seconds(30);
    /// Output beyond this many bytes is read and thrown away.
    qint64 outputLimit = 16 * 1024 * 1024;
};

/// How a process ended. Not being able to start it is an answer, not an error.
struct ProcessResult
{
    enum class Kind { Exited, Crashed, TimedOut, CannotStart };

    Kind kind = Kind::CannotStart;
    int exitCode = -1;
    QByteArray output;
    QByteArray errorOutput;
    QString error; ///< why it could not start

    [[nodiscard]] bool succeeded() const { return kind == Kind::Exited && exitCode == 0; }
};

/// Runs outside processes from the main loop.
class ProcessRunner
{
public:
    virtual ~ProcessRunner() = default;

    /// Runs to the end or to the time-out. Each child leads a process group; at the time-out the whole group
    /// gets SIGTERM and, two seconds later, SIGKILL.
    [[nodiscard]] virtual QCoro::Task<ProcessResult> run(ProcessSpec spec) = 0;

    /// Starts a process that outlives this one, in a session of its own with its streams on the null device.
    /// False when it could not be started.
    [[nodiscard]] virtual bool startDetached(const ProcessSpec &spec) = 0;
};

} // namespace Keelhaven
