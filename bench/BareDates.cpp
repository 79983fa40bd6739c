#include "Scheduler/Model/ScheduleSpec.h"

#include <QCoreApplication>

// The peer of bench/agenda_bench: from start to exit, the dates of 200 daily agents over 365 days and nothing
// else.
int main(int argc, char **argv)
{
    using namespace Keelhaven;
    constexpr int agents = 200;
    constexpr int days = 365;
    constexpr int perAgent = 400;
    const QCoreApplication application(argc, argv);
    const Calendar calendar{QTimeZone::systemTimeZone()};
    const Date now = std::chrono::sys_days(std::chrono::year(2026) / 3 / 5);
    qsizetype found = 0;
    for (int i = 0; i < agents; ++i) {
        const ScheduleSpec rule{ScheduleSpec::Daily{{{6 + i % 12, i % 60}}}};
        found += rule.fireDates(now, now + std::chrono::days(days), calendar, perAgent).size();
    }
    return found >= qsizetype(agents) * (days - 1) ? 0 : 1;
}
