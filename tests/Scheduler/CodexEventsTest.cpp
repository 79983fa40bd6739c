#include "Scheduler/Model/CodexEvents.h"

#include "Platform/Uuid.h"
#include "Support/TestHome.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

const QUuid runID = QUuid::createUuid();

/// "type[:id]": the id is a turn for prompts and stops, an agent for sub-agents. Each event is a second
/// later.
QList<EventRecord> story(const QStringList &steps)
{
    QList<EventRecord> events;
    for (const QString &step : QStringList{u"SessionStart"_s} + steps) {
        EventRecord event;
        event.ts = 1000 + double(events.size());
        event.type = step.section(u':', 0, 0);
        event.provider = u"codex"_s;
        event.runID = runID;
        event.sessionId = u"s"_s;
        const QString id = step.section(u':', 1);
        if (!id.isEmpty())
            (event.type.startsWith(u"Subagent") ? event.agentID : event.turnID) = id;
        event.lastMessage = u"said at "_s + step;
        events.append(event);
    }
    return events;
}

RunMatcher::Assessment assess(const QList<EventRecord> &events)
{
    RunMatcher::RunKey key;
    key.runID = runID;
    return CodexEvents::assess(key, events);
}

TEST(CodexEvents, ATurnEndsWithItsOwnStop)
{
    const struct
    {
        QStringList steps;
        bool completed;
    } cases[] = {
        {{u"UserPromptSubmit:1"_s, u"Stop:1"_s}, true},
        {{u"Stop:1"_s}, true},
        {{u"UserPromptSubmit:1"_s, u"Stop:2"_s}, false},
        {{u"UserPromptSubmit:1"_s, u"Stop"_s}, false},
        {{u"UserPromptSubmit:1"_s, u"Stop:1"_s, u"UserPromptSubmit:2"_s}, false},
        {{u"UserPromptSubmit:1"_s, u"Stop:1"_s, u"UserPromptSubmit:2"_s, u"Stop:1"_s}, false},
        {{u"UserPromptSubmit:1"_s, u"Stop:1"_s, u"Interrupt"_s}, false},
        {{u"UserPromptSubmit:1"_s, u"Stop:1"_s, u"PostToolUse"_s}, false},
        {{u"UserPromptSubmit:1"_s, u"SubagentStart:a"_s, u"Stop:1"_s}, false},
        {{u"UserPromptSubmit:1"_s, u"SubagentStart:a"_s, u"Stop:1"_s, u"SubagentStop:b"_s}, false},
        {{u"UserPromptSubmit:1"_s, u"SubagentStart:a"_s, u"Stop:1"_s, u"SubagentStop:a"_s}, true},
    };
    for (const auto &test : cases) {
        const auto result = assess(story(test.steps));
        EXPECT_EQ(result.completed, test.completed) << test.steps.join(u' ').toStdString();
        EXPECT_EQ(result.completionMessage.has_value(), test.completed);
        EXPECT_EQ(result.capturedSessionID, u"s"_s);
        EXPECT_EQ(result.lastActivityAt, Date(std::chrono::seconds(1000 + test.steps.size())));
    }
}

TEST(CodexEvents, WithoutASessionStartNothingIsKnown)
{
    auto events = story({u"Stop:1"_s});
    events.removeFirst();
    EXPECT_EQ(assess(events), RunMatcher::Assessment{});
}

TEST(CodexEvents, ReadKeepsTheRunsOwnGoodLines)
{
    const TestHome home;
    const QByteArray id = uuidText(runID).toLatin1();
    const QByteArray own = R"({"ts":1,"type":"Stop","provider":"codex","run_id":")" + id + R"("})";
    home.write(u"logs/%1.jsonl"_s.arg(uuidText(runID)),
               "  " + own + "  \n\n{broken\n[1]\n" + R"({"ts":2,"type":"Stop","provider":"codex"})" + "\n" +
                   R"({"ts":3,"type":"Stop","provider":"claude","run_id":")" + id + "\"}\n" + own);
    EXPECT_EQ(CodexEvents::read(runID, home.path(u"logs"_s)).size(), 2);
    EXPECT_TRUE(CodexEvents::read(QUuid::createUuid(), home.path(u"logs"_s)).isEmpty());
}

TEST(CodexEvents, ALogIsParsedAgainOnlyWhenItChanged)
{
    const TestHome home;
    const QByteArray line =
        R"({"ts":1,"type":"Stop","provider":"codex","run_id":")" + uuidText(runID).toLatin1() + "\"}\n";
    const QString file = u"logs/%1.jsonl"_s.arg(uuidText(runID));
    CodexEvents::Reader reader(home.path(u"logs"_s));
    EXPECT_TRUE(reader(runID).isEmpty());
    home.write(file, line);
    const auto first = reader(runID);
    EXPECT_EQ(first.size(), 1);
    EXPECT_TRUE(reader(runID).isSharedWith(first));
    home.write(file, line + line);
    EXPECT_EQ(reader(runID).size(), 2);
    QFile::remove(home.path(file));
    EXPECT_TRUE(reader(runID).isEmpty());
}

} // namespace
} // namespace Keelhaven
