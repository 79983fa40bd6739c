#include "Surfaces/SlotRow.h"

#include "Surfaces/TimeTexts.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const Calendar utc{QTimeZone::utc()};
// A Wednesday.
const Date nineOClock = *dateFromLooseISOText(u"2026-03-04T09:00:00Z");

Date at(const char *text)
{
    return *dateFromLooseISOText(QString::fromLatin1(text));
}

SchedulerSlot dailyAt(int hour)
{
    SchedulerSlot slot;
    slot.name = u"Nightly"_s;
    slot.schedule.rule = ScheduleSpec::Daily{{{hour, 0}}};
    slot.enabled = true;
    return slot;
}

} // namespace

TEST(SlotRow, RelativeTimesReadAsAPersonSaysThem)
{
    struct Row
    {
        const char *now;
        const char *date;
        QStringView text;
    };
    const Row rows[]{
        {"2026-03-04T09:00:00Z", "2026-03-04T08:00:00Z", u"now"},
        {"2026-03-04T09:00:00Z", "2026-03-04T09:00:59Z", u"now"},
        {"2026-03-04T09:00:00Z", "2026-03-04T09:01:00Z", u"in 1 min"},
        {"2026-03-04T09:00:00Z", "2026-03-04T09:01:30Z", u"in 2 min"},
        {"2026-03-04T09:00:00Z", "2026-03-04T09:59:59Z", u"in 60 min"},
        {"2026-03-04T09:00:00Z", "2026-03-04T10:00:00Z", u"in 1 h"},
        {"2026-03-04T09:00:00Z", "2026-03-04T12:59:59Z", u"in 4 h"},
        {"2026-03-04T09:00:00Z", "2026-03-04T13:00:00Z", u"Today 1:00 PM"},
        {"2026-03-04T09:00:00Z", "2026-03-04T17:59:00Z", u"Today 5:59 PM"},
        {"2026-03-04T09:00:00Z", "2026-03-04T18:00:00Z", u"Tonight 6:00 PM"},
        {"2026-03-04T09:00:00Z", "2026-03-04T23:00:00Z", u"Tonight 11:00 PM"},
        // Two hours on, but already tomorrow.
        {"2026-03-04T23:00:00Z", "2026-03-05T01:00:00Z", u"Tonight 1:00 AM"},
        {"2026-03-04T09:00:00Z", "2026-03-05T00:00:00Z", u"Tonight 12:00 AM"},
        {"2026-03-04T09:00:00Z", "2026-03-05T05:59:00Z", u"Tonight 5:59 AM"},
        {"2026-03-04T09:00:00Z", "2026-03-05T06:00:00Z", u"Tomorrow 6:00 AM"},
        {"2026-03-04T09:00:00Z", "2026-03-06T01:00:00Z", u"Fri 1:00 AM"},
        {"2026-03-04T09:00:00Z", "2026-03-10T08:59:59Z", u"Tue 8:59 AM"},
        {"2026-03-04T09:00:00Z", "2026-03-10T09:00:00Z", u"Mar 10 9:00 AM"},
        {"2026-12-31T09:00:00Z", "2027-01-01T12:00:00Z", u"Tomorrow 12:00 PM"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(SlotRow::relative(at(row.date), at(row.now), utc), row.text) << row.now << " " << row.date;
}

TEST(SlotRow, RelativeDaysAreThoseOfTheZoneAcrossAClockChange)
{
    const Calendar berlin{QTimeZone("Europe/Berlin")};
    // The night in which 2 o'clock becomes 3: tomorrow's six is nine hours from nine in the evening, less
    // one.
    EXPECT_EQ(SlotRow::relative(at("2026-03-29T04:00:00Z"), at("2026-03-28T20:00:00Z"), berlin),
              u"Tomorrow 6:00 AM");
    EXPECT_EQ(SlotRow::relative(at("2026-03-28T23:30:00Z"), at("2026-03-28T20:00:00Z"), berlin),
              u"Tonight 12:30 AM");
}

TEST(SlotRow, SchedulesAreSaidShortly)
{
    using HM = ScheduleSpec::HourMinute;
    using S = ScheduleSpec;
    const std::pair<ScheduleSpec, QStringView> rows[]{
        {{S::Daily{{HM{17, 5}, HM{0, 30}, HM{12, 0}}}}, u"Daily at 12:30 am, 12:00 pm, 5:05 pm"},
        {{S::Weekly{{6, 2}, {HM{8, 30}}}}, u"Weekly Mon, Fri 8:30 am"},
        {{S::Weekly{{1}, {HM{20, 0}, HM{8, 0}}}}, u"Weekly Sun 8:00 am, 8:00 pm"},
        {{S::EveryHours{2, std::nullopt}}, u"Every 2 h"},
        {{S::EveryHours{3, S::DayWindow{9, 17}}}, u"Every 3 h · 9:00 am–5:00 pm"},
        {{S::EveryHours{3, S::DayWindow{0, 24}}}, u"Every 3 h · 12:00 am–12:00 am"},
        {{S::Once{nineOClock}}, u"Once Mar 4, 9:00 AM"},
    };
    for (const auto &[spec, text] : rows)
        EXPECT_EQ(SlotRow::scheduleText(spec, utc), text);
}

TEST(SlotRow, NextRunAsksManualOffAndCaptainFirst)
{
    SchedulerSlot slot = dailyAt(10);
    EXPECT_EQ(SlotRow::nextRunText(slot, nineOClock, utc), u"in 1 h");
    slot.schedule.rule = ScheduleSpec::Once{nineOClock};
    EXPECT_EQ(SlotRow::nextRunText(slot, nineOClock, utc), u"—");
    slot.captainDecides = true;
    EXPECT_EQ(SlotRow::nextRunText(slot, nineOClock, utc), u"Captain's call");
    slot.enabled = false;
    EXPECT_EQ(SlotRow::nextRunText(slot, nineOClock, utc), u"Off");
    EXPECT_FALSE(SlotRow::of(slot, nineOClock, utc).toggleHelp);
    slot.provider = AgentProvider::Codex;
    EXPECT_EQ(SlotRow::nextRunText(slot, nineOClock, utc), u"—");
    EXPECT_EQ(SlotRow::of(slot, nineOClock, utc).toggleHelp, u"Codex agents run manually only"_s);
}

TEST(SlotRow, TheListLeavesOutTheProgramsOwnAgents)
{
    QList<SchedulerSlot> all;
    for (const auto kind : {SlotKind::System, SlotKind::Scheduled, SlotKind::Dispatch, SlotKind::System}) {
        all.append(dailyAt(1));
        all.last().kind = kind;
    }
    const auto shown = managedSlots(all);
    ASSERT_EQ(shown.size(), 2);
    EXPECT_EQ(shown[0], all[1]);
    EXPECT_EQ(shown[1], all[2]);
}

TEST(TimeTexts, LengthsOfRuns)
{
    using namespace std::chrono_literals;
    EXPECT_EQ(TimeTexts::length(59s + 999ms), u"59s");
    EXPECT_EQ(TimeTexts::length(61s), u"1m 1s");
    EXPECT_EQ(TimeTexts::length(60s), u"1m 0s");
    EXPECT_EQ(TimeTexts::length(2h), u"120m 0s");
    EXPECT_EQ(TimeTexts::length(-3s), u"0s") << "a clock that was set back";
    EXPECT_EQ(TimeTexts::elapsed(59s), u"59s");
    EXPECT_EQ(TimeTexts::elapsed(61s), u"1m");
}

} // namespace Keelhaven
