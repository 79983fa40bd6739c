#include "Surfaces/MenuBarPanel.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const Calendar utc{QTimeZone::utc()};
const Date now = *dateFromLooseISOText(u"2026-11-23T09:00:00Z");

ActiveRunPtr runningFor(std::chrono::seconds span, const std::optional<QUuid> &shipID = {})
{
    RunRecord run;
    run.slotName = u"Nightly"_s;
    run.startedAt = now - span;
    run.shipID = shipID;
    return std::make_shared<ActiveRun>(run, SchedulerSlot(), LaunchedRun());
}

} // namespace

TEST(MenuBarPanel, StatusAndCounts)
{
    using namespace MenuBarPanel;
    EXPECT_EQ(statusLabel(Mirror::LiveBridge, false), u"service");
    EXPECT_EQ(statusLabel(Mirror::Live, true), u"bridge");
    EXPECT_EQ(statusLabel(Mirror::Live, false), u"mirroring web");
    EXPECT_EQ(statusLabel(Mirror::Down, true), u"viewer");
    EXPECT_EQ(statusLabel(Mirror::Foreign, false), u"port busy");
    EXPECT_EQ(aggregateLine(1, 0, 0), u"1 project · 0 active today");
    EXPECT_EQ(aggregateLine(3, 1, 1), u"3 projects · 1 active today · ⚑ 1 flag");
    EXPECT_EQ(aggregateLine(0, 2, 2), u"0 projects · 2 active today · ⚑ 2 flags");
    EXPECT_EQ(serviceButton(Mirror::Down), u"Start service");
    EXPECT_EQ(serviceButton(Mirror::Foreign), u"Refresh");
}

TEST(MenuBarPanel, RunsAndTheNextFire)
{
    using namespace std::chrono_literals;
    const auto lines = MenuBarPanel::runLines({runningFor(59s), runningFor(61s)}, now);
    EXPECT_EQ(lines[0].text, u"Nightly — 59s");
    EXPECT_EQ(lines[1].text, u"Nightly — 1m");

    EXPECT_EQ(MenuBarPanel::nextFireText({}, utc), u"No runs scheduled");
    SchedulerSlot slot;
    slot.name = u"Backup %1"_s;
    EXPECT_EQ(MenuBarPanel::nextFireText(std::pair(slot, now + 10h), utc), u"Next: Backup %1 Mon 7:00 PM");
}

TEST(MenuBarPanel, TheSessionMeterStandsBeforeTheWeeklyOnes)
{
    using namespace std::chrono_literals;
    using Kind = UsageSnapshot::Meter::Kind;
    EXPECT_TRUE(MenuBarPanel::meterLines({}, now).isEmpty());
    const UsageSnapshot usage{now,
                              {{Kind::weeklyAll(), 80, now + 84h, true, 3},
                               {Kind::session(), 20, now + 1h, true, 0},
                               {Kind::weeklyModel(u"Opus"_s), 10, now + 84h, false, 0}}};
    EXPECT_EQ(MenuBarPanel::meterLines(usage, now),
              (QList<MenuBarPanel::MeterLine>{{u"Session"_s, 20, 0, false},
                                              {u"Week · all models"_s, 80, 3, true},
                                              {u"Week · Opus"_s, 10, 0, false}}));
}

TEST(MenuBarPanel, KeepAwakeTellsOfARunOnlyWhileTheSwitchIsOff)
{
    EXPECT_EQ(MenuBarPanel::keepAwakeRow(false, true).note, u"Awake for a run"_s);
    EXPECT_FALSE(MenuBarPanel::keepAwakeRow(true, true).note);
    EXPECT_FALSE(MenuBarPanel::keepAwakeRow(false, false).note);
}

TEST(FleetSummary, ShipsThatNeedTheUserComeFirst)
{
    using namespace std::chrono_literals;
    const QList<FleetSummary::ShipName> ships{{QUuid::createUuid(), u"zebra"_s},
                                              {QUuid::createUuid(), u"Beta"_s},
                                              {QUuid::createUuid(), u"alpha"_s},
                                              {QUuid::createUuid(), u"Quiet"_s},
                                              {QUuid::createUuid(), u"Asking"_s}};
    const auto running = MenuBarPanel::runningByShip(
        {runningFor(1s, ships[0].id), runningFor(1s, ships[0].id), runningFor(1s, ships[1].id),
         runningFor(1s, ships[2].id), runningFor(1s)});
    const QHash<QUuid, int> needsYou{{ships[0].id, 1}, {ships[4].id, 3}};
    QStringList texts;
    for (const auto &line : FleetSummary::lines(ships, running, needsYou))
        texts.append((line.tone == FleetSummary::Tone::NeedsYou ? u"! "_s : QString()) + line.text);
    EXPECT_EQ(texts, (QStringList{u"! Asking · 3 need you"_s, u"! zebra · 2 running, 1 needs you"_s,
                                  u"alpha · 1 running"_s, u"Beta · 1 running"_s}));
    EXPECT_TRUE(FleetSummary::lines(ships, {}, {}).isEmpty());
}

} // namespace Keelhaven
