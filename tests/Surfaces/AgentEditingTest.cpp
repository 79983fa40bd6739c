#include "Surfaces/AgentEditing.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using AgentEditor::Group;
using HourMinute = ScheduleSpec::HourMinute;

namespace {

const Calendar utc{QTimeZone::utc()};
const Date now = *dateFromLooseISOText(u"2026-11-23T09:20:00Z"); // a Monday
const std::chrono::sys_days today = utc.wallTime(now).day;

bool isForbidden(const QString &path)
{
    return path.contains(u".claude/plugins"_s);
}

} // namespace

TEST(AgentEditing, TimesAreReadAsPeopleTypeThem)
{
    const struct
    {
        QString text;
        std::optional<HourMinute> time;
    } rows[] = {
        {u"9"_s, HourMinute{9, 0}},         {u" 9:05 "_s, HourMinute{9, 5}},
        {u"0930"_s, HourMinute{9, 30}},     {u"2130"_s, HourMinute{21, 30}},
        {u"9.30 pm"_s, HourMinute{21, 30}}, {u"9:30 P.M."_s, HourMinute{21, 30}},
        {u"12 am"_s, HourMinute{0, 0}},     {u"12pm"_s, HourMinute{12, 0}},
        {u"noon"_s, HourMinute{12, 0}},     {u"midnight"_s, HourMinute{0, 0}},
        {u"23:59"_s, HourMinute{23, 59}},   {u"24:00"_s, std::nullopt},
        {u"9:60"_s, std::nullopt},          {u"13 pm"_s, std::nullopt},
        {u"0 am"_s, std::nullopt},          {u"9:"_s, std::nullopt},
        {u"9 m"_s, std::nullopt},           {u""_s, std::nullopt},
        {u"soon"_s, std::nullopt},          {u"９:00"_s, std::nullopt},
    };
    for (const auto &row : rows)
        EXPECT_EQ(AgentEditor::clockFromText(row.text), row.time) << row.text.toStdString();
    // What a field shows is what it takes.
    for (int minute = 0; minute < 24 * 60; minute += 7) {
        const HourMinute time{minute / 60, minute % 60};
        EXPECT_EQ(AgentEditor::clockFromText(clockText(time)), time);
    }
}

TEST(AgentEditing, DaysAreReadAsPeopleTypeThem)
{
    const struct
    {
        QString text;
        QString day; ///< empty for none
    } rows[] = {
        {u"2026-12-24"_s, u"2026-12-24"_s},
        {u"24.12.2026"_s, u"2026-12-24"_s},
        {u"1. 2. 2027"_s, u"2027-02-01"_s},
        {u"2028-2-29"_s, u"2028-02-29"_s},
        {u"2027-02-29"_s, u""_s},
        {u"2026-13-01"_s, u""_s},
        {u"today"_s, u"2026-11-23"_s},
        {u"Tomorrow"_s, u"2026-11-24"_s},
        {u"fri"_s, u"2026-11-27"_s},
        {u"sunday"_s, u"2026-11-29"_s},
        {u"mon"_s, u"2026-11-30"_s},
        {u"mo"_s, u""_s},
        {u"24.12."_s, u""_s},
        {u""_s, u""_s},
    };
    for (const auto &row : rows) {
        const auto day = AgentEditor::dayFromText(row.text, today);
        EXPECT_EQ(day ? AgentEditor::dayText(*day) : QString(), row.day) << row.text.toStdString();
    }
}

TEST(AgentEditing, AClosedGroupSaysWhatIsSetInIt)
{
    AgentDraft draft;
    const QList<AgentDraft::ShipChoice> ships{{QUuid::createUuid(), u"Web"_s, true}};
    const auto text = [&](Group group) { return AgentEditor::summary(group, draft, ships); };
    EXPECT_EQ(text(Group::Gates), u"Runs whenever it is due");
    EXPECT_EQ(text(Group::Limits), u"Ends after 90 min · stalled after 10 min · keeps awake");
    EXPECT_EQ(text(Group::Workspace), u"Straight in its folders");
    EXPECT_EQ(text(Group::Session), u"Closes its tab when done");
    EXPECT_EQ(text(Group::Ship), u"No ship");
    draft.maxUsagePercent = 0;
    EXPECT_EQ(text(Group::Gates), u"Never waits for the session");
    draft.maxUsagePercent = 60;
    EXPECT_EQ(text(Group::Gates), u"Waits at 60 % of the session");
    draft.maxUsagePercent.reset();
    draft.runOnlyIfChanged = true;
    draft.preflight = u"make"_s;
    draft.priority = -2;
    draft.keepAwake = false;
    draft.workspaceMode = WorkspaceMode::PerFolder;
    draft.plugins = QStringList{u"a"_s, u"b"_s};
    draft.addDirs = QStringList{u"/x"_s};
    draft.keepSessionOpen = true;
    draft.shipID = ships[0].id;
    draft.captainDecides = true;
    EXPECT_EQ(text(Group::Gates), u"Only if changed · preflight");
    EXPECT_EQ(text(Group::Limits),
              u"Ends after 90 min · stalled after 10 min · priority -2 · lets the machine sleep");
    EXPECT_EQ(text(Group::Workspace), u"A workspace per folder · 2 plugins · 1 further folder");
    EXPECT_EQ(text(Group::Session), u"Closes its tab when done · parked for follow-ups");
    EXPECT_EQ(text(Group::Ship), u"Web · its Captain decides");
}

TEST(AgentEditing, EachHintLeadsToItsField)
{
    AgentDraft draft;
    const auto field = [&] {
        return AgentEditor::hintedField(draft, isForbidden).value_or(u"none").toString();
    };
    EXPECT_EQ(field(), u"name");
    draft.name = u"Nightly"_s;
    EXPECT_EQ(field(), u"cwds");
    draft.cwds = QStringList{u"/home/me/.claude/plugins/x"_s};
    EXPECT_EQ(field(), u"command");
    draft.command = u"/tidy"_s;
    draft.setProvider(AgentProvider::Codex);
    EXPECT_EQ(field(), u"cwds");
    draft.cwds = QStringList{u"/site"_s};
    EXPECT_EQ(field(), u"command");
    draft.command = u"tidy"_s;
    EXPECT_EQ(field(), u"none");
    draft.keepSessionOpen = true;
    EXPECT_EQ(field(), u"keepSessionOpen");
    draft.plugins = QStringList{u"p"_s};
    EXPECT_EQ(field(), u"plugins");
    draft.workspaceMode = WorkspaceMode::Shared;
    EXPECT_EQ(field(), u"workspaceMode");
}

TEST(AgentEditing, NoNextDatesHaveAReason)
{
    using Kind = AgentDraft::ScheduleKind;
    AgentDraft draft;
    const auto reason = [&] {
        EXPECT_EQ(draft.nextDates(now, utc).isEmpty(),
                  AgentEditor::noDatesReason(draft, now, utc).has_value());
        return AgentEditor::noDatesReason(draft, now, utc).value_or(QString());
    };
    EXPECT_EQ(reason(), QString());
    draft.times.clear();
    EXPECT_EQ(reason(), u"Add a time to see the next runs.");
    draft.scheduleKind = Kind::Weekly;
    draft.days.clear();
    EXPECT_EQ(reason(), u"Pick a day to see the next runs.");
    draft.scheduleKind = Kind::EveryHours;
    draft.hasWindow = true;
    draft.window = {17, 9};
    EXPECT_EQ(reason(), u"The window ends before it begins.");
    draft.scheduleKind = Kind::Once;
    draft.once = now;
    EXPECT_EQ(reason(), u"This moment has passed.");
    draft.once = now + 24h * 400;
    EXPECT_EQ(reason(), u"More than a year from now.");
    draft.captainDecides = true;
    EXPECT_EQ(reason(), u"Its Captain decides when it runs.");
    draft.setProvider(AgentProvider::Codex);
    EXPECT_EQ(reason(), u"Codex agents run manually only");
}

TEST(AgentEditing, AnEditTakesAlongWhatChangedMeanwhile)
{
    AgentDraft was;
    was.name = u"Nightly"_s;
    AgentDraft mine = was;
    mine.name = u"Nightly build"_s;
    mine.times = {{5, 0}};
    AgentDraft is = was;
    is.name = u"Renamed"_s;
    is.enabled = true;
    is.base.lastFiredAt = now;
    is.scheduleKind = AgentDraft::ScheduleKind::Weekly;
    is.days = {1};
    const AgentDraft both = AgentEditor::merged(mine, was, is);
    EXPECT_EQ(both.name, mine.name);
    EXPECT_TRUE(both.enabled);
    EXPECT_EQ(both.base.lastFiredAt, now);
    EXPECT_EQ(both.schedule(), mine.schedule()) << "a schedule is kept as a whole";
    EXPECT_EQ(AgentEditor::merged(was, was, is), is) << "without edits it is what is stored";
}

TEST(AgentEditing, WhatCannotBeSeenIsSaid)
{
    EXPECT_EQ(AgentEditor::missingFoldersNote({}), QString());
    EXPECT_EQ(AgentEditor::missingFoldersNote({u"~/a"_s}), u"There is no folder ~/a yet; runs in it fail.");
    EXPECT_EQ(AgentEditor::missingFoldersNote({u"~/a"_s, u"~/b"_s}),
              u"These folders are not there yet; runs in them fail: ~/a, ~/b");
    EXPECT_TRUE(AgentEditor::turnsDirection(u"a\u202eb"_s) && AgentEditor::turnsDirection(u"\u2066"_s));
    EXPECT_FALSE(AgentEditor::turnsDirection(u"עברית 👩‍👩‍👧 \u200e"_s));
}

TEST(AgentEditing, OneMoreTimeIsOneThatIsNotThereYet)
{
    EXPECT_EQ(AgentEditor::furtherTime({}), (HourMinute{9, 0}));
    EXPECT_EQ(AgentEditor::furtherTime({{9, 30}, {7, 0}}), (HourMinute{10, 30}));
    EXPECT_EQ(AgentEditor::furtherTime({{23, 0}, {0, 0}}), (HourMinute{1, 0}));
    QList<HourMinute> full;
    for (int hour = 0; hour < 24; ++hour)
        full.append({hour, 0});
    static_cast<void>(AgentEditor::furtherTime(full)); // ends
}

} // namespace Keelhaven
