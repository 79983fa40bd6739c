#include "Surfaces/AgentDraft.h"

#include "Support/MemorySettings.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const Calendar utc{QTimeZone::utc()};
const Date now = *dateFromLooseISOText(u"2026-11-23T09:20:00Z"); // a Monday

AgentDraft complete()
{
    AgentDraft draft;
    draft.name = u"Nightly"_s;
    draft.cwds = QStringList{u"/site"_s};
    draft.command = u"tidy up"_s;
    return draft;
}

bool isForbidden(const QString &path)
{
    return path.contains(u".claude/plugins"_s);
}

} // namespace

TEST(AgentDraft, AnEditLosesNothingOfTheAgent)
{
    using S = ScheduleSpec;
    for (const ScheduleSpec &schedule :
         {S{S::Daily{{{9, 0}, {17, 30}}}}, S{S::Weekly{{2, 6}, {{8, 30}}}},
          S{S::EveryHours{3, S::DayWindow{8, 20}}}, S{S::EveryHours{4, std::nullopt}}, S{S::Once{now}}}) {
        SchedulerSlot slot;
        slot.name = u"Nightly"_s;
        slot.model = u"opus"_s;
        slot.cwds = QStringList{u"/a"_s, u"/b"_s};
        slot.command = u"tidy up"_s;
        slot.schedule = schedule;
        slot.captainDecides = true;
        slot.preflight = u"make"_s;
        slot.priority = 3;
        slot.timeoutMinutes = 30;
        slot.stallMinutes = 5;
        slot.keepAwake = false;
        slot.enabled = true;
        slot.maxUsagePercent = 70;
        slot.runOnlyIfChanged = true;
        slot.lastRunHeads = QMap<QString, QString>{{u"/a"_s, u"abc"_s}};
        slot.lastFiredAt = now;
        slot.workspaceMode = WorkspaceMode::PerFolder;
        slot.plugins = QStringList{u"p@m"_s};
        slot.workspaceSlug = u"nightly"_s;
        slot.closeFinishedTab = false;
        slot.keepSessionOpen = true;
        slot.addDirs = QStringList{u"/lib"_s};
        slot.shipID = QUuid::createUuid();
        slot.kind = SlotKind::Oneoff;
        slot.workItemID = u"w"_s;
        slot.dispatchID = u"d"_s;
        EXPECT_EQ(AgentDraft::fromSlot(slot, now, utc).toSlot(), slot);
    }
}

TEST(AgentDraft, WhatIsStoredIsTidy)
{
    AgentDraft draft = complete();
    draft.name = u"  Nightly "_s;
    draft.cwds = QStringList{u" /a "_s, QString(), u"/b"_s, u"/a"_s};
    draft.preflight = u"  "_s;
    draft.model.model = u" "_s;
    draft.times = {{17, 0}, {9, 0}, {17, 0}};
    draft.enabled = true;
    SchedulerSlot slot = draft.toSlot();
    EXPECT_EQ(slot.name, u"Nightly");
    EXPECT_EQ(slot.cwds, (QStringList{u"/a"_s, u"/b"_s}));
    EXPECT_FALSE(slot.preflight || slot.model);
    EXPECT_EQ(std::get<ScheduleSpec::Daily>(slot.schedule.rule).times,
              (QList<ScheduleSpec::HourMinute>{{9, 0}, {17, 0}}));
    EXPECT_TRUE(slot.enabled);
    draft.model.model = u"opus"_s;
    draft.setProvider(AgentProvider::Claude);
    EXPECT_EQ(draft.model.model, u"opus"_s) << "the same provider keeps its model";
    draft.setProvider(AgentProvider::Codex);
    EXPECT_EQ(draft.toSlot().modelChoice(), (AgentModelChoice{AgentProvider::Codex, std::nullopt}));
    EXPECT_FALSE(draft.toSlot().enabled) << "a Codex agent does not fire by itself";
}

TEST(AgentDraft, HintsComeInTheirOrder)
{
    AgentDraft draft;
    draft.setProvider(AgentProvider::Codex);
    draft.keepSessionOpen = true;
    const auto hint = [&] { return draft.saveHint(isForbidden).value_or(QString()); };
    EXPECT_EQ(hint(), u"Name the agent to save");
    draft.name = u"Nightly"_s;
    EXPECT_EQ(hint(), u"Add a project folder to save");
    draft.cwds = QStringList{u"  "_s};
    EXPECT_EQ(hint(), u"Add a project folder to save") << "a blank folder is none";
    draft.cwds = QStringList{u"/home/me/.claude/plugins/x"_s};
    EXPECT_EQ(hint(), u"Enter a command or prompt to save");
    draft.command = u"/tidy"_s;
    EXPECT_EQ(hint(), u"/home/me/.claude/plugins/x — runs are not allowed inside ~/.claude/plugins — use a "
                      u"project directory");
    draft.cwds = QStringList{u"/site"_s};
    draft.plugins = QStringList{u"p@m"_s};
    EXPECT_EQ(hint(), u"Codex Phase 1 runs in project folders without Keelhaven plugin workspaces.");
    draft.plugins.clear();
    EXPECT_EQ(hint(), u"Use a plain-language prompt for Codex; Claude slash commands are not supported.");
    draft.command = u"tidy"_s;
    EXPECT_EQ(hint(),
              u"Codex follow-ups are manual in Herdr; managed parked sessions are not supported yet.");
    draft.keepSessionOpen = false;
    EXPECT_EQ(hint(), QString());
}

TEST(AgentDraft, ACaptainHasToExist)
{
    AgentDraft draft = complete();
    const QList<AgentDraft::ShipChoice> ships{{QUuid::createUuid(), u"Web"_s, true},
                                              {QUuid::createUuid(), u"Docs"_s, false}};
    EXPECT_FALSE(draft.captainWarning(ships));
    draft.captainDecides = true;
    EXPECT_EQ(draft.captainWarning(ships), u"Pick a ship — its Captain runs this agent."_s);
    draft.shipID = ships[1].id;
    EXPECT_EQ(draft.captainWarning(ships), u"Docs has no Captain yet. Turn one on in the ship editor."_s);
    draft.shipID = ships[0].id;
    EXPECT_FALSE(draft.captainWarning(ships));
}

TEST(AgentDraft, TheNextFiringsAreThoseOfTheChosenKind)
{
    using Kind = AgentDraft::ScheduleKind;
    AgentDraft draft = complete();
    draft.times = {{9, 0}, {9, 30}};
    EXPECT_EQ(draft.nextDates(now, utc),
              (QStringList{u"Mon 23 Nov, 9:30 AM"_s, u"Tue 24 Nov, 9:00 AM"_s, u"Tue 24 Nov, 9:30 AM"_s,
                           u"Wed 25 Nov, 9:00 AM"_s, u"Wed 25 Nov, 9:30 AM"_s}));
    draft.scheduleKind = Kind::Weekly;
    draft.days = {1};
    EXPECT_EQ(draft.nextDates(now, utc, 1), QStringList{u"Sun 29 Nov, 9:00 AM"_s});
    draft.days.clear();
    EXPECT_TRUE(draft.nextDates(now, utc).isEmpty());
    draft.scheduleKind = Kind::EveryHours;
    draft.interval = 5;
    draft.hasWindow = true;
    EXPECT_EQ(draft.nextDates(now, utc, 2),
              (QStringList{u"Mon 23 Nov, 2:00 PM"_s, u"Tue 24 Nov, 9:00 AM"_s}));
    draft.scheduleKind = Kind::Once;
    draft.once = now + std::chrono::minutes(1);
    EXPECT_EQ(draft.nextDates(now, utc), QStringList{u"Mon 23 Nov, 9:21 AM"_s});
    draft.captainDecides = true;
    EXPECT_TRUE(draft.nextDates(now, utc).isEmpty());
}

TEST(AgentDraft, ANewAgentStartsOnTheUsersDefaults)
{
    MemorySettings settings;
    AgentDraft draft = AgentDraft::blank(settings, now, utc);
    EXPECT_EQ(draft.model, AgentModelChoice());
    EXPECT_FALSE(draft.shipID);
    EXPECT_EQ(draft.once, *dateFromLooseISOText(u"2026-11-23T10:00:00Z"));
    const QUuid ship = QUuid::createUuid();
    settings.set(u"defaultAgentProvider"_s, u"codex"_s);
    settings.set(u"defaultAgentModel"_s, u" gpt-5.5 "_s);
    settings.set(u"lastShipID"_s, uuidText(ship));
    draft = AgentDraft::blank(settings, now, utc);
    EXPECT_EQ(draft.model, (AgentModelChoice{AgentProvider::Codex, u"gpt-5.5"_s}));
    EXPECT_EQ(draft.shipID, ship);
}

TEST(AgentEditor, EveryFieldOfTheFormIsOneOfTheRecord)
{
    const JSONObject record = [] {
        SchedulerSlot slot;
        slot.model = u"m"_s;
        slot.captainDecides = slot.keepSessionOpen = true;
        slot.preflight = u"p"_s;
        slot.maxUsagePercent = 5;
        slot.addDirs = QStringList{u"/"_s};
        slot.shipID = QUuid();
        return encodeRecord(slot);
    }();
    QStringList keys;
    for (const auto &field : AgentEditor::fields()) {
        const QString key = field.key.toString();
        EXPECT_TRUE(record.find(key)) << key.toStdString();
        EXPECT_FALSE(keys.contains(key));
        EXPECT_EQ(AgentEditor::field(key), &field);
        keys.append(key);
    }
}

} // namespace Keelhaven
