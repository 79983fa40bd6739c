#pragma once

#include "Platform/Result.h"

#include <QByteArray>
#include <QMap>
#include <QStringList>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace Keelhaven {

/// A long-lived child to start: an argv list, never a shell line.
struct ChildSpec
{
    enum class Errors { Discard, Lines };

    QString program;
    QStringList arguments;
    /// Laid over the inherited environment; an empty optional removes the variable.
    QMap<QString, std::optional<QString>> environment;
    QString workingDirectory;
    /// Where the lines of standard error go.
    Errors errors = Errors::Discard;
    /// Takes both streams instead of the line callbacks, and is emptied first. Where it cannot be opened, the
    /// child runs without it. Empty for none.
    QString logFile;
    /// A line that grows beyond this many bytes without an end ends the child as `Flooded`.
    qsizetype lineLimit = 1024 * 1024;
    /// How many bytes may wait for the child to read them.
    qsizetype writeLimit = 16 * 1024 * 1024;
    /// How long the child may take to obey terminate() before it is killed.
    std::chrono::milliseconds grace = std::chrono::seconds(2);
};

/// How a child ended.
struct ChildExit
{
    enum class Kind { Exited, Crashed, CannotStart, Flooded };

    Kind kind = Kind::Exited;
    int code = -1; ///< exit status; -1 unless it exited by itself
    QString error; ///< why it could not start

    bool operator==(const ChildExit &) const = default;
};

/// Why a line was not given to a child.
struct ChildWriteError
{
    enum class Kind { Closed, Full };

    Kind kind = Kind::Closed;
    QString detail;

    [[nodiscard]] QString message() const { return detail; }
};

/// One child with its line streams. It leads a process group, which is ended as a whole. Destroying the
/// object ends the child as terminate() does, and nothing is called any more.
///
/// The callbacks run on the main loop, never from inside a call on this object, and may destroy it.
class ChildProcess
{
public:
    ChildProcess() = default;
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    virtual ~ChildProcess() = default;

    /// One whole line of standard output or standard error, without its LF. What a child leaves unfinished is
    /// no line.
    std::function<void(const QByteArray &line)> onOutputLine;
    std::function<void(const QByteArray &line)> onErrorLine;
    /// The child closed its standard output. It may still run.
    std::function<void()> onOutputClosed;
    /// Something written never reached the child.
    std::function<void(const ChildWriteError &)> onWriteFailed;
    /// The child is gone, or never came to be. Comes once, after its last line.
    std::function<void(const ChildExit &)> onExit;

    /// Starts it, once. Set the callbacks first; a failure comes through onExit.
    virtual void start() = 0;

    /// Queues bytes for the child's standard input. They are kept until it reads them, up to the limit.
    [[nodiscard]] virtual Result<void, ChildWriteError> write(const QByteArray &bytes) = 0;

    /// Closes the child's standard input behind what is queued.
    virtual void closeInput() = 0;

    /// Asks the whole group to end (SIGTERM) and kills what is left of it after the grace period. The end is
    /// told by onExit.
    virtual void terminate() = 0;

    [[nodiscard]] virtual bool isRunning() const = 0;
};

/// Makes children. Lives on the main loop and outlives them.
class ChildProcessFactory
{
public:
    virtual ~ChildProcessFactory() = default;

    [[nodiscard]] virtual std::unique_ptr<ChildProcess> create(const ChildSpec &spec) = 0;
};

} // namespace Keelhaven
