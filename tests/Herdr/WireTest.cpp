#include "Herdr/Wire/HerdrEnvelope.h"
#include "Herdr/Wire/HerdrParams.h"
#include "Herdr/Wire/HerdrRecords.h"
#include "Herdr/Wire/HerdrStatusJSON.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace Herdr;

namespace {

/// The record's form on the wire is `text`, and it reads back as itself.
template <TableRecord R>
void expectWire(const R &record, const char *text)
{
    const auto json = JSONValue::parse(QByteArrayView(text));
    ASSERT_TRUE(json) << text;
    EXPECT_EQ(JSONValue(encodeRecord(record)).serialized().toStdString(), json->serialized().toStdString());
    const auto back = decodeRecord<R>(*json);
    ASSERT_TRUE(back) << back.error().message().toStdString();
    EXPECT_EQ(*back, record);
}

const AgentInfo agent{u"web-1a2b"_s, u"codex"_s, u"p1"_s, u"t1"_s, u"w1"_s, Status::Done, true, false};
constexpr auto agentText =
    R"({"name":"web-1a2b","agent":"codex","pane_id":"p1","tab_id":"t1","workspace_id":"w1","agent_status":"done","launch_pending":true,"interactive_ready":false})";

} // namespace

TEST(HerdrWire, ParametersLeaveOutWhatIsAbsentAndKeepTheirOrder)
{
    expectWire(NoParams(), "{}");
    expectWire(WorkspaceCreateParams(), R"({"focus":false})");
    expectWire(WorkspaceCreateParams{u"Runs"_s, u"/p"_s, {{{u"A"_s, u"1"_s}}}, true},
               R"({"label":"Runs","cwd":"/p","env":{"A":"1"},"focus":true})");
    expectWire(TabCreateParams{u"w1"_s, u"Web"_s, {}, {}, false},
               R"({"workspace_id":"w1","label":"Web","focus":false})");
    expectWire(TabListParams(), "{}");
    expectWire(TabRenameParams{u"t1"_s, u"Web"_s}, R"({"tab_id":"t1","label":"Web"})");
    expectWire(PaneSendTextParams{u"p1"_s, u"\r"_s}, R"({"pane_id":"p1","text":"\r"})");
    PaneReadParams read;
    read.paneId = u"p1"_s;
    expectWire(read, R"({"pane_id":"p1","source":"recent","strip_ansi":true,"format":"text"})");
    read.lines = 40;
    expectWire(read, R"({"pane_id":"p1","source":"recent","lines":40,"strip_ansi":true,"format":"text"})");
    expectWire(AgentStartParams{u"n"_s, u"claude"_s, u"p1"_s, {}, {}},
               R"({"name":"n","kind":"claude","pane_id":"p1","args":[]})");
    expectWire(AgentStartParams{u"n"_s, u"claude"_s, u"p1"_s, {u"-x"_s}, 60000},
               R"({"name":"n","kind":"claude","pane_id":"p1","args":["-x"],"timeout_ms":60000})");
    expectWire(AgentPromptParams{u"n"_s, u"hi"_s}, R"({"target":"n","text":"hi"})");
}

TEST(HerdrWire, ResultsReadAndWriteBack)
{
    const WorkspaceInfo workspace{u"w1"_s, u"Runs"_s, {}};
    const TabInfo tab{u"t1"_s, u"w1"_s, u"Web"_s};
    const PaneInfo pane{u"p1"_s, u"t1"_s, u"w1"_s, u"/p"_s, {}, Status::Idle};
    expectWire(Pong{u"0.9.1"_s, 22}, R"({"version":"0.9.1","protocol":22})");
    expectWire(agent, agentText);
    expectWire(AgentInfo{{}, {}, u"p"_s, u"t"_s, u"w"_s, {}, {}, {}},
               R"({"pane_id":"p","tab_id":"t","workspace_id":"w"})");
    expectWire(
        WorkspaceCreated{workspace, tab, pane},
        R"({"workspace":{"workspace_id":"w1","label":"Runs"},"tab":{"tab_id":"t1","workspace_id":"w1","label":"Web"},
                   "root_pane":{"pane_id":"p1","tab_id":"t1","workspace_id":"w1","cwd":"/p","agent_status":"idle"}})");
    expectWire(PaneRead{{u"$ "_s, true}}, R"({"read":{"text":"$ ","truncated":true}})");
    expectWire(HerdrStatusJSON{{u"0.9.1"_s, 22, {}, {}}, {true, {}, 22, true, u"/s"_s, {}, false}},
               R"({"client":{"version":"0.9.1","protocol":22},
                   "server":{"running":true,"protocol":22,"compatible":true,"socket":"/s","restart_needed":false}})");
    EXPECT_TRUE(decodeRecordBytes<Ack>(R"({"type":"ok","anything":[1]})"));
}

TEST(HerdrWire, RefusesWhatItDoesNotKnow)
{
    const auto status = decodeRecordBytes<AgentList>(
        R"({"agents":[{"pane_id":"p","tab_id":"t","workspace_id":"w","agent_status":"asleep"}]})");
    ASSERT_FALSE(status);
    EXPECT_EQ(status.error().path, u"agents.0.agent_status");
    EXPECT_FALSE(decodeRecordBytes<PaneRead>(R"({"read":{"text":"x"}})"));
    EXPECT_FALSE(decodeRecordBytes<Pong>(R"({"version":"1","protocol":"22"})"));
    EXPECT_FALSE(decodeRecordBytes<HerdrEnvelope<Ack>>(R"({"error":{"code":"x"}})"));
}

TEST(HerdrWire, RequestIdsAreNewAndShort)
{
    const QString id = newHerdrRequestID();
    EXPECT_TRUE(QRegularExpression(u"^kh-[0-9A-F]{8}$"_s).match(id).hasMatch()) << id.toStdString();
    EXPECT_NE(id, newHerdrRequestID());
    expectWire(HerdrRequest<PaneTarget>{u"kh-1"_s, u"pane.close"_s, {u"p1"_s}},
               R"({"id":"kh-1","method":"pane.close","params":{"pane_id":"p1"}})");
}

} // namespace Keelhaven
