#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Contract/Models/EventRecord.h"
#include "Herdr/HerdrClient.h"
#include "Platform/Clock.h"
#include "Scheduler/Model/RunLauncher.h"

#include <QHash>
#include <QSet>

namespace Keelhaven {

/// What all parts of the launcher share. Every coroutine holds it, so that a launch that is still under way
/// when the launcher goes touches nothing dead. The clock outlives it. Main loop only.
struct HerdrContext
{
    HerdrContext(HerdrClient host, Clock &time, KeelhavenPaths places);

    HerdrClient client;
    Clock &clock;
    KeelhavenPaths paths;
    std::function<QList<EventRecord>(const QUuid &)> codexEvents;
    /// A session's pane is open and its agent is being started; its prompt is still to come.
    std::function<void(const LaunchedRun &)> onSessionOpened;

    /// A live session was asked about, and nobody listens on the socket.
    std::function<void()> onServerGone;

    /// Whether the run's session has told since then that it took a prompt. A turn can be over before anybody
    /// sees it at work, and its prompt must not be typed again.
    std::function<bool(const QUuid &runID, Date since)> promptTaken = [](const QUuid &, Date) {
        return false;
    };

    Span readyTimeout = std::chrono::seconds(45); ///< for a promptable agent and for a Codex hook
    Span submitVerifyWindow =
        std::chrono::seconds(4); ///< how long a prompt may sit unnoticed before Enter is pressed again
    Span paneReadyTimeout = std::chrono::seconds(8); ///< how long "agent_pane_busy" is retried
    Span settleDwell = std::chrono::seconds(2);      ///< how long the screen must stand still

    QHash<QString, QString> workspaceIDs; ///< by label; checked against the server on every use
    QSet<QString> workspacesInMaking;     ///< labels that a launch has asked the server to create
    QSet<QString> openingPanes;           ///< panes of launches under way, for quit
    QSet<QString> unclosedPanes;          ///< to be closed, but the server was not there or did not answer
    QHash<QUuid, QString> failedLaunchScreens;
};

/// The questions, keystrokes and waits of one session's pane.
namespace HerdrSession {

using Context = std::shared_ptr<HerdrContext>;
using Outcome = Result<void, HerdrError>;

/// How often a screen or a status is looked at while waiting for a session to come up.
inline constexpr Span pollInterval = std::chrono::milliseconds(250);
/// How many lines a dialog or the settling of a screen is read from.
inline constexpr int dialogLines = 40;

/// An absent status is Unknown.
[[nodiscard]] AgentState agentState(std::optional<Herdr::Status> status);

/// The last `lines` lines of the screen, marked at the top when the host cut them; nothing when it does not
/// answer.
[[nodiscard]] QCoro::Task<std::optional<QString>> transcript(Context context, QString paneID, int lines);

/// Types into the pane; false when the host did not take it.
[[nodiscard]] QCoro::Task<bool> sendText(Context context, QString paneID, QString text);

/// Closes the pane. When the server does not answer it is closed by closeUnclosedPanes.
[[nodiscard]] QCoro::Task<> closePane(Context context, QString paneID);

/// Closes what is left to close, once the server answers again: an agent would stay in its pane for good.
[[nodiscard]] QCoro::Task<> closeUnclosedPanes(Context context);

/// Waits until the agent takes prompts, answering Claude's trust question on the way. Api error
/// "agent_not_ready" with the last reason after `timeout`.
[[nodiscard]] QCoro::Task<Outcome> waitUntilPromptable(Context context, LaunchedRun run, Span timeout);

/// Answers folder-trust questions, at most three in a row.
[[nodiscard]] QCoro::Task<> acceptTrustDialog(Context context, QString paneID);

/// Waits until the screen no longer shows `before`, at most 1.5 s.
[[nodiscard]] QCoro::Task<> waitForRedraw(Context context, QString paneID, QString before);

/// Waits until a resting session's screen has stood still, at most 12 s, so that the first prompt is not
/// typed into one that is still drawing.
[[nodiscard]] QCoro::Task<> waitUntilSettled(Context context, LaunchedRun run);

/// Waits for a Codex run's hook event of this type. Api error "codex_hooks_missing" after readyTimeout.
[[nodiscard]] QCoro::Task<Outcome> waitForCodexHook(Context context, QUuid runID, QString type);

} // namespace HerdrSession

} // namespace Keelhaven
