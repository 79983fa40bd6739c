#include "Herdr/HerdrStart.h"

#include "Herdr/HerdrLaunchArguments.h"
#include "Herdr/HerdrPrompting.h"
#include "Herdr/ProtectedFolders.h"
#include "Herdr/UnixSocketTransport.h"

namespace Keelhaven::HerdrSession {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// How long the server itself waits for the agent's process; the call must outlast it.
constexpr int startTimeoutMs = 60000;
constexpr Span startCallTimeout = 75s;
constexpr int failedScreenLines = 200;

const QString quitting = u"Keelhaven is quitting"_s;

QCoro::Task<Result<Herdr::AgentStarted, HerdrError>> startAgent(Context context,
                                                                Herdr::AgentStartParams params)
{
    const Date firstTry = context->clock.now();
    while (true) {
        auto started = co_await context->client.call<Herdr::AgentStarted>(Herdr::Method::agentStart, params,
                                                                          startCallTimeout);
        if (started || !started.error().isApi(u"agent_pane_busy"))
            co_return started;
        if (context->clock.now() - firstTry >= context->paneReadyTimeout)
            co_return started;
        const bool slept = co_await context->clock.sleep(pollInterval);
        if (!slept)
            co_return started;
    }
}

/// Closes the pane of a launch that failed and keeps its last screen. While the program quits no answer is
/// waited for.
QCoro::Task<> closeFailedPane(Context context, QString paneID, QUuid runID)
{
    if (context->clock.isClosed()) {
        const QString line = HerdrClient::requestLine(Herdr::Method::paneClose, Herdr::PaneTarget{paneID});
        context->client.transport->post(line, context->client.timeout, [] {});
    } else {
        const auto screen = co_await transcript(context, paneID, failedScreenLines);
        if (screen)
            context->failedLaunchScreens.insert(runID, *screen);
        co_await closePane(context, paneID);
    }
    context->openingPanes.remove(paneID);
}

/// A new workspace with this run's pane in its first tab.
QCoro::Task<Result<Herdr::PaneInfo, HerdrError>> openWorkspace(Context context, RunLaunchRequest request,
                                                               QMap<QString, QString> environment)
{
    const Herdr::WorkspaceCreateParams params{request.workspaceLabel, request.cwd, environment, false};
    context->workspacesInMaking.insert(request.workspaceLabel);
    const auto created =
        co_await context->client.call<Herdr::WorkspaceCreated>(Herdr::Method::workspaceCreate, params);
    context->workspacesInMaking.remove(request.workspaceLabel);
    if (!created)
        co_return failure(created.error());
    context->workspaceIDs.insert(request.workspaceLabel, created->workspace.workspaceId);
    const Herdr::TabRenameParams rename{created->tab.tabId, request.name};
    [[maybe_unused]] const auto renamed =
        co_await context->client.call<Herdr::Ack>(Herdr::Method::tabRename, rename);
    co_return created->rootPane;
}

} // namespace

QCoro::Task<Result<std::optional<QString>, HerdrError>> workspaceID(Context context, QString label)
{
    using Found = std::optional<QString>;
    const auto answer =
        co_await context->client.call<Herdr::WorkspaceList>(Herdr::Method::workspaceList, Herdr::NoParams());
    if (!answer)
        co_return failure(answer.error());
    const QString known = context->workspaceIDs.value(label);
    Found found;
    for (const Herdr::WorkspaceInfo &each : answer->workspaces) {
        if (!known.isEmpty() && each.workspaceId == known)
            co_return Found(known);
        if (!found && each.label == label)
            found = each.workspaceId;
    }
    if (found)
        context->workspaceIDs.insert(label, *found);
    else
        context->workspaceIDs.remove(label);
    co_return found;
}

QCoro::Task<Result<Herdr::PaneInfo, HerdrError>> openPane(Context context, RunLaunchRequest request,
                                                          QStringList deniedRoots)
{
    const auto environment = HerdrLaunchArguments::environment(request, deniedRoots);
    while (true) {
        const auto workspace = co_await workspaceID(context, request.workspaceLabel);
        if (!workspace)
            co_return failure(workspace.error());
        if (*workspace) {
            const Herdr::TabCreateParams params{**workspace, request.name, request.cwd, environment, false};
            const auto tab =
                co_await context->client.call<Herdr::TabCreated>(Herdr::Method::tabCreate, params);
            if (!tab)
                co_return failure(tab.error());
            co_return tab->rootPane;
        }
        if (!context->workspacesInMaking.contains(request.workspaceLabel))
            break;
        // Another launch of the same project is making it; two of one name would stay for good.
        const bool slept = co_await context->clock.sleep(pollInterval);
        if (!slept)
            co_return failure(HerdrError::transport(quitting));
    }
    const auto pane = co_await openWorkspace(context, request, environment);
    co_return pane;
}

QCoro::Task<Result<LaunchedRun, HerdrError>> startSession(Context context, RunLaunchRequest request,
                                                          QStringList deniedRoots)
{
    const auto pane = co_await openPane(context, request, deniedRoots);
    if (!pane)
        co_return failure(pane.error());
    context->openingPanes.insert(pane->paneId);
    // An agent that came up now would have nobody to look after it.
    if (context->clock.isClosed()) {
        co_await closeFailedPane(context, pane->paneId, request.runID);
        co_return failure(HerdrError::transport(quitting));
    }
    const QStringList args = HerdrLaunchArguments::sessionArgs(request, context->paths, deniedRoots);
    Herdr::AgentStartParams params;
    params.name = HerdrLaunchArguments::agentName(request.name);
    params.kind = enumText(request.provider);
    params.paneId = pane->paneId;
    params.args = HerdrLaunchArguments::shortened(args, request.runID, context->paths, context->clock.now());
    params.timeoutMs = startTimeoutMs;
    const auto started = co_await startAgent(context, params);
    if (!started) {
        co_await closeFailedPane(context, pane->paneId, request.runID);
        co_return failure(started.error());
    }
    LaunchedRun run;
    run.paneID = started->agent.paneId;
    run.tabID = started->agent.tabId;
    run.workspaceID = started->agent.workspaceId;
    run.agentName = started->agent.name.value_or(params.name);
    run.provider = request.provider;
    run.runID = request.runID;
    run.workspaceLabel = request.workspaceLabel;
    run.runDir = request.runDir;
    context->openingPanes.remove(pane->paneId);
    context->openingPanes.insert(run.paneID);
    co_return run;
}

QCoro::Task<Outcome> submitFirstPrompt(Context context, LaunchedRun run, RunLaunchRequest request)
{
    const auto promptable = co_await waitUntilPromptable(context, run, context->readyTimeout);
    if (!promptable)
        co_return promptable;
    if (request.provider == AgentProvider::Claude) {
        co_await acceptTrustDialog(context, run.paneID);
        co_await waitUntilSettled(context, run);
        // The waits end at once when the program quits; a prompt must not follow them.
        if (context->clock.isClosed())
            co_return failure(HerdrError::transport(quitting));
    } else {
        const auto began = co_await waitForCodexHook(context, request.runID, u"SessionStart"_s);
        if (!began)
            co_return began;
    }
    const QString text = ProtectedFolders::guarded(request.prompt);
    const auto delivered = co_await deliverPrompt(context, run, text);
    co_return delivered;
}

QCoro::Task<Result<LaunchedRun, HerdrError>> startAndPrompt(Context context, RunLaunchRequest request,
                                                            QStringList deniedRoots)
{
    const QString timedOut = UnixSocketTransport::timedOutText.toString();
    for (int attempt = 1;; ++attempt) {
        auto run = co_await startSession(context, request, deniedRoots);
        if (!run)
            co_return run;
        if (context->onSessionOpened)
            context->onSessionOpened(*run);
        const auto submitted = co_await submitFirstPrompt(context, *run, request);
        if (submitted) {
            context->failedLaunchScreens.remove(request.runID);
            context->openingPanes.remove(run->paneID);
            co_return run;
        }
        co_await closeFailedPane(context, run->paneID, request.runID);
        if (context->clock.isClosed())
            co_return failure(HerdrError::transport(quitting));
        if (request.provider != AgentProvider::Claude || submitted.error() != HerdrError::transport(timedOut))
            co_return failure(submitted.error());
        if (attempt == 2)
            co_return failure(HerdrError::transport(u"claude came up but never read its prompt, twice ("_s +
                                                    timedOut + u')'));
    }
}

} // namespace Keelhaven::HerdrSession
