#include "Scheduler/Model/RunRecord.h"

#include <gtest/gtest.h>
#include <limits>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

TEST(RunOutcome, EachCaseInItsThreeForms)
{
    const struct
    {
        RunOutcome outcome;
        const char *json;
        const char *key;
        const char *label;
        bool isFailure;
    } cases[] = {
        {RunOutcome::processExited(1), R"({"processExited": {"code": 1}})", "process_exited", "exited (1)",
         true},
        {RunOutcome::processExited(0), R"({"processExited": {"code": 0}})", "process_exited", "exited",
         false},
        {RunOutcome::preflightFailed(u"no"_s), R"({"preflightFailed": {"output": "no"}})", "preflight_failed",
         "preflight failed", true},
        {RunOutcome::launchFailed(u"x"_s), R"({"launchFailed": {"reason": "x"}})", "launch_failed",
         "launch failed", true},
        {RunOutcome::completed(), R"({"completed": {}})", "completed", "completed", false},
        {RunOutcome::timeout(), R"({"timeout": {}})", "timeout", "timed out", true},
        {RunOutcome::skippedMissedWindow(), R"({"skippedMissedWindow": {}})", "skipped_missed_window",
         "skipped (missed window)", false},
        {RunOutcome::skippedNoChanges(), R"({"skippedNoChanges": {}})", "skipped_no_changes",
         "skipped (no changes)", false},
        {RunOutcome::cancelled(), R"({"cancelled": {}})", "cancelled", "cancelled", false},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(JSONCodec<RunOutcome>::encode(test.outcome).encoded().toStdString(), test.json);
        EXPECT_EQ(JSONCodec<RunOutcome>::decode(*JSONValue::parse(QByteArrayView(test.json))), test.outcome);
        EXPECT_EQ(test.outcome.key().toStdString(), test.key);
        EXPECT_EQ(test.outcome.label().toStdString(), test.label);
        EXPECT_EQ(test.outcome.isFailure(), test.isFailure) << test.json;
    }
    for (const char *bad : {R"({"launchFailed":{}})", R"({"processExited":{"code":5000000000}})",
                            R"({"exploded":{}})", R"("completed")", "{}"})
        EXPECT_FALSE(JSONCodec<RunOutcome>::decode(*JSONValue::parse(QByteArrayView(bad)))) << bad;
}

TEST(RunRecord, SurvivesItsJSONAndLeavesOutWhatIsNotSet)
{
    RunRecord record;
    record.slotID = QUuid::createUuid();
    record.slotName = u"Nightly"_s;
    record.cwd = u"/w"_s;
    record.command = u"go"_s;
    record.startedAt = Date(std::chrono::milliseconds(1772600707890));
    QStringList keys = encodeRecord(record).keys();
    keys.sort();
    EXPECT_EQ(keys.join(u' '), u"command cwd id slotID slotName startedAt trigger"_s);
    EXPECT_EQ(encodeRecord(record)[u"startedAt"]->stringValue(), u"2026-03-04T05:05:07.890Z"_s);
    EXPECT_EQ(encodeRecord(record)[u"slotID"]->stringValue(),
              record.slotID.toString(QUuid::WithoutBraces).toUpper());

    record.projectDir = u"/p"_s;
    record.trigger = RunTrigger::Captain;
    record.endedAt = record.startedAt + std::chrono::seconds(90);
    record.outcome = RunOutcome::launchFailed(u"no"_s);
    record.sessionID = record.completionMessage = record.scrollbackFile = record.resumeSessionID = u"s"_s;
    record.stalledAt = record.feedbackAt = record.endedAt;
    record.hidden = true;
    record.provider = AgentProvider::Codex;
    record.model = record.workItemID = record.dispatchID = record.summary = record.feedback = u"t"_s;
    record.shipID = record.captainRunID = record.launchRunID = record.feedbackSeenByRunID =
        QUuid::createUuid();
    record.agentKind = SlotKind::Dispatch;
    record.usage = RunUsage{1, 2, 3, 4};
    EXPECT_EQ(decodeRecord<RunRecord>(encodeRecord(record)).value(), record);
    EXPECT_EQ(encodeRecord(record).size(), 29);
    EXPECT_EQ(record.minutes(), 1.5);
    EXPECT_EQ(record.usage->workTokens(), 6);
    constexpr qint64 most = std::numeric_limits<qint64>::max();
    EXPECT_EQ((RunUsage{1, most, most, 0}.workTokens()), most);
}

TEST(RunRecord, UnknownTriggersReadAsManual)
{
    RunRecord record;
    JSONObject json = encodeRecord(record);
    json.set(u"trigger"_s, u"telepathy"_s);
    EXPECT_EQ(decodeRecord<RunRecord>(json)->trigger, RunTrigger::Manual);
    json.set(u"startedAt"_s, u"yesterday"_s);
    EXPECT_EQ(decodeRecord<RunRecord>(json).error().message(), u"startedAt: bad ISO-8601 date: yesterday"_s);
}

} // namespace
} // namespace Keelhaven
