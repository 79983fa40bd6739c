#pragma once

#include "SessionHost/AgentLaunch.h"
#include "SessionHost/AgentRecord.h"
#include "SessionHost/ChangeWatch.h"
#include "SessionHost/ClaudeSessions.h"
#include "SessionHost/EncodedResult.h"
#include "SessionHost/HostPaths.h"
#include "SessionHost/PaneInput.h"
#include "SessionHost/Terminals.h"

namespace Keelhaven {

/// Which agent sits in which pane, and what it does. Nothing is watched: states are worked out when somebody
/// asks, and what has not changed since the last question is not read again, so an idle host costs nothing.
/// What it must know after a restart is kept as a user option of the pane. Collaborators outlive it.
class AgentRegistry
{
public:
    AgentRegistry(HostPaths paths, TmuxControl &tmux, Terminals &terminals, PaneInput &input, Clock &clock);

    /// Every agent there is, was started here, or is coming up: an AgentList, encoded. Costs one command, and
    /// a capture for each agent whose state only the screen tells; nearly nothing when nothing has changed
    /// since the last call and that was a moment ago, as when a client asks once for each of its agents.
    [[nodiscard]] QCoro::Task<HostResult<EncodedResult>> list();

    /// One agent by the name it was started under (or by the id of its pane).
    [[nodiscard]] QCoro::Task<HostResult<Herdr::AgentInfo>> get(QString target);

    /// Starts an agent in the pane's shell and answers at the latest after a moment, whether or not it is up.
    /// Errors: "agent_kind_unknown", "invalid_request", "no_such_pane", "agent_name_taken", "agent_exited"
    /// when it is gone again by then, "agent_pane_busy" while the shell is not at its prompt; for one that is
    /// just coming up it waits a moment.
    [[nodiscard]] QCoro::Task<HostResult<Herdr::AgentStarted>> start(Herdr::AgentStartParams params);

    /// Types the text into the agent and presses Enter. Errors: "no_such_agent", "agent_not_ready" before its
    /// input box has shown, "agent_blocked" while a dialog would take the text for an answer.
    [[nodiscard]] QCoro::Task<HostResult<Herdr::AgentInfo>> prompt(Herdr::AgentPromptParams params);

private:
    /// One pane with an agent, or with what is left of one.
    struct Entry
    {
        AgentRecord record;
        bool isFound = false; ///< started by hand; nothing is kept of it
        ClaudeSessionFile session;
        QByteArray configFolder; ///< the agent's own ~/.claude; empty until its environment was read
        QString runID;
        ScreenReading screen; ///< the last reading, taken in second `screenTakenAt`
        qint64 screenActivity = -1;
        qint64 screenTakenAt = 0;
        Herdr::Status status = Herdr::Status::Unknown;
        bool tellsOfItself = false; ///< `status` is what its session file says
        bool isUnsaved = false;
    };

    /// An answer of list() and what it holds for.
    struct Listing
    {
        EncodedResult answer;
        int generation = 0;  ///< of the connection
        quint64 changes = 0; ///< of tmux
        Date expires{};
    };

    [[nodiscard]] bool isCurrent(const std::optional<Listing> &listing) const;
    /// How long the answer that was just made may be given again; nothing while an agent is coming up.
    [[nodiscard]] std::optional<Span> listingLife();
    QCoro::Task<HostResult<void>> loadRecords();
    QCoro::Task<HostResult<QList<PaneRow>>> rows();
    QCoro::Task<void> refresh(QList<PaneRow> rows);
    QCoro::Task<void> save(QByteArrayList panes);
    void advance(Entry &entry, const PaneRow &row);
    void finishLaunching(Entry &entry, const PaneRow &row);
    void findByHand(const PaneRow &row);
    void readAgentEnvironment(Entry &entry);
    /// Some installations start the agent proper as a child, which then is the one that tells of itself.
    void followWrapper(Entry &entry);
    [[nodiscard]] bool needsScreen(Entry &entry, const PaneRow &row);
    void applyScreen(Entry &entry, ScreenReading reading);
    [[nodiscard]] std::optional<Herdr::AgentInfo> infoFor(const PaneRow &row) const;
    [[nodiscard]] std::optional<QByteArray> paneOf(const QString &target) const;
    [[nodiscard]] QCoro::Task<HostResult<PaneRow>> freshRow(QString target);
    [[nodiscard]] bool isTaken(const QByteArray &pane) const;
    /// Why no agent of this name can be started in the pane now; nothing when one can.
    [[nodiscard]] std::optional<HerdrFailure> obstacle(const PaneRow &row, const QString &name) const;
    QCoro::Task<void> waitForShell(PaneRow row);
    QCoro::Task<void> waitForAgent(QString paneID);

    HostPaths m_paths;
    TmuxControl &m_tmux;
    Terminals &m_terminals;
    PaneInput &m_input;
    Clock &m_clock;
    QHash<QByteArray, Entry> m_entries; ///< by tmux's pane id
    QHash<pid_t, std::pair<quint64, std::optional<AgentKind>>>
        m_foreground;     ///< what a process was found to be
    int m_generation = 0; ///< of the connection that m_entries was read from
    ChangeWatch m_watch;
    std::optional<Listing> m_listing;
};

} // namespace Keelhaven
