#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <optional>
#include <sys/types.h>

namespace Keelhaven {

/// One process, told apart from a later one with the same number by the moment it started.
struct ProcessID
{
    pid_t pid = 0;
    quint64 startTime = 0; ///< clock ticks since the machine started
    bool operator==(const ProcessID &) const = default;
};

/// What /proc/<pid>/stat says of one process.
struct ProcessInfo
{
    ProcessID id;
    QByteArray name; ///< cut to 15 bytes by the kernel
    char state = '?';
    pid_t parent = 0;
    pid_t group = 0;
    pid_t session = 0;
    pid_t terminalGroup = -1; ///< the process group in the foreground of its terminal

    [[nodiscard]] bool isRunning() const { return state != 'Z' && state != 'X'; }
    [[nodiscard]] static std::optional<ProcessInfo> parse(const QByteArray &stat);
};

/// Readers of /proc. Nothing for a process that is gone or that belongs to somebody else.
[[nodiscard]] std::optional<ProcessInfo> processInfo(pid_t pid);
[[nodiscard]] bool isAlive(ProcessID id);
[[nodiscard]] QByteArrayList processArguments(pid_t pid);
[[nodiscard]] QHash<QByteArray, QByteArray> processEnvironment(pid_t pid);

/// Children of a process, without a look at all others.
[[nodiscard]] QList<pid_t> childrenOf(pid_t pid);

/// All processes at one moment. Costs a read for each process of the machine.
class ProcessTree
{
public:
    ProcessTree() = default;
    explicit ProcessTree(QList<ProcessInfo> processes);
    [[nodiscard]] static ProcessTree now();

    [[nodiscard]] const QList<ProcessInfo> &all() const { return m_processes; }

    /// `root` and its descendants, parents before children. Empty when `root` is not there.
    [[nodiscard]] QList<ProcessInfo> below(pid_t root) const;

private:
    QList<ProcessInfo> m_processes;
};

} // namespace Keelhaven
