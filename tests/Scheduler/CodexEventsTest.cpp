#include "Scheduler/Model/CodexEvents.h"

#include "Platform/Uuid.h"
#include "Support/TestHome.h"

#include <gtest/gtest.h>
#include <random>

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

const QString logName = u"logs/%1.jsonl"_s.arg(uuidText(runID));

QByteArray line(const QByteArray &type, double ts, const QByteArray &more = {})
{
    return R"({"ts":)" + QByteArray::number(ts, 'f', 1) + R"(,"type":")" + type +
           R"(","provider":"codex","run_id":")" + uuidText(runID).toLatin1() + '"' + more + "}\n";
}

void append(const TestHome &home, const QByteArray &bytes)
{
    QFile file(home.path(logName));
    QDir().mkpath(home.path(u"logs"_s));
    ASSERT_TRUE(file.open(QIODevice::Append));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

/// Whatever is left out must not change what is made of the log, wherever the events of the turn begin.
TEST(CodexEvents, FollowingALogTellsTheSameAsReadingAllOfIt)
{
    const auto seed = std::random_device()();
    std::mt19937 random(seed);
    SCOPED_TRACE(seed);
    const auto oneOf = [&](const QByteArrayList &list) { return list[qsizetype(random() % list.size())]; };
    const QByteArrayList types{"UserPromptSubmit", "Stop",          "PreToolUse",   "PostToolUse",
                               "PreToolUse",       "PostToolUse",   "SubagentStop", "PermissionRequest",
                               "Interrupt",        "SubagentStart", "SessionStart", "SessionEnd"};
    for (int round = 0; round < 50; ++round) {
        const TestHome home;
        CodexEvents::Reader reader(home.path(u"logs"_s));
        QByteArray bytes;
        double ts = 1000;
        for (int i = 0; i < 40; ++i) {
            ts += double(random() % 4) - 0.5; // now and then one that was written late
            bytes += line(oneOf(types), ts,
                          R"(,"session_id":")" + oneOf({"s", "s", "s", "s", "t"}) + R"(","turn_id":")" +
                              oneOf({"1", "2"}) + R"(","agent_id":")" + oneOf({"a", "b"}) +
                              R"(","last_message":"m)" + QByteArray::number(i) + '"');
        }
        while (!bytes.isEmpty()) {
            const qsizetype count = std::min<qsizetype>(bytes.size(), qsizetype(random() % 900) + 1);
            append(home, bytes.first(count));
            bytes.remove(0, count);
            const auto followed = reader(runID);
            const auto all = CodexEvents::read(runID, home.path(u"logs"_s));
            RunMatcher::RunKey key;
            key.runID = runID;
            ASSERT_EQ(CodexEvents::assess(key, followed), CodexEvents::assess(key, all));
            key.eventFloor = dateFromSeconds(1000 + double(random() % 60));
            ASSERT_EQ(CodexEvents::assess(key, followed), CodexEvents::assess(key, all));
        }
    }
}

TEST(CodexEvents, AFloodCostsNeitherMemoryNorTheSession)
{
    const TestHome home;
    const QByteArray session = R"(,"session_id":"s")";
    const QByteArray calls = line("PreToolUse", 2, session) + line("PostToolUse", 3, session);
    append(home, line("SessionStart", 1, session) + calls.repeated(25000));
    CodexEvents::Reader reader(home.path(u"logs"_s));
    EXPECT_LE(reader(runID).size(), 3);
    const auto size = QFileInfo(home.path(logName)).size();
    ASSERT_GT(size, CodexEvents::lookLimit);
    append(home, line("Stop", 4, session + R"(,"turn_id":"1")"));
    qint64 looks = 1;
    while (!assess(reader(runID)).completed && looks < 99)
        ++looks;
    EXPECT_EQ(looks, size / CodexEvents::lookLimit);
    EXPECT_EQ(reader(runID).size(), 3);
    const auto beginning = CodexEvents::read(runID, home.path(u"logs"_s));
    EXPECT_NEAR(double(beginning.size()), double(CodexEvents::lookLimit * 50000 / size), 2);

    // Turns cannot be left out, but the oldest go in the end.
    const QByteArray message = R"(,"turn_id":"1","last_message":")" + QByteArray(1 << 20, 'x') + '"';
    for (int i = 0; i < 60; ++i) {
        append(home, line("UserPromptSubmit", 5 + i, session) + line("Stop", 5 + i, session + message));
        EXPECT_LT(reader(runID).size(), 40);
    }
    append(home,
           QByteArray(CodexEvents::longestLine + 1, 'x') + '\n' + line("UserPromptSubmit", 99, session));
    const auto result = assess(reader(runID));
    EXPECT_EQ(result.capturedSessionID, u"s"_s);
    EXPECT_FALSE(result.completed);
    EXPECT_EQ(result.lastActivityAt, dateFromSeconds(99));
}

TEST(CodexEvents, OldLogsGoButNotThoseInUse)
{
    const TestHome home;
    const Date now(std::chrono::seconds(1772600707));
    const QUuid used = QUuid::createUuid();
    const auto add = [&](const QString &name, std::chrono::seconds age) {
        QFile file(home.write(u"logs/"_s + name, "x"));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        const qint64 written =
            std::chrono::duration_cast<std::chrono::seconds>((now - age).time_since_epoch()).count();
        ASSERT_TRUE(
            file.setFileTime(QDateTime::fromSecsSinceEpoch(written), QFileDevice::FileModificationTime));
    };
    const auto nameOf = [](const QUuid &id) { return uuidText(id) + u".jsonl"_s; };
    const QString young = nameOf(QUuid::createUuid());
    constexpr std::chrono::seconds month(30 * 86400);
    add(nameOf(QUuid::createUuid()), month + std::chrono::seconds(1));
    add(young, month);
    add(nameOf(used), 2 * month);
    add(u"notes.jsonl"_s, 2 * month);
    const QString folder = home.path(u"logs"_s);
    CodexEvents::removeOldLogs(folder, {used}, now);
    QStringList left{young, nameOf(used), u"notes.jsonl"_s};
    left.sort();
    EXPECT_EQ(QDir(folder).entryList(QDir::Files, QDir::Name), left);
    CodexEvents::removeLog(used, folder);
    EXPECT_FALSE(QFile::exists(folder + u'/' + nameOf(used)));
    CodexEvents::removeOldLogs(home.path(u"none"_s), {}, now);
}

} // namespace
} // namespace Keelhaven
