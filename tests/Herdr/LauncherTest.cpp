#include "LauncherFixture.h"

#include "Herdr/HerdrTabs.h"

namespace Keelhaven {

TEST_F(HerdrLauncherTest, AFirstLaunchMakesTheWorkspaceAndStartsTheAgent)
{
    request.runDir = home.path(u"run"_s);
    const auto launched = finish(launcher.launch(request));
    ASSERT_TRUE(launched) << launched.error().message().toStdString();
    EXPECT_EQ(*launched, (LaunchedRun{u"p1"_s, u"t1"_s, u"w1"_s, u"web-host"_s, AgentProvider::Claude,
                                      request.runID, u"web"_s, request.runDir}));

    const auto created = transport->callsOf(Method::workspaceCreate).value(0);
    EXPECT_EQ(created.text(u"label"), u"web");
    EXPECT_EQ(created.text(u"cwd"), u"/srv/web");
    EXPECT_EQ((*created.params[u"env"])[u"KEELHAVEN_RUN_DIR"]->stringValue(), request.runDir);
    EXPECT_EQ(transport->callsOf(Method::tabRename).value(0).text(u"label"), u"Web");
    EXPECT_TRUE(transport->callsOf(Method::tabCreate).isEmpty());

    const auto started = transport->callsOf(Method::agentStart).value(0);
    EXPECT_EQ(started.timeout, Span(75s));
    EXPECT_EQ(started.params[u"timeout_ms"]->intValue(), 60000);
    EXPECT_EQ(started.text(u"kind"), u"claude");
    EXPECT_TRUE(started.text(u"name").startsWith(u"web-"));
    EXPECT_EQ(started.params[u"args"]->arrayValue()->at(1).stringValue(), u"auto");

    const auto prompted = transport->callsOf(Method::agentPrompt).value(0);
    EXPECT_EQ(prompted.timeout, Span(30s));
    EXPECT_EQ(prompted.text(u"target"), u"web-host");
    EXPECT_TRUE(prompted.text(u"text").startsWith(u"do it Unattended run: "));
    EXPECT_EQ(prompted.at, 2.0) << "the screen must have stood still";
    EXPECT_TRUE(typed().isEmpty());
}

TEST_F(HerdrLauncherTest, ALaterLaunchOpensATabInTheWorkspaceOfThatLabel)
{
    transport->answers(
        Method::workspaceList,
        {workspaces({{u"w0"_s, u"other"_s, {}}, {u"w7"_s, u"web"_s, {}}, {u"w8"_s, u"web"_s, {}}})});
    ASSERT_EQ(launchError(), u"launched");
    const auto tab = transport->callsOf(Method::tabCreate).value(0);
    EXPECT_EQ(tab.text(u"workspace_id"), u"w7");
    EXPECT_EQ(tab.text(u"label"), u"Web");
    EXPECT_EQ(transport->callsOf(Method::agentStart).value(0).text(u"pane_id"), u"p2");

    // The one it used is preferred, also under another label now; a closed one is forgotten.
    transport->answers(Method::workspaceList,
                       {workspaces({{u"w8"_s, u"web"_s, {}}, {u"w7"_s, u"renamed"_s, {}}}),
                        workspaces({{u"w8"_s, u"web"_s, {}}}), workspaces({})});
    for (const auto &expected : {u"w7"_s, u"w8"_s}) {
        ASSERT_EQ(launchError(), u"launched");
        EXPECT_EQ(transport->callsOf(Method::tabCreate).last().text(u"workspace_id"), expected);
    }
    ASSERT_EQ(launchError(), u"launched");
    EXPECT_EQ(transport->callsOf(Method::workspaceCreate).size(), 1);
}

TEST_F(HerdrLauncherTest, AnAgentWithoutANameKeepsTheGeneratedOne)
{
    AgentInfo unnamed = agent(Status::Unknown);
    unnamed.name.reset();
    transport->answers(Method::agentStart, {ScriptedTransport::result(AgentStarted{unnamed, {}})});
    const auto launched = finish(launcher.launch(request));
    ASSERT_TRUE(launched);
    EXPECT_EQ(launched->agentName, transport->callsOf(Method::agentStart).value(0).text(u"name"));
}

TEST_F(HerdrLauncherTest, ABusyPaneIsTriedForEightSeconds)
{
    transport->answers(Method::agentStart,
                       {busy(), busy(), ScriptedTransport::result(AgentStarted{agent(Status::Unknown), {}})});
    EXPECT_EQ(launchError(), u"launched");
    EXPECT_EQ(transport->callsOf(Method::agentStart).last().at, 0.5);

    transport->answers(Method::agentStart, {busy()});
    const double before = std::chrono::duration<double>(clock.now().time_since_epoch()).count();
    EXPECT_EQ(launchError(), u"not yet (agent_pane_busy)");
    EXPECT_EQ(std::chrono::duration<double>(clock.now().time_since_epoch()).count() - before, 8.0);

    const auto tries = transport->callsOf(Method::agentStart).size();
    transport->answers(Method::agentStart, {HerdrError::api(u"bad_kind"_s, u"No such agent"_s)});
    EXPECT_EQ(launchError(), u"No such agent (bad_kind)");
    EXPECT_EQ(transport->callsOf(Method::agentStart).size(), tries + 1);
}

TEST_F(HerdrLauncherTest, APaneWhoseAgentDoesNotStartIsClosed)
{
    transport->answers(Method::agentStart, {HerdrError::api(u"bad_kind"_s, u"No such agent"_s)});
    transport->answers(Method::paneRead, {screen(u"last words"_s)});
    EXPECT_EQ(launchError(), u"No such agent (bad_kind)");
    EXPECT_EQ(transport->callsOf(Method::paneClose).value(0).text(u"pane_id"), u"p1");
    EXPECT_EQ(launcher.takeFailedLaunchScreen(request.runID), u"last words");
}

TEST_F(HerdrLauncherTest, LaunchesOfOneProjectAtOnceMakeOneWorkspace)
{
    const auto list = [this](const QList<WorkspaceInfo> &known) {
        transport->answers(Method::workspaceList, {workspaces(known)});
    };
    list({});
    transport->holds = Method::workspaceCreate.toString();
    auto first = launcher.launch(request);
    auto second = launcher.launch(request);
    clock.advance(1s);
    list({{u"w1"_s, u"web"_s, {}}});
    transport->release();
    EXPECT_TRUE(finish(std::move(first)));
    EXPECT_TRUE(finish(std::move(second)));
    EXPECT_EQ(transport->callsOf(Method::workspaceCreate).size(), 1);
    EXPECT_EQ(transport->callsOf(Method::tabCreate).size(), 1);
}

TEST_F(HerdrLauncherTest, QuitClosesThePanesOfLaunchesUnderWay)
{
    transport->holds = Method::agentStart.toString();
    auto starting = launcher.launch(request);
    launcher.terminateAllBlocking({}, 1ms);
    ASSERT_EQ(transport->posted.size(), 1);
    EXPECT_TRUE(transport->posted[0].contains(u"p1"));
    transport->release();
    EXPECT_TRUE(finish(std::move(starting)));
    launcher.terminateAllBlocking({}, 1ms);
    EXPECT_EQ(transport->posted.size(), 1) << "a live session is no launch any more";
}

TEST_F(HerdrLauncherTest, ATabThatIsMadeWhileTheProgramQuitsGetsNoAgent)
{
    transport->holds = Method::workspaceCreate.toString();
    auto starting = launcher.launch(request);
    launcher.terminateAllBlocking({}, 1ms);
    ASSERT_TRUE(transport->posted.isEmpty()) << "its pane is not known yet";
    clock.close();
    transport->release();
    EXPECT_FALSE(finish(std::move(starting)));
    EXPECT_TRUE(transport->callsOf(Method::agentStart).isEmpty());
    ASSERT_EQ(transport->posted.size(), 1);
    EXPECT_TRUE(transport->posted[0].contains(u"p1"));
}

TEST_F(HerdrLauncherTest, AnAgentThatIsNeverReadySaysWhy)
{
    AgentInfo pending = agent(Status::Working);
    pending.launchPending = true;
    AgentInfo blocked = agent(Status::Blocked);
    blocked.launchPending = true;
    const std::initializer_list<std::pair<Answer, QString>> table{
        {HerdrError::transport(u"x"_s), u"no agent yet"_s},
        {gotAgent(agent(Status::Idle, std::nullopt)), u"no agent in the pane"_s},
        {gotAgent(pending), u"still launching"_s},
        {gotAgent(blocked), u"still launching, blocked at a startup dialog"_s},
    };
    transport->answers(Method::paneRead, {screen(u"last words"_s)});
    for (const auto &[answer, reason] : table) {
        transport->answers(Method::agentGet, {answer});
        EXPECT_EQ(launchError(),
                  u"Claude was not ready to take a prompt after 45s — "_s + reason + u" (agent_not_ready)"_s);
        EXPECT_EQ(launcher.takeFailedLaunchScreen(request.runID), u"last words");
        EXPECT_EQ(launcher.takeFailedLaunchScreen(request.runID), std::nullopt);
    }
    EXPECT_EQ(transport->callsOf(Method::paneClose).size(), 4);
    EXPECT_EQ(transport->callsOf(Method::paneRead).last().params[u"lines"]->intValue(), 200);
}

TEST_F(HerdrLauncherTest, AProbeTellsALiveSessionFromALeftShell)
{
    AgentInfo pending = agent(Status::Unknown, std::nullopt);
    pending.launchPending = true;
    const std::initializer_list<std::pair<Answer, RunProbe>> table{
        {listed(Status::Blocked), {AgentState::Blocked, true}},
        {listed(std::nullopt), {AgentState::Unknown, true}},
        {ScriptedTransport::result(AgentList{{pending}}), {AgentState::Unknown, true}},
        {ScriptedTransport::result(AgentList{{agent(Status::Idle, std::nullopt)}}),
         {AgentState::Done, false}},
        {ScriptedTransport::result(AgentList{}), {AgentState::Done, false}},
        {HerdrError::unreachable(u"down"_s), {AgentState::Unknown, true}},
    };
    for (const auto &[answer, expected] : table) {
        transport->answers(Method::agentList, {answer});
        EXPECT_EQ(finish(launcher.probe(run)), expected);
    }
}

TEST_F(HerdrLauncherTest, SmallActionsOnASession)
{
    transport->answers(Method::paneRead, {screen(u"end"_s, true), HerdrError::transport(u"x"_s)});
    EXPECT_EQ(finish(launcher.transcript(run, 80)), u"…earlier output truncated…\nend");
    EXPECT_EQ(finish(launcher.transcript(run, 80)), std::nullopt);

    finish(launcher.requestExit(run));
    EXPECT_EQ(transport->callsOf(Method::agentPrompt).value(0).text(u"text"), u"/exit");
    EXPECT_TRUE(typed().isEmpty());
    transport->answers(Method::agentPrompt, {HerdrError::transport(u"x"_s)});
    finish(launcher.requestExit(run));
    EXPECT_EQ(typed(), QStringList{u"0 /exit\r"_s});
    run.provider = AgentProvider::Codex;
    finish(launcher.requestExit(run));
    EXPECT_EQ(transport->callsOf(Method::agentPrompt).size(), 2);

    finish(launcher.focus(run));
    EXPECT_EQ(transport->calls.last().method, u"pane.focus");
    launcher.terminateAllBlocking({run, run}, 2s);
    ASSERT_EQ(transport->posted.size(), 2);
    EXPECT_TRUE(transport->posted[0].contains(u"pane.close"));
    transport->answersPosts = false;
    launcher.terminateAllBlocking({run}, 1ms);
}

TEST_F(HerdrLauncherTest, FinishedTabsAreClosedUnlessAnAgentLivesInThem)
{
    const auto tab = [](const QString &id, const QString &label = u"Web"_s) {
        return TabInfo{id, u"w1"_s, label};
    };
    const auto in = [](const QString &tabID, std::optional<QString> kind, Status status,
                       bool pending = false) {
        return AgentInfo{{}, std::move(kind), tabID, tabID, u"w1"_s, status, pending, {}};
    };
    const QList<TabInfo> tabs{tab(u"shell"_s), tab(u"idle"_s), tab(u"held"_s), tab(u"other"_s, u"X"_s),
                              tab(u"old"_s)};
    const QList<AgentInfo> agents{in(u"idle"_s, u"claude"_s, Status::Idle),
                                  in(u"old"_s, std::nullopt, Status::Working)};
    EXPECT_EQ(HerdrSession::finishedTabs(tabs, agents, u"Web"_s, {u"held"_s}),
              (HerdrSession::FinishedTabs{{u"shell"_s, u"old"_s}, false}));
    for (const AgentInfo &busy :
         {in(u"old"_s, u"claude"_s, Status::Blocked), in(u"old"_s, std::nullopt, Status::Idle, true)})
        EXPECT_EQ(HerdrSession::finishedTabs({tab(u"old"_s)}, {busy}, u"Web"_s, {}),
                  (HerdrSession::FinishedTabs{{}, true}));

    EXPECT_FALSE(finish(launcher.reconcileFinishedTabs(u"Web"_s, {})));
    transport->answers(Method::workspaceList, {workspaces({{u"w1"_s, u"a"_s, {}}, {u"w2"_s, u"b"_s, {}}})});
    transport->answers(Method::tabList,
                       {HerdrError::transport(u"x"_s), ScriptedTransport::result(TabList{tabs})});
    transport->answers(Method::agentList, {ScriptedTransport::result(AgentList{agents})});
    EXPECT_FALSE(finish(launcher.reconcileFinishedTabs(u"Web"_s, {u"held"_s})));
    QStringList closed;
    for (const auto &call : transport->callsOf(Method::tabClose))
        closed.append(call.text(u"tab_id"));
    EXPECT_EQ(closed, (QStringList{u"shell"_s, u"old"_s}));
}

TEST_F(HerdrLauncherTest, ALaunchOutlivesItsLauncher)
{
    auto gone = std::make_unique<HerdrLauncher>(HerdrClient(transport), locator, prober, clock, home.paths());
    auto task = gone->launch(request);
    gone.reset();
    EXPECT_TRUE(finish(std::move(task)));
    auto cut = launcher.launch(request);
    clock.close();
    EXPECT_FALSE(finish(std::move(cut)).has_value());
    EXPECT_EQ(transport->callsOf(Method::agentPrompt).size(), 1)
        << "no prompt may be typed while the program quits";
    EXPECT_EQ(transport->posted.size(), 1);
}

} // namespace Keelhaven
