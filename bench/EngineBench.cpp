// One evaluation of 10,000 agents of which none is due, beside computing their next dates alone; and matching
// 20 live runs with a month of events, beside one bare walk over those.

#include "Ratio.h"
#include "Scheduler/EngineFixture.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;

constexpr int agents = 10'000;
constexpr int monthOfEvents = 200'000;
constexpr int sessions = 1000;
constexpr int liveRuns = 20;

QList<SchedulerSlot> manyAgents(EngineWorld &world)
{
    QList<SchedulerSlot> list;
    for (int i = 0; i < agents; ++i)
        list.append(world.slot(u"agent %1"_s.arg(i), 10 + i % 12, i % 60));
    return list;
}

/// Eight sessions at a time, half of them started by this program.
EventList manyEvents(double end, const QList<QUuid> &runs)
{
    EventList events;
    for (int i = 0; i < monthOfEvents; ++i) {
        const qsizetype session = (qsizetype(i) * sessions / monthOfEvents + i % 8) % sessions;
        EventRecord event;
        event.ts = end - 2'592'000.0 * (monthOfEvents - i) / monthOfEvents;
        event.type = i % 5 == 0 ? u"Stop"_s : u"PostToolUse"_s;
        event.sessionId = u"session %1"_s.arg(session);
        event.cwd = u"/srv/project %1"_s.arg(session % 10);
        if (session % 2 == 0)
            event.runID = runs[session];
        events.append(event);
    }
    return events;
}

void matchMonth(const auto &slowdown)
{
    QList<QUuid> runs;
    for (int i = 0; i < sessions; ++i)
        runs.append(QUuid::createUuid());
    const double end = 1'772'600'000;
    const EventList events = manyEvents(end, runs);
    const auto match = [&] {
        for (int i = 0; i < liveRuns; ++i) {
            const qsizetype session = sessions - 25 + i;
            RunMatcher::RunKey key;
            key.cwd = u"/srv/project %1"_s.arg(session % 10);
            key.startedAt = dateFromSeconds(end - 5400);
            key.launchRunID = runs[session];
            benchmark::DoNotOptimize(RunMatcher::assess(key, events, {}));
        }
    };
    const auto walk = [&] {
        qint64 stops = 0;
        for (const auto &event : events)
            stops += event.type == u"Stop";
        benchmark::DoNotOptimize(stops);
    };
    slowdown("match-20-runs-in-a-month-of-events", match, walk, 1);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    EngineWorld world;
    world.calendar = Calendar(QTimeZone("Europe/Berlin"));
    world.store.slotList = manyAgents(world);
    world.engine->start();

    const auto nextDates = [&] {
        qint64 sum = 0;
        for (const auto &slot : world.engine->slotList())
            sum += slot.nextFireDate(world.clock.now(), world.calendar)->time_since_epoch().count();
        benchmark::DoNotOptimize(sum);
    };
    // A move to another time zone makes every date be computed anew; otherwise an evaluation looks at one.
    const Calendar berlin = world.calendar;
    const Calendar newYork(QTimeZone("America/New_York"));
    bool moved = false;
    const auto afterAMove = [&] {
        moved = !moved;
        world.calendar = moved ? newYork : berlin;
        world.engine->evaluateDueSlots(world.clock.now());
    };
    const auto unchanged = [&] { world.engine->evaluateDueSlots(world.clock.now()); };
    const auto slowdown = [](const char *name, const auto &subject, const auto &peer, double limit) {
        std::vector<double> ratios;
        for (int round = 0; round < 15; ++round) {
            const double own = Bench::milliseconds(subject);
            ratios.push_back(own / Bench::milliseconds(peer));
        }
        Bench::printRatio(name, Bench::median(ratios), limit, Bench::Aim::AtMost);
    };
    slowdown("evaluate-10000-agents-all-dates-anew", afterAMove, nextDates, 3);
    slowdown("evaluate-10000-agents-unchanged", unchanged, nextDates, 3);
    matchMonth(slowdown);
    return 0;
}
