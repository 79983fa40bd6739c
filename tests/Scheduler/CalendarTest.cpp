#include "Scheduler/SchedulerCalendar.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const Date monday = std::chrono::sys_days(std::chrono::year(2026) / 3 / 2);

SchedulerSlot agent(const QString &name, const decltype(ScheduleSpec::rule) &rule)
{
    SchedulerSlot slot;
    slot.name = name;
    slot.enabled = true;
    slot.schedule.rule = rule;
    return slot;
}

SchedulerCalendar agenda(const QList<SchedulerSlot> &slotList, Date now, int days)
{
    return SchedulerCalendar::build(slotList, now, days, Calendar(QTimeZone::utc()));
}

TEST(SchedulerCalendar, ShowsEachDayInOrderAlsoAnEmptyOne)
{
    const auto weekly = agent(u"b"_s, ScheduleSpec::Weekly{{2, 4}, {{9, 0}}});
    auto captain = agent(u"a"_s, ScheduleSpec::Weekly{{4}, {{9, 0}, {8, 0}}});
    captain.captainDecides = true;
    auto codex = agent(u"c"_s, ScheduleSpec::Daily{{{9, 0}}});
    codex.provider = AgentProvider::Codex;
    auto disabled = codex;
    disabled.provider = AgentProvider::Claude;
    disabled.enabled = false;
    const auto calendar = agenda({weekly, captain, codex, disabled}, monday + 10h, 3);
    ASSERT_EQ(calendar.days.size(), 3);
    EXPECT_EQ(calendar.days[1].start, monday + 24h);
    EXPECT_TRUE(calendar.days[0].entries.isEmpty()) << "9:00 has passed";
    EXPECT_TRUE(calendar.days[1].entries.isEmpty());
    QStringList wednesday;
    for (const auto &entry : calendar.days[2].entries)
        wednesday.append(entry.name + QString::number((entry.date - calendar.days[2].start) / 1h));
    EXPECT_EQ(wednesday.join(u' '), u"a8 a9 b9"_s);
}

TEST(SchedulerCalendar, AOneShotGoesWithItsMoment)
{
    const auto once = agent(u"once"_s, ScheduleSpec::Once{monday + 10h});
    const auto before = agenda({once}, monday + 9h, 1);
    ASSERT_EQ(before.days.at(0).entries.size(), 1);
    EXPECT_TRUE(before.days[0].entries[0].isOneShot);
    EXPECT_EQ(before.days[0].entries[0].id(), uuidText(once.id) + u"-2026-03-02T10:00:00.000Z"_s);
    EXPECT_TRUE(agenda({once}, monday + 10h + 1min, 1).days.at(0).entries.isEmpty());
}

TEST(SchedulerCalendar, HoldsTenDaysOfHourlyFirings)
{
    const auto hourly = agent(u"h"_s, ScheduleSpec::EveryHours{1, std::nullopt});
    int count = 0;
    for (const auto &day : agenda({hourly}, monday - 1us, 11).days)
        count += int(day.entries.size());
    EXPECT_EQ(count, 240) << "the day before has none left";
    for (const int days : {0, -1, std::numeric_limits<int>::max()})
        EXPECT_TRUE(agenda({hourly}, monday, days).days.isEmpty());
}

TEST(SchedulerCalendar, DaysFollowTheLocalClockAcrossAChange)
{
    const Calendar berlin{QTimeZone("Europe/Berlin")};
    const auto late = agent(u"late"_s, ScheduleSpec::Daily{{{23, 30}}});
    // The clock goes forward on 29 March 2026.
    const Date now = Date(std::chrono::sys_days(std::chrono::year(2026) / 3 / 28)) + 12h;
    const auto calendar = SchedulerCalendar::build({late}, now, 3, berlin);
    ASSERT_EQ(calendar.days.size(), 3);
    EXPECT_EQ(calendar.days[2].start - calendar.days[1].start, 23h);
    for (const auto &day : calendar.days)
        EXPECT_EQ(day.entries.size(), 1);
}

} // namespace
} // namespace Keelhaven
