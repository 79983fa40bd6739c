#pragma once

#include "Platform/Clock.h"
#include "SessionHost/ProcessTree.h"

#include <vector>

namespace Keelhaven {

/// A pane as its processes know it: the environment of whatever was started in it names the terminal server
/// and the pane, also after a daemon has left the process tree and the session.
struct PaneMark
{
    QByteArray tmuxSocket;
    pid_t tmuxServer = 0;
    QByteArray pane;        ///< "%3"
    pid_t firstProcess = 0; ///< the shell that the pane was opened with
};

/// Everything that was started in the pane and still runs: what descends from its shell, belongs to its
/// terminal session, or carries its mark. Never this process, the tmux server or one of their ancestors.
[[nodiscard]] QList<ProcessID> processesOf(const PaneMark &pane, const ProcessTree &tree);

/// Ends what ran in closed panes: asks first, and kills what is left after a grace of 2 s. Destroying it
/// kills at once what is still in its grace.
class ProcessReaper
{
public:
    explicit ProcessReaper(Clock &clock);
    ~ProcessReaper();

    /// Asks the processes to end. What they start meanwhile inside the pane falls under the same sentence.
    void end(const PaneMark &pane, const QList<ProcessID> &processes);

    /// Whether nothing that was asked to end still runs.
    [[nodiscard]] bool isDone() const;

private:
    struct Sentence
    {
        PaneMark pane;
        QList<ProcessID> processes;
        Timer grace;
    };

    static void kill(const Sentence &sentence);

    Clock &m_clock;
    quint64 m_nextSentence = 1;
    QHash<quint64, std::shared_ptr<Sentence>> m_sentences;
};

} // namespace Keelhaven
