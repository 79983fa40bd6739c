#include "App/AppModel.h"

#include "App/AppSelection.h"
#include "Assets/AssetStore.h"
#include "Contract/Models/MachineKey.h"
#include "Dispatch/DispatchLedger.h"
#include "Journal/JournalIngestor.h"
#include "Mirror/MirrorClient.h"
#include "Mirror/MirrorMonitor.h"
#include "Platform/InotifyDirectoryWatch.h"
#include "Platform/JobManager.h"
#include "Platform/KeychainStore.h"
#include "Platform/NotificationSink.h"
#include "Platform/PowerBackend.h"
#include "Platform/SleepMonitor.h"
#include "Plugins/PluginInventoryStore.h"
#include "Scheduler/SweepRunner.h"
#include "Scheduler/Usage/CodexUsageMonitor.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "Setup/SetupChecklist.h"
#include "Ships/WorkItemStore.h"
#include "Store/DatabaseOpening.h"
#include "Store/RunStore.h"
#include "Store/SharedFileHub.h"
#include "Support/FakeChildProcess.h"
#include "Support/FakeDesktop.h"
#include "Support/FakeHttpClient.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySecrets.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDirIterator>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class NotificationList : public NotificationSink
{
public:
    void show(const QString &title, const QString &body, const QString &url) override
    {
        shown.append({title, body, url});
    }
    QList<QStringList> shown;
};

/// The application on a home of its own, without a terminal host: no outside program can be started.
class AppModelTest : public testing::Test
{
protected:
    AppModelTest()
    {
        home.enter();
        m_temporary = qgetenv("TMPDIR");
        qputenv("TMPDIR", home.path().toUtf8());
    }
    ~AppModelTest() override
    {
        clock.close();
        settle();
        m_temporary.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", m_temporary);
    }

    FakeDesktop desktop;

    std::unique_ptr<AppModel> open()
    {
        auto model = AppModel::create({paths,
                                       clock,
                                       processes,
                                       settings,
                                       watches,
                                       jobs,
                                       power,
                                       notifications,
                                       sleep,
                                       desktop,
                                       {},
                                       {},
                                       secrets,
                                       http,
                                       children});
        EXPECT_TRUE(model);
        return model ? *std::move(model) : nullptr;
    }
    static QStringList agents(AppModel &model)
    {
        model.scheduler().start();
        QStringList names;
        for (const auto &slot : model.scheduler().slotList())
            names.append(slot.name);
        return names;
    }
    static SchedulerSlot agent(const QString &name)
    {
        SchedulerSlot slot;
        slot.name = name;
        slot.command = u"go"_s;
        slot.schedule.rule = ScheduleSpec::Daily{};
        return slot;
    }

    const TestHome home;
    const KeelhavenPaths paths = home.paths();
    VirtualClock clock;
    FakeProcessRunner processes;
    FakeHttpClient http;
    FakeChildProcessFactory children;
    MemorySettings settings;
    MemorySecrets secrets;
    InotifyDirectoryWatchFactory watches;
    NoJobManager jobs;
    NoPowerBackend power;
    NotificationList notifications;
    NoSleepMonitor sleep;

private:
    QByteArray m_temporary;
};

TEST_F(AppModelTest, WithoutItsDatabaseAgentsAndHistoryAreThoseOfThePlainFiles)
{
    RunStore plainFiles(paths);
    ASSERT_TRUE(plainFiles.saveSlots({agent(u"old"_s)}));
    RunRecord run;
    run.endedAt = run.startedAt = clock.now();
    ASSERT_TRUE(plainFiles.saveRecord(run));
    home.write(u".local/share/keelhaven/keelhaven.sqlite"_s, QByteArray(5000, 'x'));

    testing::internal::CaptureStderr();
    auto model = open();
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    ASSERT_TRUE(model);
    const auto temporary = [&] { return QDir(home.path(), u"keelhaven-fallback-*"_s).entryList(); };
    EXPECT_FALSE(temporary().isEmpty());
    EXPECT_TRUE(model->databaseError().value_or(QString()).startsWith(u"sqlite 26: "_s));
    EXPECT_EQ(agents(*model), QStringList{u"old"_s});
    EXPECT_EQ(model->scheduler().history(), QList{run});
    model->scheduler().upsert(agent(u"new"_s));
    EXPECT_EQ(plainFiles.loadSlots().size(), 2) << "what is saved now is there after the next start";
    model.reset();
    EXPECT_TRUE(temporary().isEmpty()) << "the temporary database goes with the process";
}

TEST_F(AppModelTest, AReadingOnItsWayEndsWithTheApplication)
{
    const QString codex = home.write(u"bin/codex"_s, "#!/bin/sh\n");
    QFile::setPermissions(codex, QFile::ReadOwner | QFile::ExeOwner);
    settings.set(u"loginShellPATH"_s, home.path(u"bin"_s));
    const auto model = open();
    model->codexUsage().startFollowing();
    ASSERT_EQ(children.children.size(), 1);
    EXPECT_NE(children.children.first()->live, nullptr);
    model->shutdown();
    EXPECT_EQ(children.children.first()->live, nullptr);
    EXPECT_EQ(model->tasks().running(), 0);
}

TEST_F(AppModelTest, PlainFilesComeIntoTheDatabaseOnceAndAgentsStayInIt)
{
    RunStore plainFiles(paths);
    ASSERT_TRUE(plainFiles.saveSlots({agent(u"a"_s), agent(u"b"_s)}));
    {
        const auto model = open();
        EXPECT_EQ(model->databaseError(), std::nullopt);
        EXPECT_EQ(agents(*model), (QStringList{u"a"_s, u"b"_s}));
        model->scheduler().deleteSlot(model->scheduler().slotList().first().id);
    }
    EXPECT_EQ(agents(*open()), QStringList{u"b"_s});
}

TEST_F(AppModelTest, WhatARunAsksAndDeliversIsKeptAndTold)
{
    const auto model = open();
    RunRecord run;
    run.slotName = u"Nightly"_s;
    run.shipID = QUuid::createUuid();
    run.cwd = home.path();
    home.write(u"report.md"_s, "# Done");
    const QString journal =
        home.write(u"journal.jsonl"_s, "{\"type\": \"question\", \"question\": \"" + QByteArray(161, 'x') +
                                           "\"}\n"
                                           R"({"type": "asset", "path": "report.md"})"
                                           "\n"
                                           R"({"type": "asset", "path": "later.md"})"
                                           "\n");
    model->journal().begin(run, journal, false);
    model->journal().poll(run);
    EXPECT_EQ(notifications.shown, (QList<QStringList>{{u"❓ Nightly needs you"_s, QString(160, u'x'),
                                                        u"keelhaven://run/"_s + uuidText(run.id)}}));
    EXPECT_TRUE(waitUntil([&] { return !model->assets().isWorking(); }));
    ASSERT_EQ(model->assets().assetsForRun(run.id).size(), 2);
    EXPECT_TRUE(model->assets().assetsForRun(run.id).first().copied);
    EXPECT_FALSE(model->assets().assetsForRun(run.id).last().copied);
    home.write(u"later.md"_s, "# Later");

    const auto next = open();
    EXPECT_TRUE(next->workItems().openQuestions(run.shipID).isEmpty());
    next->start();
    EXPECT_EQ(next->workItems().openQuestions(run.shipID).size(), 1)
        << "it waits for the user over a restart";
    EXPECT_TRUE(waitUntil([&] { return !next->assets().isWorking(); }));
    EXPECT_TRUE(next->assets().assetsForRun(run.id).last().copied)
        << "what could not be copied is tried again";
}

TEST_F(AppModelTest, RemovedRunTakesItsDeliveriesAlong)
{
    RunRecord run;
    run.slotName = u"Nightly"_s;
    run.cwd = home.path();
    ASSERT_TRUE(RunStore(paths).saveRecord(run));
    const auto model = open();
    model->start();
    settle();
    AssetStore &assets = model->assets();
    home.write(u"report.md"_s, "# Done");
    model->journal().ingest({.summary = {}, .artifacts = {{u"report.md"_s, {}, {}}}, .links = {}}, run);
    EXPECT_TRUE(waitUntil([&] { return !assets.isWorking(); }));
    const QString copy = assets.assetsForRun(run.id).value(0).storedPath.value_or(QString());
    EXPECT_TRUE(QFile::exists(copy));
    const int version = assets.version();
    model->scheduler().remove(run.id);
    EXPECT_TRUE(assets.assetsForRun(run.id).isEmpty());
    EXPECT_GT(assets.version(), version) << "screens that show them learn of it";
    EXPECT_FALSE(QFileInfo(copy).dir().exists());
}

TEST_F(AppModelTest, ARefreshAsksTheAccountAndLeavesItsTokenNowhere)
{
    home.write(u".claude/.credentials.json"_s, R"({"claudeAiOauth":{"accessToken":"very-secret"}})");
    // The look at the analysis service stays on the machine.
    const auto isLocal = [](const HttpRequest &request) { return request.url.host() == u"127.0.0.1"; };
    http.answer = [isLocal](const HttpRequest &request) {
        if (isLocal(request))
            return FakeHttpClient::unreachable();
        EXPECT_EQ(FakeHttpClient::header(request, "Authorization"), "Bearer very-secret");
        return FakeHttpClient::answered(200, R"({"five_hour":{"utilization":37.5},"echo":"very-secret"})");
    };
    testing::internal::CaptureStderr();
    {
        const auto model = open();
        model->start();
        clock.advance(1h);
        EXPECT_TRUE(std::ranges::all_of(http.requests, isLocal)) << "only the user's own request goes out";
        await(model->usage().refreshLive());
        ASSERT_TRUE(model->usage().snapshot());
        EXPECT_EQ(model->usage().snapshot()->meters.first().percent, 37);
        http.answer = [](const HttpRequest &) { return FakeHttpClient::answered(401, "very-secret"); };
        await(model->usage().refreshLive());
        EXPECT_TRUE(model->usage().lastRefreshError());
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    QDirIterator files(home.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (file.open(QIODevice::ReadOnly) && !file.fileName().endsWith(u"/.credentials.json"_s))
            EXPECT_FALSE(file.readAll().contains("very-secret")) << file.fileName().toStdString();
    }
}

TEST_F(AppModelTest, AnotherPlaceForSecretsIsAskedAtOnce)
{
    const auto model = open();
    EXPECT_EQ(await(model->keychain().get(u"bot"_s)), std::nullopt);
    secrets.secrets[u"bot"_s] = u"token"_s;
    model->settingChanged(u"secretStore"_s);
    EXPECT_EQ(await(model->keychain().get(u"bot"_s)), u"token"_s);
}

TEST_F(AppModelTest, AWakeAndAClickLookWhatIsDue)
{
    const auto model = open();
    model->start();
    SchedulerSlot daily = agent(u"daily"_s);
    daily.schedule.rule = ScheduleSpec::Daily{{{9, 0}}};
    daily.cwds = {home.path()};
    daily.enabled = true;
    model->scheduler().upsert(daily);
    // Asleep for longer than an occurrence may wait: it is recorded as missed.
    clock.jump(25h);
    sleep.onDidWake();
    EXPECT_EQ(model->scheduler().history().size(), 1);
    clock.jump(25h);
    notifications.onClicked(u"keelhaven://scheduler/wake"_s);
    EXPECT_EQ(model->scheduler().history().size(), 2);
    model->shutdown();
    EXPECT_FALSE(sleep.onDidWake || notifications.onClicked);
}

TEST_F(AppModelTest, SecondStartAddsNothingAndTheLogIsEmptyAfterTheQuit)
{
    const auto model = open();
    EXPECT_EQ(clock.timerCount(), 0U) << "building starts nothing";
    int snapshots = 0;
    QObject::connect(model.get(), &AppModel::snapshotApplied, model.get(), [&] { ++snapshots; });
    model->start();
    settle();
    const auto timers = clock.timerCount();
    model->start();
    settle();
    EXPECT_EQ(snapshots, 1);
    EXPECT_EQ(clock.timerCount(), timers);
    model->scheduler().upsert(agent(u"a"_s));
    const QFileInfo log(paths.databaseFile() + u"-wal"_s);
    EXPECT_GT(log.size(), 0);
    model->shutdown();
    EXPECT_EQ(QFileInfo(log.filePath()).size(), 0);
}

TEST_F(AppModelTest, LinksSelectWhatTheyNameAndNothingElse)
{
    const auto model = open();
    auto &selection = model->selection();
    int raised = 0;
    QObject::connect(&selection, &AppSelection::raiseRequested, &selection, [&] { ++raised; });
    const QUuid id("0A1B2C3D-0000-4000-8000-00000000000F");
    const struct
    {
        QString link;
        int raises;
        AppPanel panel;
        std::optional<QUuid> ship = {}, boardRun = {}, run = {};
    } cases[] = {
        {u"activity"_s, 1, AppPanel::Keelhaven},
        {u"scheduler/sleep"_s, 0, AppPanel::Keelhaven},
        {u"captain/wake"_s, 0, AppPanel::Keelhaven},
        {u"runs"_s, 1, AppPanel::Scheduler},
        {u"runs/none"_s, 1, AppPanel::Scheduler},
        {u"runs/"_s + uuidText(id), 1, AppPanel::Scheduler, {}, {}, id},
        {u"ship/none"_s, 1, AppPanel::Keelhaven, {}, {}, id},
        {u"ship/"_s + uuidText(id), 1, AppPanel::Keelhaven, id, {}, id},
        {u"run/"_s + uuidText(id), 1, AppPanel::Keelhaven, id, id, id},
        {u"runs/"_s, 1, AppPanel::Scheduler, id, id, id},
        {u"elsewhere"_s, 1, AppPanel::Scheduler, id, id, id},
    };
    for (const auto &test : cases) {
        const int before = raised;
        model->handleDeepLink(u"keelhaven://"_s + test.link);
        EXPECT_EQ(raised - before, test.raises) << test.link.toStdString();
        EXPECT_EQ(selection.panel(), test.panel) << test.link.toStdString();
        EXPECT_EQ(selection.selectedShipID(), test.ship) << test.link.toStdString();
        EXPECT_EQ(selection.boardSelectedRunID(), test.boardRun) << test.link.toStdString();
        EXPECT_EQ(selection.selectedRunID(), test.run) << test.link.toStdString();
    }
    model->handleDeepLink(u"keelhaven://project/my%20app"_s);
    EXPECT_EQ(selection.selectedProject(), u"my app"_s);
    EXPECT_EQ(selection.panel(), AppPanel::Scheduler);
    notifications.onClicked(u"keelhaven://project/other"_s);
    EXPECT_EQ(selection.selectedProject(), u"other"_s);
    EXPECT_EQ(selection.panel(), AppPanel::Projects) << "a click goes to the project's panel";
}

TEST_F(AppModelTest, SessionsOfOthersAreToldOnceTheirEventsAreNew)
{
    settings.set(u"notificationsEnabled"_s, true);
    settings.set(u"selectedProject"_s, u"gone"_s);
    const auto event = [&](const QByteArray &session) {
        return R"({"type": "Stop", "cwd": "/code/app", "ts": )" +
               QByteArray::number(secondsSince1970(clock.now()), 'f', 3) + R"(, "session_id": ")" + session +
               "\"}\n";
    };
    const JSONObject links{{MachineKey::current(), JSONObject{{u"app"_s, u"/code"_s}}}};
    home.write(u".cache/keelhaven/state.json"_s, JSONValue(JSONObject{{u"local_links"_s, links}}).encoded());
    const QString log = home.write(u".cache/keelhaven/events.jsonl"_s, event("old"));
    const auto model = open();
    model->start();
    ASSERT_TRUE(waitUntil([&] { return !model->snapshot().events.isEmpty(); }));
    EXPECT_TRUE(notifications.shown.isEmpty()) << "history on disk never notifies";
    EXPECT_EQ(model->selection().selectedProject(), std::nullopt) << "it is on the board no more";
    home.write(u".cache/keelhaven/events.jsonl"_s, event("old") + event("new"));
    model->hub().reload();
    ASSERT_TRUE(waitUntil([&] { return model->snapshot().events.size() == 2; }));
    EXPECT_EQ(notifications.shown,
              (QList<QStringList>{{u"Session finished in app"_s, u""_s, u"keelhaven://project/app"_s}}));
}

TEST(AppModel, EventsOfLiveRunsAreNoNews)
{
    RunRecord live;
    live.sessionID = u"claimed"_s;
    RunRecord followUp;
    followUp.launchRunID = QUuid::createUuid();
    const auto event = [](const QString &session, const QUuid &run) {
        EventRecord made;
        made.sessionId = session;
        made.runID = run;
        return made;
    };
    const EventRecord stranger = event(u"other"_s, QUuid::createUuid());
    const EventList events{event(u"claimed"_s, {}), event(u"new"_s, live.id), stranger,
                           event(u"new"_s, *followUp.launchRunID)};
    EXPECT_EQ(AppModel::eventsOfOthers(events, {live, followUp}), EventList{stranger});
}

TEST_F(AppModelTest, SweepOnOpenWaitsForSetupAndSaysWhyItIsBlocked)
{
    {
        const auto model = open();
        model->start();
        settle();
        EXPECT_EQ(model->lastMutationError(), std::nullopt) << "nobody has set the program up yet";
        EXPECT_TRUE(model->setup().showsSetup()) << "the start looks at the machine";
        model->setup().skip();
        EXPECT_EQ(model->lastMutationError(),
                  u"Set a Keelhaven run directory in Settings — the sweep needs a project folder."_s)
            << "the end of setup brings the first sweep";
    }
    EXPECT_TRUE(settings.flag(u"setupDone"_s));
    {
        const auto model = open();
        model->start();
        EXPECT_EQ(model->lastMutationError(),
                  u"Set a Keelhaven run directory in Settings — the sweep needs a project folder."_s);
    }
    settings.set(u"keelhavenRunDirectory"_s, home.path());
    const auto model = open();
    model->start();
    EXPECT_TRUE(waitUntil([&] { return !model->scheduler().history().isEmpty(); }));
    const RunRecord sweep = model->scheduler().history().first();
    EXPECT_EQ(sweep.slotName, u"Morning report");
    EXPECT_EQ(model->sweep().latestSweep(), sweep) << "one that could not be launched is a sweep as well";
    EXPECT_EQ(model->record(sweep.id), sweep);
    EXPECT_EQ(model->resumeRun(sweep.id), model->lastMutationError());
}

TEST_F(AppModelTest, TheDispatchLedgerIsReadAtTheStart)
{
    home.write(u".local/share/keelhaven/dispatch/dispatches.json"_s,
               R"({"version": 2, "dispatches": [
                   {"id": "ab12cd34", "receivedAt": "2026-03-04T12:00:00.000Z", "messageText": "do it"}]})");
    const auto model = open();
    EXPECT_TRUE(model->dispatch().records().isEmpty()) << "nothing is read before the start";
    model->start();
    EXPECT_TRUE(model->dispatch().record(u"ab12cd34"_s));
}

TEST_F(AppModelTest, AChangeShowsItsResultOrWhyThereIsNone)
{
    const auto model = open();
    model->start();
    EXPECT_TRUE(model->mirrorMonitor().probed());
    EXPECT_FALSE(model->mirrorMonitor().canMutate());
    ASSERT_TRUE(waitUntil([&] { return model->hub().hasLoaded(); }));
    http.answer = [](const HttpRequest &) {
        return FakeHttpClient::answered(409, R"({"error": "no such project"})");
    };
    int successes = 0;
    await(model->mutate(model->mirror().includeProject(u"x"_s), [&] { ++successes; }));
    EXPECT_EQ(model->lastMutationError(), u"no such project"_s);
    EXPECT_EQ(model->lastErrorText(), u"Change failed: no such project"_s);
    EXPECT_EQ(successes, 0);
    int told = 0;
    QObject::connect(model.get(), &AppModel::lastMutationErrorChanged, model.get(), [&] { ++told; });
    model->setLastMutationError(u"no such project"_s);
    EXPECT_EQ(model->lastErrorText(), u"no such project"_s)
        << "a wish that could not be followed is no change";
    EXPECT_EQ(told, 1);

    int snapshots = 0;
    QObject::connect(model.get(), &AppModel::snapshotApplied, model.get(), [&] { ++snapshots; });
    http.answer = [&](const HttpRequest &) {
        home.write(u".cache/keelhaven/state.json"_s, R"({"projects": {"x": {}}, "project_order": ["x"]})");
        return FakeHttpClient::answered(200, "{}");
    };
    await(model->mutate(model->mirror().includeProject(u"x"_s), [&] { ++successes; }));
    EXPECT_EQ(model->lastMutationError(), std::nullopt);
    EXPECT_EQ(successes, 1);
    EXPECT_TRUE(waitUntil([&] { return snapshots > 0; })) << "no time passes: this is not the watcher";
    EXPECT_TRUE(model->snapshot().state.projects.contains(u"x"_s));
}

TEST_F(AppModelTest, PluginsAreReadAtTheStartAndFollowed)
{
    const auto model = open();
    EXPECT_EQ(model->pluginInventory().current(), PluginInventory::empty());
    home.write(u".claude/settings.json"_s, R"({"enabledPlugins": {"a@m": true}})");
    model->start();
    EXPECT_TRUE(
        waitUntil([&] { return model->pluginInventory().current().orphans == QStringList{u"a@m"_s}; }));
    home.write(u".claude/settings.json"_s, "{}");
    EXPECT_TRUE(waitUntil([&] {
        clock.advance(200ms);
        return model->pluginInventory().current().orphans.isEmpty();
    }));
}

} // namespace
} // namespace Keelhaven
