#include "Surfaces/AgentsPane.h"

#include "Scheduler/EngineFixture.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

class AgentsPaneTest : public EngineTest
{
protected:
    AgentsPaneTest() { engine->start(); }

    AgentsPane pane{*engine};
};

TEST_F(AgentsPaneTest, ToggleFlipsOnlyWhatCanBeScheduled)
{
    auto claude = slot(u"Claude"_s);
    auto codex = slot(u"Codex"_s);
    codex.provider = AgentProvider::Codex;
    codex.enabled = false;
    engine->upsert(claude);
    engine->upsert(codex);
    pane.toggle(claude.id);
    EXPECT_FALSE(engine->slot(claude.id)->enabled);
    pane.toggle(claude.id);
    EXPECT_TRUE(engine->slot(claude.id)->enabled);
    pane.toggle(codex.id);
    EXPECT_FALSE(engine->slot(codex.id)->enabled);
}

TEST_F(AgentsPaneTest, ACopyIsAnAgentOfItsOwn)
{
    auto original = slot(u"Nightly"_s);
    original.lastFiredAt = clock.now();
    engine->upsert(original);
    const auto id = pane.duplicate(original.id);
    ASSERT_TRUE(id);
    EXPECT_NE(*id, original.id);
    const auto copy = engine->slot(*id);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->name, u"Nightly copy");
    EXPECT_EQ(copy->command, original.command);
    EXPECT_EQ(engine->slotList().size(), 2);
    pane.delete_(original.id);
    EXPECT_FALSE(pane.duplicate(original.id)) << "the original is gone";
    EXPECT_TRUE(engine->slot(*id));
}

TEST_F(AgentsPaneTest, ACopyWorksInAWorkspaceOfItsOwnAndHasNotRunYet)
{
    auto original = slot(u"Nightly"_s);
    original.workspaceMode = WorkspaceMode::Shared;
    original.runOnlyIfChanged = true;
    original.lastRunHeads = QMap<QString, QString>{{original.cwd(), u"abc"_s}};
    original.lastFiredAt = clock.now();
    engine->upsert(original);
    QSet<QString> folders{*engine->slot(original.id)->workspaceSlug};
    EXPECT_EQ(folders, QSet<QString>{u"nightly"_s});
    for (int copies = 1; copies <= 2; ++copies) {
        const auto copy = engine->slot(*pane.duplicate(original.id));
        ASSERT_TRUE(copy && copy->workspaceSlug);
        folders.insert(*copy->workspaceSlug);
        EXPECT_EQ(folders.size(), 1 + copies) << copy->workspaceSlug->toStdString();
        EXPECT_EQ(copy->lastRunHeads, std::nullopt) << "its first run is not skipped";
        EXPECT_EQ(copy->lastFiredAt, original.lastFiredAt) << "it makes up for nothing";
    }
    EXPECT_TRUE(folders.contains(u"nightly-copy"_s));
}

TEST_F(AgentsPaneTest, CommandsOfALineReachAllItsRuns)
{
    RunRecord first, second, other;
    for (RunRecord *run : {&first, &second, &other}) {
        run->outcome = RunOutcome::completed();
        store.records.insert(run->id, *run);
    }
    restart();
    engine->start();
    AgentsPane reopened(*engine);
    reopened.setHidden({first.id, second.id}, true);
    QSet<QUuid> hidden;
    for (const auto &run : engine->history()) {
        if (run.isHidden())
            hidden.insert(run.id);
    }
    EXPECT_EQ(hidden, (QSet<QUuid>{first.id, second.id}));
    reopened.remove({first.id, second.id});
    ASSERT_EQ(engine->history().size(), 1);
    EXPECT_EQ(engine->history().first().id, other.id);
}

TEST_F(AgentsPaneTest, TheQueueShowsLiveRunsBeforeWaitingOnes)
{
    settings.set(u"schedulerConcurrencyCap"_s, qint64(2));
    const auto one = slot(u"One"_s);
    engine->upsert(one);
    ASSERT_EQ(pane.runNow(one.id).size(), 1);
    settleAll();
    launcher.holdLaunches = true;
    engine->enqueue(slot(u"Two"_s));
    engine->enqueue(slot(u"Three"_s));
    settleAll();
    const auto rows = queueRows(engine->active(), engine->launching(), engine->queued());
    QStringList texts;
    for (const auto &row : rows)
        texts.append(u"%1: %2"_s.arg(row.title, row.state));
    EXPECT_EQ(texts, (QStringList{u"One: running"_s, u"Two: starting"_s, u"Three: queued"_s}));
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[0].id, u"active-"_s + uuidText(live()->record.id));
    EXPECT_EQ(rows[2].id, u"queued-"_s + uuidText(engine->queued().first().record.id));
    launcher.releaseLaunches();
}

TEST(QueueRow, StatesInWords)
{
    const auto run = std::make_shared<ActiveRun>(RunRecord(), SchedulerSlot(), LaunchedRun());
    const std::pair<AgentState, QStringView> rows[]{{AgentState::Idle, u"idle"},
                                                    {AgentState::Working, u"working"},
                                                    {AgentState::Blocked, u"waiting for input"},
                                                    {AgentState::Done, u"done"},
                                                    {AgentState::Unknown, u"running"}};
    for (const auto &[state, text] : rows) {
        run->agentState = state;
        EXPECT_EQ(queueRows({run}, {}, {}).first().state, text);
        EXPECT_EQ(queueRows({run}, {}, {}).first().isBlocked, state == AgentState::Blocked);
    }
    run->takenOver = true;
    EXPECT_EQ(queueRows({run}, {}, {}).first().state, u"you have control");

    QueuedRun waiting;
    waiting.notBefore = Date{};
    waiting.holdReason = u"session 80% ≥ cap 50%"_s;
    const auto row = queueRows({}, {}, {waiting}).first();
    EXPECT_EQ(row.state, u"waiting on usage");
    EXPECT_EQ(row.stateHelp, waiting.holdReason);
}

TEST(AgentsPaneTexts, QuestionsNameWhatGoes)
{
    using namespace SchedulerListPane;
    EXPECT_EQ(clearHistoryQuestion(12).button, u"Clear 12 runs");
    const auto question = deleteQuestion(u"Nightly"_s);
    EXPECT_EQ(question.message, u"Nightly is removed from the schedule. Its finished runs stay in History.");
    EXPECT_EQ(question.button, u"Delete Nightly");
}

} // namespace Keelhaven
