#include "Herdr/HerdrLauncher.h"

#include "Herdr/HerdrLocator.h"
#include "Herdr/HerdrProbe.h"
#include "Herdr/HerdrPrompting.h"
#include "Herdr/HerdrStart.h"
#include "Herdr/HerdrTabs.h"
#include "Herdr/ProtectedFolders.h"

#include <QSemaphore>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

using HerdrSession::Context;

LaunchError launchError(const HerdrError &error)
{
    return {error.message()};
}

QCoro::Task<Result<LaunchedRun, LaunchError>> launchIn(Context context, HerdrLocator *locator,
                                                       RunLaunchRequest request)
{
    if (request.provider == AgentProvider::Codex && request.resumeSessionID)
        co_return failure(launchError(HerdrError::api(
            u"unsupported_resume"_s, u"Continue Codex sessions manually in Herdr in Phase 1."_s)));
    const QStringList deniedRoots =
        ProtectedFolders::denied(context->paths.home, request.cwd, request.addDirs);
    const auto server = co_await locator->ensureServer(context->client);
    if (!server)
        co_return failure(launchError(server.error()));
    co_await HerdrSession::closeUnclosedPanes(context);
    const auto run = co_await HerdrSession::startAndPrompt(context, request, deniedRoots);
    if (!run)
        co_return failure(launchError(run.error()));
    co_return *run;
}

QCoro::Task<Result<void, LaunchError>> promptIn(Context context, LaunchedRun run, QString text)
{
    const auto delivered = co_await HerdrSession::deliverPrompt(context, run, text);
    if (!delivered)
        co_return failure(launchError(delivered.error()));
    co_return {};
}

QCoro::Task<RunProbe> probeIn(Context context, QString paneID)
{
    const auto answer =
        co_await context->client.call<Herdr::AgentList>(Herdr::Method::agentList, Herdr::NoParams());
    // A short outage of the server must not end a run.
    if (!answer) {
        if (answer.error().isUnreachable() && context->onServerGone && !context->clock.isClosed())
            context->onServerGone();
        co_return RunProbe{AgentState::Unknown, true};
    }
    co_await HerdrSession::closeUnclosedPanes(context);
    const Herdr::AgentInfo *agent = answer->inPane(paneID);
    if (agent && (agent->agent || agent->isPending()))
        co_return RunProbe{HerdrSession::agentState(agent->agentStatus), true};
    co_return RunProbe{AgentState::Done, false};
}

QCoro::Task<> requestExitIn(Context context, LaunchedRun run)
{
    if (run.provider == AgentProvider::Codex)
        co_return;
    const Herdr::AgentPromptParams params{run.agentName, u"/exit"_s};
    const auto asked = co_await context->client.call<Herdr::AgentResult>(Herdr::Method::agentPrompt, params);
    if (!asked)
        co_await HerdrSession::sendText(context, run.paneID, u"/exit\r"_s);
}

/// A failure is nothing anybody can do anything about.
QCoro::Task<> focusIn(Context context, QString paneID)
{
    const Herdr::PaneTarget target{paneID};
    [[maybe_unused]] const auto answer =
        co_await context->client.call<Herdr::Ack>(Herdr::Method::paneFocus, target);
}

QCoro::Task<> sendTextIn(Context context, QString paneID, QString text)
{
    co_await HerdrSession::sendText(context, paneID, text);
}

} // namespace

HerdrLauncher::HerdrLauncher(HerdrClient client, HerdrLocator &locator, HerdrProbe &probe, Clock &clock,
                             KeelhavenPaths paths)
    : m_context(std::make_shared<HerdrContext>(std::move(client), clock, std::move(paths)))
    , m_locator(locator)
    , m_probe(probe)
{}

HerdrLauncher::~HerdrLauncher() = default;

QCoro::Task<Result<LaunchedRun, LaunchError>> HerdrLauncher::launch(RunLaunchRequest request)
{
    return launchIn(m_context, &m_locator, std::move(request));
}

QCoro::Task<Result<void, LaunchError>> HerdrLauncher::prompt(LaunchedRun run, QString text)
{
    return promptIn(m_context, std::move(run), std::move(text));
}

QCoro::Task<RunProbe> HerdrLauncher::probe(LaunchedRun run)
{
    return probeIn(m_context, run.paneID);
}

QCoro::Task<std::optional<QString>> HerdrLauncher::transcript(LaunchedRun run, int lines)
{
    return HerdrSession::transcript(m_context, run.paneID, lines);
}

QCoro::Task<> HerdrLauncher::requestExit(LaunchedRun run)
{
    return requestExitIn(m_context, std::move(run));
}

QCoro::Task<> HerdrLauncher::terminate(LaunchedRun run)
{
    return HerdrSession::closePane(m_context, run.paneID);
}

QCoro::Task<> HerdrLauncher::focus(LaunchedRun run)
{
    return focusIn(m_context, run.paneID);
}

QCoro::Task<> HerdrLauncher::sendText(LaunchedRun run, QString text)
{
    return sendTextIn(m_context, run.paneID, std::move(text));
}

QCoro::Task<bool> HerdrLauncher::reconcileFinishedTabs(QString label, QSet<QString> keeping)
{
    return HerdrSession::reconcileFinishedTabs(m_context, std::move(label), std::move(keeping));
}

std::optional<QString> HerdrLauncher::takeFailedLaunchScreen(const QUuid &runID)
{
    const auto entry = m_context->failedLaunchScreens.constFind(runID);
    if (entry == m_context->failedLaunchScreens.constEnd())
        return std::nullopt;
    return m_context->failedLaunchScreens.take(runID);
}

QCoro::Task<std::optional<QString>> HerdrLauncher::blockedReason()
{
    return m_probe.blockedReason();
}

void HerdrLauncher::terminateAllBlocking(const QList<LaunchedRun> &runs, std::chrono::milliseconds limit)
{
    const QSet<QString> unfinished = m_context->openingPanes + m_context->unclosedPanes;
    QStringList panes(unfinished.cbegin(), unfinished.cend());
    for (const LaunchedRun &run : runs)
        panes.append(run.paneID);
    const auto closed = std::make_shared<QSemaphore>();
    for (const QString &pane : std::as_const(panes)) {
        const QString line = HerdrClient::requestLine(Herdr::Method::paneClose, Herdr::PaneTarget{pane});
        m_context->client.transport->post(line, m_context->client.timeout, [closed] { closed->release(); });
    }
    static_cast<void>(closed->tryAcquire(static_cast<int>(panes.size()), static_cast<int>(limit.count())));
}

} // namespace Keelhaven
