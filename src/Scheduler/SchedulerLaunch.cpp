#include "Herdr/HerdrPlacement.h"
#include "Journal/JournalIngestor.h"
#include "Notifications/NotificationManager.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Plugins/WorkspaceLayout.h"
#include "Plugins/WorkspaceScaffold.h"
#include "Scheduler/GitProbe.h"
#include "Scheduler/Model/RunContract.h"
#include "Scheduler/Preflight.h"
#include "Scheduler/SchedulerEngine.h"

#include <QFileInfo>
#include <algorithm>

// The launch sequence: from admission to a live session, in its exact order.
namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype preflightOutputKept = 500;

} // namespace

QCoro::Task<> SchedulerEngine::beginRun(QueuedRun queuedRun)
{
    const QPointer<SchedulerEngine> self(this);
    const QUuid id = queuedRun.record.id;
    co_await launchSteps(std::move(queuedRun));
    if (!self || m_isShutDown)
        co_return;
    m_launching.removeIf([&](const RunRecord &record) { return record.id == id; });
    pump();
}

void SchedulerEngine::closeUnlaunched(RunRecord record, const RunOutcome &outcome)
{
    record.outcome = outcome;
    record.endedAt = m_services.clock.now();
    commit(record, outcome.kind != RunOutcome::Kind::SkippedNoChanges, std::nullopt, true);
    releaseAwake(record.id);
}

void SchedulerEngine::fail(RunRecord record, const QString &reason, const std::optional<QString> &screen)
{
    if (screen) {
        // A screen that cannot be kept costs only itself.
        static_cast<void>(m_services.store.saveScrollback(*screen, record.id));
        record.scrollbackFile = u"runs/%1.txt"_s.arg(uuidText(record.id));
    }
    closeUnlaunched(std::move(record), RunOutcome::launchFailed(reason));
}

/// The gates a run passes after admission; gives the outcome of the first that holds it.
QCoro::Task<std::optional<RunOutcome>> SchedulerEngine::gate(QueuedRun queuedRun)
{
    const QPointer<SchedulerEngine> self(this);
    const RunRecord &record = queuedRun.record;
    const SchedulerSlot &slot = queuedRun.slot;
    if (const auto error = slot.providerValidationError())
        co_return RunOutcome::launchFailed(*error);
    const bool freshManual = record.trigger == RunTrigger::Manual && !record.resumeSessionID;
    if (record.resolvedProvider() == AgentProvider::Codex && !freshManual)
        co_return RunOutcome::launchFailed(
            u"Codex Phase 1 supports fresh manual runs only. Continue sessions in Herdr."_s);
    // An earlier deferral may have released it.
    if (slot.keepAwake)
        holdAwake(record.id);
    if (m_pluginCacheGuard.isForbidden(record.cwd))
        co_return RunOutcome::launchFailed(
            u"runs are not allowed inside ~/.claude/plugins — use a project directory"_s);
    if (slot.runOnlyIfChanged && record.trigger == RunTrigger::Scheduled) {
        const GitProbe git(m_services.processes, m_services.locator);
        const auto head = co_await git.head(record.folder());
        if (!self || m_isShutDown)
            co_return std::nullopt;
        const auto lastHead = slot.lastRunHeads && slot.lastRunHeads->contains(record.folder())
                                  ? std::optional(slot.lastRunHeads->value(record.folder()))
                                  : std::nullopt;
        if (GitProbe::shouldSkip(head, lastHead))
            co_return RunOutcome::skippedNoChanges();
    }
    if (slot.preflight && !slot.preflight->isEmpty()) {
        const Preflight preflight(m_services.processes, m_services.locator);
        const auto result = co_await preflight.run(*slot.preflight);
        if (!self || m_isShutDown)
            co_return std::nullopt;
        if (!result.passed())
            co_return RunOutcome::preflightFailed(firstCharacters(result.output, preflightOutputKept));
    }
    if (!QFileInfo::exists(record.folder()))
        co_return RunOutcome::launchFailed(u"project folder is missing: "_s + record.folder());
    const auto blocked = co_await m_services.launcher.blockedReason();
    if (!self || m_isShutDown)
        co_return std::nullopt;
    if (blocked)
        co_return RunOutcome::launchFailed(*blocked);
    if (record.projectDir && slot.usesWorkspace()) {
        if (const auto error = ensureWorkspace(slot, *record.projectDir))
            co_return RunOutcome::launchFailed(u"workspace: "_s + *error);
    }
    co_return std::nullopt;
}

RunLaunchRequest SchedulerEngine::launchRequest(QueuedRun &queuedRun) const
{
    RunRecord &record = queuedRun.record;
    const SchedulerSlot &slot = queuedRun.slot;
    const bool isClaude = record.resolvedProvider() == AgentProvider::Claude;
    record.startedAt = m_services.clock.now();
    record.launchRunID = record.id;

    RunLaunchRequest request;
    request.prompt = record.command;
    if (isClaude && slot.kind != SlotKind::System && !queuedRun.handoff) {
        const QString folder = m_services.store.runDir(record.id);
        // Without the folder the session still runs; it only has nowhere to report to.
        static_cast<void>(makeFolder(folder));
        request.runDir = folder;
        if (slot.kind != SlotKind::Captain)
            request.prompt = RunContract::withResultContract(request.prompt, folder + u"/result.json"_s);
    }
    request.runID = record.id;
    request.provider = record.resolvedProvider();
    request.cwd = record.cwd;
    request.name = slot.name;
    request.workspaceLabel = slot.herdrWorkspace.value_or(HerdrPlacement::workspaceLabel(record.folder()));
    if (record.projectDir)
        request.addDirs.append(*record.projectDir);
    for (const QString &folder : slot.addDirs)
        request.addDirs.append(expandTilde(folder, m_services.paths.home));
    if (request.runDir)
        request.addDirs.append(*request.runDir);
    request.resumeSessionID = record.resumeSessionID;
    request.model = record.model;
    if (isClaude) {
        request.plugins = slot.plugins;
        request.pluginDirs = pluginDirs();
    }
    return request;
}

QCoro::Task<> SchedulerEngine::launchSteps(QueuedRun queuedRun)
{
    const QPointer<SchedulerEngine> self(this);
    auto &launcher = m_services.launcher;
    // The turn of the loop that lies between admission and this may have been the last.
    if (m_isShutDown)
        co_return;
    const auto stopped = co_await gate(queuedRun);
    if (!self || m_isShutDown)
        co_return;
    if (stopped) {
        closeUnlaunched(queuedRun.record, *stopped);
        co_return;
    }
    const RunLaunchRequest request = launchRequest(queuedRun);
    const auto known = std::ranges::find(m_launching, queuedRun.record.id, &RunRecord::id);
    if (known != m_launching.end())
        *known = queuedRun.record;
    const auto session = co_await launcher.launch(request);
    if (!self)
        co_return;
    if (m_isShutDown) {
        // A session that came up too late has no run that would look after it.
        if (session)
            co_await launcher.terminate(*session);
        co_return;
    }
    if (session)
        launched(queuedRun, *session, request);
    else
        fail(queuedRun.record, session.error().message(),
             launcher.takeFailedLaunchScreen(queuedRun.record.id));
}

void SchedulerEngine::launched(const QueuedRun &queuedRun, const LaunchedRun &session,
                               const RunLaunchRequest &request)
{
    const RunRecord &record = queuedRun.record;
    m_active.append(std::make_shared<ActiveRun>(record, queuedRun.slot, session));
    // A resumed session keeps its id, and the log still holds the end of its earlier turn.
    if (record.resumeSessionID)
        m_active.last()->eventFloor = record.startedAt;
    if (request.runDir && journal)
        journal->begin(record, journalPath(record), false);
    if (notificationsOn())
        m_services.notifications.postRun(
            u"▶ Started %1 in %2"_s.arg(queuedRun.slot.name, request.workspaceLabel), QString(), record.id,
            false);
    report(EngineEvent::Kind::Launched, record);
    resetTimers();
    if (queuedRun.handoff)
        takeOver(record.id);
    catchUp();
}

std::optional<QString> SchedulerEngine::ensureWorkspace(const SchedulerSlot &slot, const QString &projectDir)
{
    const QString home = m_services.paths.home;
    for (const auto &target : WorkspaceLayout::targets(slot, m_services.workspaces.root())) {
        // A record names the folder without the tilde that the agent may have it with.
        if (expandTilde(target.projectDir, home) != expandTilde(projectDir, home))
            continue;
        WorkspaceScaffold::Plan plan;
        plan.dir = target.workspaceDir;
        plan.slug = WorkspaceLayout::slugOf(slot);
        plan.task = target.task;
        plan.plugins = slot.plugins;
        plan.brief = slot.command;
        const QStringList folders =
            slot.workspaceMode == WorkspaceMode::Shared ? slot.cwds : QStringList{projectDir};
        for (const QString &folder : folders)
            plan.projectFolders.append(expandTilde(folder, home));
        plan.slotID = slot.id;
        const auto result = m_services.workspaces.ensure(plan);
        if (!result)
            return result.error().message();
        installPlugins(slot.plugins, target.workspaceDir);
        return std::nullopt;
    }
    return std::nullopt;
}

std::optional<QString> SchedulerEngine::ensureWorkspaces(const SchedulerSlot &slot)
{
    QStringList seen;
    std::optional<QString> firstError;
    for (const auto &target : WorkspaceLayout::targets(slot, m_services.workspaces.root())) {
        if (seen.contains(target.workspaceDir))
            continue;
        seen.append(target.workspaceDir);
        const auto error = ensureWorkspace(slot, target.projectDir);
        if (error && !firstError)
            firstError = error;
    }
    return firstError;
}

} // namespace Keelhaven
