#pragma once

#include "Herdr/HerdrSession.h"

#include <QSet>

namespace Keelhaven::HerdrSession {

/// A prompt on its way into an agent.
struct Delivery
{
    QString paneID;
    QString typed;
    QSet<AgentState> resting; ///< the states that mean that the agent has not started on it
    std::optional<QUuid> runID;
    Date since; ///< before it was typed
};

/// Delivers a prompt: writes its brief when it is long, types it and, for Claude, presses Enter again until
/// the agent starts on it; Codex confirms through its hook. The error is that of the brief's file, of the
/// call or of the hook.
[[nodiscard]] QCoro::Task<Outcome> deliverPrompt(Context context, LaunchedRun run, QString text);

/// The states that mean that the agent has not started: idle, and done when it is done already.
[[nodiscard]] QCoro::Task<QSet<AgentState>> restingStates(Context context, QString paneID);

/// Whether the agent leaves `resting`, or tells that it took the prompt, within the verify window. What
/// cannot be told counts as resting.
[[nodiscard]] QCoro::Task<bool> leftIdle(Context context, Delivery delivery);

/// The lost-Enter ladder: a redraw may swallow Enter, or the whole prompt. Says nothing; a session that took
/// nothing shows up later in its monitoring.
[[nodiscard]] QCoro::Task<> ensurePromptSubmitted(Context context, Delivery delivery);

} // namespace Keelhaven::HerdrSession
