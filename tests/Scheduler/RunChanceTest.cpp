#include "EngineFixture.h"

#include <random>

// Runs under random orders of everything that can happen to them.
namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

/// One engine to which chance happens. Every id that it ever gave or showed is kept.
class Voyage : private EngineWorld
{
public:
    explicit Voyage(unsigned seed)
        : m_random(seed)
    {
        settings.set(u"schedulerConcurrencyCap"_s, qint64(3));
        processes.answer = [this](const ProcessSpec &) {
            return chance(2) ? std::nullopt
                             : std::optional(FakeProcessRunner::exited(chance(3) ? 1 : 0, "abc"));
        };
        engine->onEvent = [this](const EngineEvent &event) {
            if (event.kind == EngineEvent::Kind::Finished)
                ++m_finished[event.record.id];
        };
        // A follow-up's id is known to nobody until it is live.
        QObject::connect(engine.get(), &SchedulerEngine::changed, engine.get(), [this] {
            for (const auto &run : engine->active())
                m_ids.insert(run->record.id);
        });
        engine->start();
    }

    void sail(int steps)
    {
        for (int i = 0; i < steps; ++i) {
            step();
            if (chance(2))
                settleAll();
        }
    }

    void end(bool byQuit)
    {
        if (byQuit) {
            for (const auto &run : engine->queued())
                m_ids.remove(run.record.id); // nothing came of them
            engine->shutdown();
        }
        letGo();
        launcher.launchFails.reset();
        for (int round = 0; round < 50 && !byQuit; ++round) {
            for (auto &pane : launcher.panes)
                pane.probe = {AgentState::Done, false};
            clock.advance(1min);
            processes.finishPending(FakeProcessRunner::exited(0));
            settleAll();
        }
        EXPECT_TRUE(engine->active().isEmpty() && engine->queued().isEmpty() && engine->closing().isEmpty());
        EXPECT_TRUE(engine->launching().isEmpty());
        EXPECT_EQ(powerBackend.held, 0);
        EXPECT_EQ(engine->history().size(), m_ids.size());
        EXPECT_EQ(store.records.size(), m_ids.size());
        for (const RunRecord &record : engine->history()) {
            EXPECT_TRUE(m_ids.contains(record.id));
            EXPECT_TRUE(record.outcome && record.endedAt);
            EXPECT_EQ(m_finished.value(record.id), 1);
            EXPECT_EQ(store.records.value(record.id).outcome, record.outcome);
        }
    }

private:
    bool chance(int oneIn) { return number(oneIn) == 0; }
    int number(int below) { return std::uniform_int_distribution(0, below - 1)(m_random); }
    ActiveRunPtr anyRun()
    {
        return engine->active().isEmpty() ? nullptr : live(number(engine->active().size()));
    }

    void letGo()
    {
        launcher.releaseLaunches();
        launcher.releaseScreens();
        launcher.releasePrompts();
        processes.finishPending(FakeProcessRunner::exited(0, "abc"));
        settleAll();
    }

    void start()
    {
        auto agent = slot(u"agent"_s);
        agent.id = m_agents[number(2)];
        agent.keepSessionOpen = chance(3);
        agent.closeFinishedTab = chance(2);
        agent.runOnlyIfChanged = chance(2);
        if (chance(3))
            agent.preflight = u"check"_s;
        if (chance(4) && !agent.keepSessionOpen)
            agent.provider = AgentProvider::Codex;
        for (const QUuid &id : engine->enqueue(agent, RunTrigger::Manual, {.handoff = chance(5)}))
            m_ids.insert(id);
    }

    void hear(const ActiveRunPtr &run)
    {
        const QStringList types{u"Stop"_s, u"Stop"_s, u"SessionEnd"_s, u"SessionStart"_s, u"SubagentStop"_s};
        deliver(event(types[number(types.size())], run->record));
    }

    void step()
    {
        const auto run = anyRun();
        switch (number(run ? 14 : 6)) {
        case 0:
        case 1:
            return start();
        case 2:
            return clock.advance(std::chrono::seconds(number(60)));
        case 3:
            launcher.holdLaunches = launcher.holdScreens = launcher.holdPrompts = chance(2);
            launcher.launchFails = chance(3) ? std::optional(LaunchError{u"no"_s}) : std::nullopt;
            return;
        case 4:
            return letGo();
        case 5:
            tasks.spawn(follow(engine.get(), m_agents[number(2)]), "follow-up");
            return;
        case 6:
            return engine->stop(run->record.id);
        case 7:
            return engine->takeOver(run->record.id);
        case 8:
            return clock.advance(chance(10) ? 2h : 10s);
        case 9:
        case 10:
            return hear(run);
        case 11:
            launcher.panes[run->launched.paneID].probe.exists = false;
            return;
        default:
            launcher.panes[run->launched.paneID].probe.state = static_cast<AgentState>(number(5));
        }
    }

    static QCoro::Task<> follow(SchedulerEngine *engine, QUuid agent)
    {
        const QString prompt = u"more"_s;
        const auto id = co_await engine->continueRun(agent, prompt);
        static_cast<void>(id);
    }

    std::mt19937 m_random;
    QList<QUuid> m_agents{QUuid::createUuid(), QUuid::createUuid()};
    QSet<QUuid> m_ids;
    QHash<QUuid, int> m_finished;
};

} // namespace

TEST(RunChance, EveryRunEndsInExactlyOneRecordInWhateverOrderThingsHappen)
{
    for (unsigned seed = 1; seed <= 150 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Voyage voyage(seed);
        voyage.sail(60);
        voyage.end(seed % 2 == 0);
    }
}

} // namespace Keelhaven
