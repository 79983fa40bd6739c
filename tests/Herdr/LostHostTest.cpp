#include "Herdr/HerdrLauncher.h"
#include "HerdrFixture.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace Herdr;

namespace {

/// A launcher with one live session, whose host goes away.
struct LostHostTest : HerdrFixture
{
    const HerdrError gone = HerdrError::unreachable(u"no Herdr server"_s);
    const HerdrError silent = HerdrError::transport(u"timed out waiting for a Herdr response"_s);
    const LaunchedRun run{u"p1"_s, u"t1"_s, u"w1"_s, u"one"_s, AgentProvider::Claude, {}, {}, {}};
    HerdrProbe prober{locator};
    HerdrLauncher launcher{HerdrClient(transport), locator, prober, clock, home.paths()};
};

} // namespace

TEST_F(LostHostTest, AProbeTellsWhenNobodyListens)
{
    int told = 0;
    launcher.context().onServerGone = [&told] { ++told; };
    transport->answers(Method::agentList, {silent, gone});
    EXPECT_EQ(finish(launcher.probe(run)), (RunProbe{AgentState::Unknown, true}));
    EXPECT_EQ(told, 0);
    EXPECT_EQ(finish(launcher.probe(run)), (RunProbe{AgentState::Unknown, true}));
    EXPECT_EQ(told, 1);
}

TEST_F(LostHostTest, APaneThatWasNotClosedIsClosedWhenTheHostIsBack)
{
    transport->answers(Method::agentList, {gone, ScriptedTransport::result(AgentList())});
    transport->answers(Method::paneClose, {gone, silent, HerdrError::api(u"no_such_pane"_s, u"gone"_s)});
    const auto closed = [this] { return transport->callsOf(Method::paneClose).size(); };
    finish(launcher.terminate(run));
    finish(launcher.probe(run));
    EXPECT_EQ(closed(), 1) << "nobody listens yet";
    launcher.terminateAllBlocking({}, std::chrono::seconds(2));
    EXPECT_EQ(transport->posted.size(), 1);
    finish(launcher.probe(run));
    EXPECT_EQ(closed(), 2);
    RunLaunchRequest request;
    EXPECT_FALSE(finish(launcher.launch(request)));
    EXPECT_EQ(closed(), 3);
    EXPECT_EQ(transport->callsOf(Method::paneClose).last().text(u"pane_id"), u"p1");
    finish(launcher.probe(run));
    EXPECT_EQ(closed(), 3) << "there is no such pane any more";
}

} // namespace Keelhaven
