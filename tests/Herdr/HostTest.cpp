#include "Herdr/HerdrLauncher.h"
#include "Herdr/HerdrLocator.h"
#include "Herdr/HerdrStart.h"
#include "Platform/FileSettingsStore.h"
#include "Platform/QtProcessRunner.h"
#include "Platform/SystemClock.h"
#include "Platform/Tasks.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The application's side against the bundled host and a real terminal: installed, started, used, stopped.
TEST(HerdrHostTest, TheBundledHostIsInstalledStartedUsedAndStopped)
{
    const TestHome home;
    home.enter();
    const KeelhavenPaths paths = home.paths();
    const auto layout = HerdrInstaller::Layout::forPaths(
        paths, QStringLiteral(KEELHAVEN_BIN_DIR "/keelhaven-host"), std::nullopt);
    ASSERT_TRUE(HerdrInstaller::installIfNeeded(layout));

    QtProcessRunner processes;
    FileSettingsStore settings(paths.settingsFile());
    settings.set(u"loginShellPATH"_s, qEnvironmentVariable("PATH"));
    ClaudeLocator shell(processes, settings, paths.home);
    SystemClock clock;
    NoHerdrUserService service;
    HerdrLocator locator({paths, settings, processes, shell, clock, service, layout});
    HerdrProbe probe(locator);
    EXPECT_EQ(await(probe.run()).state.kind, HerdrProbe::State::Kind::ServerDown);

    const auto pong = await(locator.ensureServer(std::nullopt));
    ASSERT_TRUE(pong) << pong.error().message().toStdString();
    const auto health = await(probe.run());
    EXPECT_EQ(health.state.kind, HerdrProbe::State::Kind::Ok);
    EXPECT_EQ(health.serverVersion, health.clientVersion);
    EXPECT_EQ(health.socket, HerdrLocator::socketPath(paths.home));

    HerdrLauncher launcher(locator.client(HerdrClient::defaultTimeout), locator, probe, clock, paths);
    RunLaunchRequest request;
    request.runID = QUuid::createUuid();
    request.cwd = paths.home;
    request.name = u"Web"_s;
    request.workspaceLabel = u"web"_s;
    const auto context = std::shared_ptr<HerdrContext>(&launcher.context(), [](HerdrContext *) {});
    const auto first = await(HerdrSession::openPane(context, request, {u"/Volumes"_s}));
    ASSERT_TRUE(first) << first.error().message().toStdString();
    const auto second = await(HerdrSession::openPane(context, request, {}));
    ASSERT_TRUE(second) << second.error().message().toStdString();
    EXPECT_EQ(second->workspaceId, first->workspaceId);
    EXPECT_NE(second->tabId, first->tabId);

    LaunchedRun run;
    run.paneID = first->paneId;
    run.tabID = first->tabId;
    await(launcher.sendText(run, u"echo \"run=$KEELHAVEN_RUN_ID roots=$KEELHAVEN_PROTECTED_ROOTS\"\r"_s));
    const QString shown = u"run="_s + uuidText(request.runID) + u" roots=/Volumes"_s;
    QString screen;
    for (int look = 0; look < 100 && !screen.contains(shown); ++look) {
        screen = await(launcher.transcript(run, 40)).value_or(QString()).remove(u'\n');
        await([](Clock *time) -> QCoro::Task<> { static_cast<void>(co_await time->sleep(50ms)); }(&clock));
    }
    EXPECT_TRUE(screen.contains(shown)) << screen.toStdString();
    EXPECT_EQ(await(launcher.probe(run)), (RunProbe{AgentState::Done, false}));

    EXPECT_FALSE(await(launcher.reconcileFinishedTabs(u"Web"_s, {first->tabId})));
    const auto tabs =
        await(locator.client(5s).call<Herdr::TabList>(Herdr::Method::tabList, Herdr::TabListParams()));
    ASSERT_TRUE(tabs);
    ASSERT_EQ(tabs->tabs.size(), 1);
    EXPECT_EQ(tabs->tabs[0].tabId, first->tabId);

    launcher.terminateAllBlocking({run}, 2s);
    const auto left =
        await(locator.client(5s).call<Herdr::TabList>(Herdr::Method::tabList, Herdr::TabListParams()));
    EXPECT_TRUE(left && left->tabs.isEmpty());
    await(locator.stopServer(layout.binary()));
    EXPECT_FALSE(await(locator.ping(std::nullopt)));

    // The terminals are meant to outlive their server.
    ProcessSpec end;
    end.program = u"tmux"_s;
    end.arguments = QStringList{u"-S"_s, HerdrLocator::socketPath(paths.home) + u".mux"_s, u"kill-server"_s};
    EXPECT_TRUE(await(processes.run(end)).succeeded());
}

} // namespace Keelhaven
