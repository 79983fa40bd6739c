#include "Surfaces/Agenda.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const Calendar utc{QTimeZone::utc()};
const Date nineOClock = *dateFromLooseISOText(u"2026-03-04T09:00:00Z"); // a Wednesday

} // namespace

TEST(Agenda, CaptionTellsThePaceAndToday)
{
    struct Row
    {
        int total;
        int days;
        int today;
        QStringView text;
    };
    const Row rows[]{
        {3, 10, 0, u"3 runs in 10 days · nothing today"},
        {1, 10, 1, u"1 run in 10 days · 1 today"},
        {9, 10, 2, u"9 runs in 10 days · 2 today"},
        {10, 10, 1, u"1 run a day · 1 today"},
        {12, 10, 0, u"1 run a day · nothing today"},
        {15, 10, 2, u"2 runs a day · 2 today"},
        {20, 10, 5, u"2 runs a day · 5 today"},
        {0, 10, 0, u"nothing scheduled"},
        {4, 0, 1, u"nothing scheduled"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(agendaCaption(row.total, row.days, row.today), row.text) << row.total << "/" << row.days;
}

TEST(Agenda, TenCardsAlsoForDaysWithoutAFiring)
{
    SchedulerSlot slot;
    slot.name = u"Nightly"_s;
    slot.enabled = true;
    slot.schedule.rule = ScheduleSpec::Weekly{{4, 6}, {{8, 0}, {19, 5}}}; // Wednesday and Friday
    const auto agenda = Agenda::build({slot}, nineOClock, utc);
    ASSERT_EQ(agenda.days.size(), 10);
    QStringList titles;
    for (const auto &day : agenda.days)
        titles.append(day.title);
    EXPECT_EQ(titles.first(4),
              (QStringList{u"Today · Wed 4"_s, u"Tomorrow · Thu 5"_s, u"Fri 6"_s, u"Sat 7"_s}));
    ASSERT_EQ(agenda.days[0].entries.size(), 1) << "eight o'clock has passed";
    EXPECT_EQ(agenda.days[0].entries[0].time, u"7:05 PM");
    EXPECT_EQ(agenda.days[0].entries[0].slotID, slot.id);
    EXPECT_TRUE(agenda.days[1].entries.isEmpty());
    EXPECT_EQ(agenda.days[2].entries.size(), 2);
    EXPECT_EQ(agenda.caption, u"7 runs in 10 days · 1 today");
    EXPECT_FALSE(agenda.isEmpty);

    slot.enabled = false;
    const auto empty = Agenda::build({slot}, nineOClock, utc);
    EXPECT_EQ(empty.days.size(), 10);
    EXPECT_TRUE(empty.isEmpty);
    EXPECT_EQ(empty.caption, u"nothing scheduled");
}

} // namespace Keelhaven
