// One evaluation of 10,000 agents of which none is due, beside computing their next dates alone.

#include "Ratio.h"
#include "Scheduler/EngineFixture.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;

constexpr int agents = 10'000;

QList<SchedulerSlot> manyAgents(EngineWorld &world)
{
    QList<SchedulerSlot> list;
    for (int i = 0; i < agents; ++i)
        list.append(world.slot(u"agent %1"_s.arg(i), 10 + i % 12, i % 60));
    return list;
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
    // The first evaluation after a change of any agent computes every date anew; later ones look at one.
    const auto afterAChange = [&] {
        world.restart();
        world.engine->start();
        world.engine->evaluateDueSlots(world.clock.now());
    };
    const auto unchanged = [&] { world.engine->evaluateDueSlots(world.clock.now()); };
    const auto slowdown = [&](const char *name, const auto &subject) {
        std::vector<double> ratios;
        for (int round = 0; round < 15; ++round) {
            const double own = Bench::milliseconds(subject);
            ratios.push_back(own / Bench::milliseconds(nextDates));
        }
        Bench::printRatio(name, Bench::median(ratios), 3, Bench::Aim::AtMost);
    };
    slowdown("evaluate-10000-agents-after-a-change", afterAChange);
    slowdown("evaluate-10000-agents-unchanged", unchanged);
    return 0;
}
