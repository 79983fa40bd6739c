#include "Scheduler/Model/SchedulerSlot.h"

#include "Support/MemorySettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using testing::IsEmpty;

Decoded<SchedulerSlot> decoded(const QByteArray &members)
{
    const QByteArray schedule = R"("command":"go","schedule":{"kind":"everyHours","interval":1})";
    return decodeRecordBytes<SchedulerSlot>("{" + schedule + (members.isEmpty() ? "" : ",") + members + "}");
}

QStringList keysOf(const SchedulerSlot &slot)
{
    QStringList keys = encodeRecord(slot).keys();
    keys.sort();
    return keys;
}

TEST(SchedulerSlot, AFileWithTheBareMinimumGetsTheDefaults)
{
    const auto slot = decoded("");
    ASSERT_TRUE(slot);
    SchedulerSlot expected;
    expected.id = slot->id;
    expected.command = u"go"_s;
    expected.schedule.rule = ScheduleSpec::EveryHours{1, std::nullopt};
    EXPECT_EQ(*slot, expected);
    EXPECT_FALSE(slot->id.isNull());
    EXPECT_EQ(slot->timeoutMinutes, 90);
    EXPECT_EQ(slot->stallMinutes, 10);
    EXPECT_TRUE(slot->keepAwake && slot->closeFinishedTab && !slot->enabled);
    EXPECT_EQ(keysOf(*slot).join(u' '), u"closeFinishedTab command cwd cwds enabled id keepAwake name "
                                        u"plugins priority provider runOnlyIfChanged "
                                        "schedule stallMinutes timeoutMinutes workspaceMode"_s);
}

TEST(SchedulerSlot, EveryPersistedFieldSurvivesTheFile)
{
    SchedulerSlot slot;
    slot.name = u"Nightly"_s;
    slot.model = u"opus"_s;
    slot.cwds = {u"/a"_s, u"/b"_s};
    slot.command = u"/sweep"_s;
    slot.schedule.rule = ScheduleSpec::Weekly{{2, 4}, {{9, 0}}};
    slot.captainDecides = slot.runOnlyIfChanged = slot.keepSessionOpen = slot.enabled = true;
    slot.keepAwake = slot.closeFinishedTab = false;
    slot.preflight = u"make"_s;
    slot.priority = -2;
    slot.timeoutMinutes = 5;
    slot.stallMinutes = 3;
    slot.maxUsagePercent = 0;
    slot.lastRunHeads = QMap<QString, QString>{{u"/a"_s, u"abc"_s}};
    slot.lastFiredAt = Date(std::chrono::milliseconds(1772600707890));
    slot.workspaceMode = WorkspaceMode::PerFolder;
    slot.plugins = {u"p@m"_s};
    slot.workspaceSlug = u"nightly"_s;
    slot.addDirs = {u"/x"_s};
    slot.shipID = QUuid::createUuid();
    slot.kind = SlotKind::Oneoff;
    slot.workItemID = u"w"_s;
    slot.dispatchID = u"d"_s;
    EXPECT_EQ(decodeRecord<SchedulerSlot>(encodeRecord(slot)).value(), slot);

    SchedulerSlot transient = slot;
    transient.herdrWorkspace = u"label"_s;
    transient.captainRunID = QUuid::createUuid();
    EXPECT_EQ(encodeRecord(transient), encodeRecord(slot)) << "what callers set for one run is never stored";
}

TEST(SchedulerSlot, OlderFilesAndTheirKeys)
{
    const auto folder = decoded(R"("cwd":"/a")").value();
    EXPECT_EQ(folder.cwds, QStringList{u"/a"_s});
    EXPECT_EQ(encodeRecord(folder)[u"cwd"]->stringValue(), u"/a"_s);
    EXPECT_EQ(encodeRecord(folder)[u"cwds"]->serialized(), u"[\"/a\"]"_s);
    EXPECT_EQ(decoded(R"("cwd":"/a","cwds":["/b","/c"])")->cwd(), u"/b"_s);
    EXPECT_THAT(decoded(R"("cwd":"/a","cwds":[])")->cwds, IsEmpty());

    const auto plugins = decoded(R"("workspacePlugins":["p"])").value();
    EXPECT_EQ(plugins.plugins, QStringList{u"p"_s});
    EXPECT_EQ(encodeRecord(plugins)[u"workspacePlugins"]->serialized(), u"[\"p\"]"_s);
    EXPECT_THAT(decoded(R"("plugins":[],"workspacePlugins":["p"])")->plugins, IsEmpty());

    EXPECT_FALSE(decoded(R"("provider":"codex","enabled":true)")->enabled);
    EXPECT_TRUE(decoded(R"("enabled":true)")->enabled);
    EXPECT_EQ(decoded(R"("model":" opus\n")")->model, u"opus"_s);
    EXPECT_FALSE(decoded(R"("model":" \n")")->model);
    SchedulerSlot blank = decoded("").value();
    blank.model = QString();
    EXPECT_FALSE(encodeRecord(blank)[u"model"]);
}

TEST(SchedulerSlot, DecodingFailsOnlyOnMissingEssentialsAndWrongTypes)
{
    EXPECT_EQ(
        decodeRecordBytes<SchedulerSlot>(R"({"schedule":{"kind":"daily","times":[]}})").error().message(),
        u"command: missing"_s);
    EXPECT_EQ(decodeRecordBytes<SchedulerSlot>(R"({"command":"go"})").error().message(),
              u"schedule: missing"_s);
    EXPECT_FALSE(decoded(R"("priority":"high")"));
    EXPECT_FALSE(decoded(R"("provider":"other")"));
    EXPECT_TRUE(decoded(R"("priority":null,"fromTheFuture":{})"));
}

TEST(SchedulerSlot, NextFireDateRespectsProviderCaptainAndLastFiring)
{
    const Calendar utc{QTimeZone::utc()};
    const Date nine(std::chrono::sys_days(std::chrono::year(2026) / 3 / 4) + std::chrono::hours(9));
    SchedulerSlot slot;
    slot.schedule.rule = ScheduleSpec::Daily{{{9, 0}}};
    const auto before = nine - std::chrono::minutes(1);
    EXPECT_EQ(slot.nextFireDate(before, utc), nine);
    slot.lastFiredAt = nine + std::chrono::seconds(3);
    EXPECT_EQ(slot.nextFireDate(before, utc), nine + std::chrono::days(1));
    slot.lastFiredAt.reset();
    slot.captainDecides = true;
    EXPECT_FALSE(slot.nextFireDate(before, utc));
    slot.captainDecides = false;
    slot.provider = AgentProvider::Codex;
    EXPECT_FALSE(slot.nextFireDate(before, utc));
}

TEST(SchedulerSlot, HintsComeInOrder)
{
    const auto forbidden = [](const QString &path) { return path == u"/cache"; };
    SchedulerSlot slot;
    slot.provider = AgentProvider::Codex;
    slot.keepSessionOpen = true;
    slot.plugins = {u"p"_s};
    const auto hint = [&] { return slot.saveHint(forbidden).value_or(QString()); };
    EXPECT_EQ(hint(), u"Name the agent to save"_s);
    slot.name = u"n"_s;
    EXPECT_EQ(hint(), u"Add a project folder to save"_s);
    slot.cwds = {u"/ok"_s, u"/cache"_s};
    EXPECT_EQ(hint(), u"Enter a command or prompt to save"_s);
    slot.command = u" /sweep"_s;
    EXPECT_EQ(hint(), u"/cache — runs are not allowed inside ~/.claude/plugins — use a project directory"_s);
    slot.cwds.removeLast();
    EXPECT_EQ(hint(), u"Codex Phase 1 runs in project folders without Keelhaven plugin workspaces."_s);
    slot.plugins.clear();
    EXPECT_EQ(hint(), u"Use a plain-language prompt for Codex; Claude slash commands are not supported."_s);
    slot.command = u"sweep"_s;
    EXPECT_EQ(hint(),
              u"Codex follow-ups are manual in Herdr; managed parked sessions are not supported yet."_s);
    slot.keepSessionOpen = false;
    EXPECT_EQ(hint(), QString());
}

TEST(AgentProvider, UserDefaultsFallBackToClaudeWithoutAModel)
{
    MemorySettings settings;
    EXPECT_EQ(userDefaultChoice(settings), AgentModelChoice{});
    settings.set(u"defaultAgentProvider"_s, u"codex"_s);
    settings.set(u"defaultAgentModel"_s, u" gpt-5.5 "_s);
    EXPECT_EQ(userDefaultChoice(settings), (AgentModelChoice{AgentProvider::Codex, u"gpt-5.5"_s}));
    settings.set(u"defaultAgentProvider"_s, u"other"_s);
    settings.set(u"defaultAgentModel"_s, u"  "_s);
    EXPECT_EQ(userDefaultChoice(settings), AgentModelChoice{});
}

} // namespace
} // namespace Keelhaven
