#include "SessionHost/ProcessReaper.h"

#include <QSet>
#include <csignal>
#include <unistd.h>

namespace Keelhaven {

using namespace std::chrono_literals;

namespace {

void sendSignal(ProcessID process, int signal)
{
    // The number may have been given to a newcomer since it was collected.
    if (isAlive(process))
        ::kill(process.pid, signal);
}

bool carriesMark(pid_t pid, const PaneMark &pane)
{
    const auto environment = processEnvironment(pid);
    const QByteArray server = pane.tmuxSocket + ',' + QByteArray::number(pane.tmuxServer) + ',';
    return environment.value("TMUX_PANE") == pane.pane && environment.value("TMUX").startsWith(server);
}

} // namespace

QList<ProcessID> processesOf(const PaneMark &pane, const ProcessTree &tree)
{
    QHash<pid_t, pid_t> parents;
    QSet<pid_t> descendants;
    for (const ProcessInfo &process : tree.all())
        parents.insert(process.id.pid, process.parent);
    for (const ProcessInfo &process : tree.below(pane.firstProcess))
        descendants.insert(process.id.pid);
    QSet<pid_t> spared{0, 1};
    for (const pid_t start : {::getpid(), pane.tmuxServer}) {
        for (pid_t pid = start; pid > 1 && !spared.contains(pid); pid = parents.value(pid))
            spared.insert(pid);
    }
    QList<ProcessID> found;
    for (const ProcessInfo &process : tree.all()) {
        const pid_t pid = process.id.pid;
        if (spared.contains(pid) || !process.isRunning())
            continue;
        if (descendants.contains(pid) || (pane.firstProcess > 0 && process.session == pane.firstProcess) ||
            carriesMark(pid, pane))
            found.append(process.id);
    }
    return found;
}

ProcessReaper::ProcessReaper(Clock &clock)
    : m_clock(clock)
{}

ProcessReaper::~ProcessReaper()
{
    for (const auto &sentence : std::as_const(m_sentences))
        kill(*sentence);
}

void ProcessReaper::end(const PaneMark &pane, const QList<ProcessID> &processes)
{
    for (const ProcessID process : processes)
        sendSignal(process, SIGTERM);
    const quint64 number = m_nextSentence++;
    auto sentence = std::make_shared<Sentence>(pane, processes);
    sentence->grace = m_clock.after(2s, [this, number] {
        if (const auto due = m_sentences.take(number))
            kill(*due);
    });
    m_sentences.insert(number, sentence);
}

bool ProcessReaper::isDone() const
{
    return std::none_of(m_sentences.begin(), m_sentences.end(), [](const auto &sentence) {
        return std::any_of(sentence->processes.begin(), sentence->processes.end(), isAlive);
    });
}

void ProcessReaper::kill(const Sentence &sentence)
{
    // The pane is closed and its number is never used again, so whoever carries its mark now was started by
    // one of its processes. Its shell's number may be somebody else's by now.
    PaneMark mark = sentence.pane;
    mark.firstProcess = 0;
    const auto tree = ProcessTree::now();
    QList<ProcessID> condemned = processesOf(mark, tree);
    for (const ProcessID process : sentence.processes) {
        if (!isAlive(process))
            continue;
        for (const ProcessInfo &each : tree.below(process.pid))
            condemned.append(each.id);
    }
    for (const ProcessID process : condemned)
        sendSignal(process, SIGKILL);
}

} // namespace Keelhaven
