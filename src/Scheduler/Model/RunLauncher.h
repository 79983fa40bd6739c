#pragma once

#include "Platform/Result.h"
#include "Scheduler/Model/AgentProvider.h"

#include <QCoroTask>
#include <QSet>

namespace Keelhaven {

/// Everything the session host needs to know to start one run.
struct RunLaunchRequest
{
    QUuid runID;
    AgentProvider provider = AgentProvider::Claude;
    QString cwd;
    QString name;   ///< the agent's
    QString prompt; ///< the text to deliver
    QString workspaceLabel;
    QStringList addDirs;
    std::optional<QString> resumeSessionID;
    QStringList plugins; ///< Claude plugins to enable
    std::optional<QString> model;
    QStringList pluginDirs; ///< plugin folders to load for this session
    std::optional<QString> runDir;

    bool operator==(const RunLaunchRequest &) const = default;
};

/// The handle of a live session.
struct LaunchedRun
{
    QString paneID;
    QString tabID;
    QString workspaceID;
    QString agentName;
    std::optional<AgentProvider> provider;
    std::optional<QUuid> runID;
    std::optional<QString> workspaceLabel;
    std::optional<QString> runDir;

    bool operator==(const LaunchedRun &) const = default;
};

/// What the session host sees in a pane; the same words as on its wire.
enum class AgentState { Idle, Working, Blocked, Done, Unknown };

template <>
struct EnumTexts<AgentState>
{
    static constexpr std::array<std::u16string_view, 5> texts{u"idle", u"working", u"blocked", u"done",
                                                              u"unknown"};
};

[[nodiscard]] constexpr bool isBlocked(AgentState state)
{
    return state == AgentState::Blocked;
}

struct RunProbe
{
    AgentState state = AgentState::Unknown;
    bool exists = true;
    bool operator==(const RunProbe &) const = default;
};

/// Why a launch or a prompt failed, as the sentence that becomes the run's reason.
struct LaunchError
{
    QString text;
    [[nodiscard]] QString message() const { return text; }
    bool operator==(const LaunchError &) const = default;
};

/// What the engine asks of the session host. All on the main loop.
class RunLauncher
{
public:
    virtual ~RunLauncher() = default;

    /// Starts a session and delivers its first prompt. The engine calls only this form.
    [[nodiscard]] virtual QCoro::Task<Result<LaunchedRun, LaunchError>> launch(RunLaunchRequest request) = 0;
    /// Delivers a further prompt to a live session.
    [[nodiscard]] virtual QCoro::Task<Result<void, LaunchError>> prompt(LaunchedRun run, QString text) = 0;
    /// The session's state. A host that does not answer gives Unknown, and the session is taken to be alive.
    [[nodiscard]] virtual QCoro::Task<RunProbe> probe(LaunchedRun run) = 0;
    /// The last `lines` lines of its screen; marked at the top when the host cut it.
    [[nodiscard]] virtual QCoro::Task<std::optional<QString>> transcript(LaunchedRun run, int lines) = 0;
    /// Asks the session to end.
    [[nodiscard]] virtual QCoro::Task<> requestExit(LaunchedRun run) = 0;
    /// Closes its pane.
    [[nodiscard]] virtual QCoro::Task<> terminate(LaunchedRun run) = 0;
    /// Shows it to the user.
    [[nodiscard]] virtual QCoro::Task<> focus(LaunchedRun run) = 0;
    /// Types into it.
    [[nodiscard]] virtual QCoro::Task<> sendText(LaunchedRun run, QString text) = 0;
    /// Closes tabs with this label that sessions left behind; true when one of them is still busy.
    [[nodiscard]] virtual QCoro::Task<bool> reconcileFinishedTabs(QString label, QSet<QString> keeping) = 0;
    /// The last screen of a launch that failed; given once.
    [[nodiscard]] virtual std::optional<QString> takeFailedLaunchScreen(const QUuid &runID) = 0;

    /// What keeps this launcher from starting anything, as a sentence for the user; nothing when it can, also
    /// when it first has to start its server.
    [[nodiscard]] virtual QCoro::Task<std::optional<QString>> blockedReason() = 0;

    /// Closes the panes of these runs and of launches under way, without the main loop, and waits at most
    /// `limit` for the closing calls; for quit only.
    virtual void terminateAllBlocking(const QList<LaunchedRun> &runs, std::chrono::milliseconds limit) = 0;
};

} // namespace Keelhaven
