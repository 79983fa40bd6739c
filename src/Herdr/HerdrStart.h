#pragma once

#include "Herdr/HerdrSession.h"

#include <QStringList>

namespace Keelhaven::HerdrSession {

/// Finds or makes the workspace, opens a tab and starts the agent in it. The server must be up.
[[nodiscard]] QCoro::Task<Result<LaunchedRun, HerdrError>>
startSession(Context context, RunLaunchRequest request, QStringList deniedRoots);

/// Waits until the agent takes prompts, gets past its dialogs and delivers the request's prompt.
[[nodiscard]] QCoro::Task<Outcome> submitFirstPrompt(Context context, LaunchedRun run,
                                                     RunLaunchRequest request);

/// Both of the above. A session whose first prompt fails is closed, its last screen kept; Claude gets a
/// second try when it did not read the prompt.
[[nodiscard]] QCoro::Task<Result<LaunchedRun, HerdrError>>
startAndPrompt(Context context, RunLaunchRequest request, QStringList deniedRoots);

/// The id of the server's workspace with this label, or nothing. The cache only prefers one among several.
[[nodiscard]] QCoro::Task<Result<std::optional<QString>, HerdrError>> workspaceID(Context context,
                                                                                  QString label);

/// A pane for the run, in a tab named after its agent.
[[nodiscard]] QCoro::Task<Result<Herdr::PaneInfo, HerdrError>>
openPane(Context context, RunLaunchRequest request, QStringList deniedRoots);

} // namespace Keelhaven::HerdrSession
