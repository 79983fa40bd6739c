#include "App/AppModel.h"

#include "App/AppServices.h"
#include "App/DeepLinkRouter.h"
#include "Contract/Models/MachineKey.h"
#include "Contract/SettingsCatalog.h"
#include "Herdr/HerdrExternalOpen.h"
#include "Notifications/DeepLink.h"
#include "Platform/NotificationSink.h"
#include "Platform/SleepMonitor.h"
#include "Platform/SystemLog.h"
#include "Platform/Text.h"
#include "Store/DatabaseOpening.h"
#include "Store/LegacyImport.h"
#include "Store/RunStore.h"
#include "Store/SQLiteRunStore.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// How much of a question a notification shows.
constexpr qsizetype questionCharacters = 160;

/// Work tokens of this program's runs between two moments.
qint64 tokensBetween(KeelhavenDatabase &database, Date from, Date to)
{
    const auto rows = database.sync([&](SQLiteConnection &connection) {
        return connection.query(
            u"SELECT COALESCE(SUM(work_tokens), 0) AS t FROM usage_samples WHERE ts >= ? AND ts < ?"_s,
            {SQLiteValue::date(from), SQLiteValue::date(to)});
    });
    // An estimate that cannot be made is no estimate; the measured meters stand.
    return rows && !rows->isEmpty() ? rows->first().int64(u"t"_s).value_or(0) : 0;
}

/// Attaches a terminal of the user's to the session, or says in the log how to do it by hand.
QCoro::Task<> openHerdr(HerdrLocator *locator, ProcessRunner *processes, KeelhavenPaths paths,
                        Desktop *desktop)
{
    const auto outcome = co_await HerdrExternalOpen::open(locator, processes, paths, desktop);
    if (outcome != HerdrExternalOpen::Outcome::NoTerminal)
        co_return;
    const auto binary = co_await locator->resolveBinaryWithSource();
    if (binary)
        systemLog(u"Keelhaven: no terminal could be opened; to see the session run: %1"_s.arg(
            HerdrExternalOpen::attachCommand(binary->path)));
}

} // namespace

Result<std::unique_ptr<AppModel>, NoDatabaseError> AppModel::create(const AppEnvironment &environment)
{
    auto opening = openDatabase(environment.paths);
    if (!opening)
        return failure(std::move(opening.error()));
    return std::unique_ptr<AppModel>(new AppModel(environment, std::move(opening->database), opening->error));
}

AppModel::AppModel(const AppEnvironment &environment, std::unique_ptr<KeelhavenDatabase> database,
                   std::optional<QString> databaseError)
    : m_databaseError(std::move(databaseError))
    , m_services(std::make_unique<Services>(environment, std::move(database)))
{
    chooseRunStore();
    auto &own = *m_services;
    const EngineServices engineServices{*own.runStore,
                                        own.launchd,
                                        own.power,
                                        own.notifications,
                                        own.usage,
                                        launcher(),
                                        environment.clock,
                                        environment.settings,
                                        environment.processes,
                                        own.locator,
                                        own.workspaces,
                                        environment.paths};
    own.scheduler = std::make_unique<SchedulerEngine>(engineServices);
    own.scheduler->journal = &own.journal;
    own.sweep = std::make_unique<SweepRunner>(*own.scheduler, environment.settings, environment.clock,
                                              own.tasks, environment.paths.home);
    wireHooks();
}

AppModel::~AppModel()
{
    shutdown();
}

void AppModel::chooseRunStore()
{
    auto &own = *m_services;
    auto plainFiles = std::make_unique<RunStore>(own.environment.paths);
    if (m_databaseError) {
        own.temporaryDatabase.path = own.database->path();
        // Agents and history stay the user's real ones even on a temporary database.
        own.runStore = std::move(plainFiles);
        return;
    }
    static_cast<void>(LegacyImport::runIfNeeded(*own.database, *plainFiles, own.environment.clock));
    own.runStore =
        std::make_unique<SQLiteRunStore>(*own.database, own.environment.clock,
                                         own.environment.paths.runsDir(), own.environment.paths.assetsDir());
}

void AppModel::wireHooks()
{
    auto &own = *m_services;
    own.scheduler->onEvent = [this](const EngineEvent &event) {
        if (event.kind == EngineEvent::Kind::Finished)
            m_promptTakenAt.remove(event.record.launchRunID.value_or(event.record.id));
        Q_EMIT happened(event);
    };
    own.journal.onProgress = [this](const QUuid &runID, const QString &text) {
        for (const auto &run : m_services->scheduler->active()) {
            if (run->record.id == runID)
                Q_EMIT happened({EngineEvent::Kind::Progress, run->record, text});
        }
    };
    own.journal.onQuestion = [this](const RunRecord &run, const HumanQuestion &question) {
        m_services->notifications.post(u"❓ %1 needs you"_s.arg(run.slotName),
                                       firstCharacters(question.question, questionCharacters),
                                       DeepLink::run(run.id));
        Q_EMIT happened({EngineEvent::Kind::Question, run, question.question});
    };
    own.scheduler->onRunRemoved = [this](const QUuid &runID) { m_services->assets.delete_(runID); };
    own.scheduler->openExternal = [this] {
        auto &services = *m_services;
        services.tasks.spawn(openHerdr(&services.herdrLocator, &services.environment.processes,
                                       services.environment.paths, &services.environment.desktop),
                             "open terminal");
    };
    own.launcher.context().onSessionOpened = [this](const LaunchedRun &session) {
        const QString text = u"workspace %1, tab %2, pane %3"_s.arg(
            session.workspaceLabel.value_or(session.workspaceID), session.tabID, session.paneID);
        reportLaunching(session.runID, EngineEvent::Kind::SessionOpened, text);
    };
    own.launcher.context().onServerGone = [this] {
        m_services->tasks.spawn(m_services->herdr.reviveServer(), "revive Herdr");
    };
    own.launcher.context().promptTaken = [this](const QUuid &runID, Date since) {
        const auto taken = m_promptTakenAt.constFind(runID);
        return taken != m_promptTakenAt.cend() && *taken >= since;
    };
    own.updates.openURL = [this](const QUrl &page) {
        ProcessSpec spec;
        spec.program = u"xdg-open"_s;
        spec.arguments = QStringList{page.toString(QUrl::FullyEncoded)};
        if (!m_services->environment.processes.startDetached(spec))
            systemLog(u"Keelhaven: no browser could be opened for %1"_s.arg(spec.arguments.first()));
    };
    own.herdrProbe.untilSettled = [this] { return m_services->herdr.settled(); };
    own.sweep->onBlocked = [this](const QString &reason) { setLastMutationError(reason); };
    own.notifications.onOpenProject = [this](const QString &name) {
        m_services->selection.showProject(name);
    };
    own.notifications.onOpenURL = [this](const QString &link) { handleDeepLink(link); };
    own.environment.notifications.onClicked = [this](const QString &link) {
        m_services->notifications.clicked(link);
    };
    own.environment.sleep.onDidWake = [this] {
        m_services->scheduler->evaluateDueSlots(m_services->environment.clock.now());
    };
    own.zone.onChanged = [this] { m_services->scheduler->zoneChanged(); };
}

void AppModel::start()
{
    if (m_started)
        return;
    m_started = true;
    auto &own = *m_services;
    own.updates.start();
    own.herdr.bootstrap([this] {
        const auto &engine = *m_services->scheduler;
        return engine.active().isEmpty() && engine.launching().isEmpty() && engine.queued().isEmpty();
    });
    own.snapshots = own.hub.snapshots([this](const Snapshot &snapshot) { apply(snapshot); });
    own.hub.start();
    own.mirrorMonitor.start();
    own.zone.start();
    own.usage.tokensBetween = [this](Date from, Date to) {
        return tokensBetween(*m_services->database, from, to);
    };
    own.usage.fetchLive = [this] { return m_services->claudeUsage.fetchFromAPI(); };
    own.usage.start();
    own.workItems.load(own.environment.clock.now());
    own.assets.resume();
    own.scheduler->start();
    own.environment.sleep.start();
    own.pluginInventory.start();
    own.workspaceStore.start();
    own.dispatch.load();
    sweepWhenSetUp();
    own.tasks.spawn(own.setup.refresh(false), "setup");
    Q_EMIT started();
}

void AppModel::sweepWhenSetUp()
{
    auto &own = *m_services;
    if (own.setup.done())
        own.sweep->sweepOnOpenIfEnabled();
    else
        own.setup.onFinish = [this] { m_services->sweep->sweepOnOpenIfEnabled(); };
}

void AppModel::shutdown()
{
    if (std::exchange(m_isShutDown, true))
        return;
    auto &own = *m_services;
    own.environment.notifications.onClicked = nullptr;
    own.environment.sleep.onDidWake = nullptr;
    own.setup.onFinish = nullptr;
    own.updates.stop();
    own.snapshots = {};
    own.hub.stop();
    own.assets.stop();
    own.pluginInventory.stop();
    own.workspaceStore.stop();
    own.mirrorMonitor.stop();
    own.zone.stop();
    own.scheduler->shutdown();
    own.usage.shutdown();
    own.codexUsage.shutdown();
    own.database->checkpoint();
}

void AppModel::apply(const Snapshot &snapshot)
{
    const bool isFirst = !std::exchange(m_hasAppliedSnapshot, true);
    m_snapshot = snapshot;
    if (isFirst)
        clearGoneProject();
    for (const auto &event : snapshot.newEvents) {
        if (event.type != u"UserPromptSubmit")
            continue;
        if (event.runID)
            m_promptTakenAt.insert(*event.runID, snapshot.at);
        reportLaunching(event.runID, EngineEvent::Kind::PromptTaken, {});
    }
    m_services->scheduler->processSnapshot(snapshot.events, false);
    if (!isFirst && !snapshot.newEvents.isEmpty())
        m_services->notifications.process(eventsOfOthers(snapshot.newEvents, liveRecords()),
                                          snapshot.state.linksForMachine(MachineKey::current()));
    Q_EMIT snapshotApplied();
}

void AppModel::reportLaunching(const std::optional<QUuid> &runID, EngineEvent::Kind kind, const QString &text)
{
    for (const auto &record : std::as_const(m_services->scheduler->launching())) {
        if (record.id == runID)
            Q_EMIT happened({kind, record, text});
    }
}

void AppModel::settingChanged(const QString &key)
{
    auto &own = *m_services;
    if (key == Setting::keepMacAwake.name || key == Setting::preventMacLockScreen.name)
        own.power.readSettings();
    if (key == Setting::secretStore.name)
        own.keychain.forgetAll();
    // A gate that is opened lets held runs start now.
    if (m_started &&
        (key == Setting::schedulerSessionCapPercent.name || key == Setting::schedulerPaceGuardEnabled.name ||
         key == Setting::schedulerPaceSlack.name))
        own.scheduler->reconsiderHeld();
    // A higher cap lets waiting runs start now.
    if (m_started && key == Setting::schedulerConcurrencyCap.name)
        own.scheduler->evaluateDueSlots(own.environment.clock.now());
    Q_EMIT settingWritten(key);
}

void AppModel::handleDeepLink(const QString &link)
{
    DeepLinkRouter::route(link, *this);
}

} // namespace Keelhaven
