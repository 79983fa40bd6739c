#include "UI/DemoProfile.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const auto liveScreen = uR"(> Run the suite; repair what broke since the last green night.

● I'll run the whole suite first, then look at what broke.

● Bash(ctest --test-dir build -j4)
  └ 412 tests, 2 failed: HarbourTest.Berths, TideTest.AcrossMidnight

● Read(tests/TideTest.cpp)
  └ 184 lines

● The test reads the clock twice; between the two reads midnight passes.

● Update(tests/TideTest.cpp)
  └ 3 additions, 2 removals

* Verifying… (2m 41s · 18.2k tokens))"_s;

const auto questionScreen = uR"(> Sort the inbox folder, draft answers to what is simple.

● Bash(ls ~/code/notes/inbox)
  └ 23 messages

● Twenty-two are sorted, and six of them have a draft. One I cannot place:

  The harbour office asks whether berth 14 is free from 3 to 9 December.
  The plan says yes, your note of last Tuesday says no.

  Which one holds?
  ❯ 1. The plan
    2. The note
    3. Leave the message where it is)"_s;

const auto briefScreen = uR"(> Read what changed since yesterday and tell me what needs a decision.

● Bash(git log --since=yesterday --oneline)
  └ 17 commits

● Read(docs/berths.md)
  └ 96 lines

● Two changes give the same berth to different ships. I am looking for the
  rule that decides between them.

* Reading… (1m 12s · 9.4k tokens))"_s;

} // namespace

void DemoProfile::startRuns()
{
    auto &engine = m_model->scheduler();
    const auto agents = engine.slotList();
    const auto milliseconds =
        std::chrono::floor<std::chrono::milliseconds>(m_clock.now()).time_since_epoch().count();
    m_home.write(u".claude.json"_s, R"({"cachedUsageUtilization":{"fetchedAtMs":)" +
                                        QByteArray::number(qint64(milliseconds)) +
                                        R"(,"utilization":{"five_hour":{"utilization":92}}}})");
    for (const int index : {4, 2, 0, 6})
        engine.enqueue(agents[index]);
    settle();
    // At two o'clock an agent falls due, and the usage gate holds it.
    for (int i = 0; i < 5; ++i) {
        m_clock.advance(73s);
        settle();
    }
    for (const int index : {1, 9, 5})
        engine.enqueue(agents[index]);
    settle();
    auto &panes = m_sessions.panes;
    if (panes.size() >= 3) {
        for (auto &pane : panes)
            pane.screen = liveScreen;
        panes[u"p2"_s].screen = questionScreen;
        panes[u"p3"_s].screen = briefScreen;
        panes[u"p1"_s].probe = {AgentState::Working, true};
        panes[u"p2"_s].probe = {AgentState::Blocked, true};
        engine.takeOver(engine.active().value(2)->record.id);
    }
    m_clock.advance(31s);
    settle();
}

QUuid DemoProfile::blockedRun()
{
    for (const auto &run : m_model->scheduler().active()) {
        if (run->agentState == AgentState::Blocked)
            return run->record.id;
    }
    return {};
}

} // namespace Keelhaven
