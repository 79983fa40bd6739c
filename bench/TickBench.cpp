// One round of supervision over 20 live runs: how often it asks the terminal host for its agents.

#include "Herdr/HerdrLauncher.h"
#include "Herdr/HerdrLocator.h"
#include "Herdr/ScriptedTransport.h"
#include "Ratio.h"
#include "Scheduler/EngineFixture.h"

#include <QCoreApplication>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;

constexpr int runs = 20;

/// Sessions come up without a host; what a round asks of them goes through the real launcher to the
/// transport.
class HostedLauncher : public ScriptedLauncher
{
public:
    std::unique_ptr<HerdrLauncher> hosted;

    QCoro::Task<RunProbe> probe(LaunchedRun run) override { return hosted->probe(std::move(run)); }
    QCoro::Task<std::optional<QString>> transcript(LaunchedRun run, int lines) override
    {
        return hosted->transcript(std::move(run), lines);
    }
    QCoro::Task<> requestExit(LaunchedRun run) override { return hosted->requestExit(std::move(run)); }
    QCoro::Task<> sendText(LaunchedRun run, QString text) override
    {
        return hosted->sendText(std::move(run), std::move(text));
    }
};

/// All agents of the host, in this state.
ScriptedTransport::Answer agents(const ScriptedLauncher &launcher, Herdr::Status status)
{
    Herdr::AgentList list;
    for (const QString &pane : launcher.panes.keys()) {
        Herdr::AgentInfo agent;
        agent.agent = u"claude"_s;
        agent.paneId = pane;
        agent.agentStatus = status;
        list.agents.append(agent);
    }
    return ScriptedTransport::result(list);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    EngineWorld world;
    world.settings.set(u"schedulerConcurrencyCap"_s, qint64(runs));
    const auto transport = std::make_shared<ScriptedTransport>(world.clock);
    NoHerdrUserService noService;
    HerdrLocator locator({world.home.paths(), world.settings, world.processes, world.locator, world.clock,
                          noService,
                          HerdrInstaller::Layout::forPaths(world.home.paths(), std::nullopt, std::nullopt)});
    HerdrProbe prober(locator);
    HostedLauncher launcher;
    launcher.hosted = std::make_unique<HerdrLauncher>(HerdrClient(transport), locator, prober, world.clock,
                                                      world.home.paths());
    const EngineServices services{world.store,
                                  world.launchd,
                                  world.power,
                                  world.notifications,
                                  world.usage,
                                  launcher,
                                  world.clock,
                                  world.settings,
                                  world.processes,
                                  world.locator,
                                  world.workspaces,
                                  world.home.paths(),
                                  [&world] { return world.calendar; }};
    SchedulerEngine engine(services);
    engine.start();
    for (int i = 0; i < runs; ++i)
        engine.enqueue(world.slot(u"agent %1"_s.arg(i)));
    settle();
    if (engine.active().size() != runs) {
        std::fprintf(stderr, "%d of %d runs are live\n", static_cast<int>(engine.active().size()), runs);
        return 1;
    }

    transport->answers(Herdr::Method::paneRead,
                       {ScriptedTransport::result(Herdr::PaneRead{{u"screen"_s, false}})});
    transport->answers(Herdr::Method::paneSendText, {ScriptedTransport::result(Herdr::Ack())});
    for (const auto &[name, status] : {std::pair("tick-lists-a-run-working", Herdr::Status::Working),
                                       std::pair("tick-lists-a-run-idle", Herdr::Status::Idle),
                                       std::pair("tick-lists-a-run-blocked", Herdr::Status::Blocked)}) {
        transport->answers(Herdr::Method::agentList, {agents(launcher, status)});
        transport->calls.clear();
        const double spent = Bench::milliseconds([&] { await(engine.tick(world.clock.now())); });
        const auto lists = transport->callsOf(Herdr::Method::agentList).size();
        std::printf("%d calls, %d of them agent.list, for %d runs in %.2f ms\n",
                    static_cast<int>(transport->calls.size()), static_cast<int>(lists), runs, spent);
        Bench::printRatio(name, static_cast<double>(lists) / runs, 1, Bench::Aim::AtMost);
    }
    return engine.active().size() == runs ? 0 : 1;
}
