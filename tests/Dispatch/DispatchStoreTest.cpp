#include "Dispatch/DispatchStore.h"

#include "Support/TestHome.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const Date noon = *dateFromLooseISOText(u"2026-03-04T12:00:00Z");

DispatchRecord recordNamed(const QString &id)
{
    DispatchRecord record;
    record.id = id;
    record.eventID = u"tg:1"_s;
    record.receivedAt = noon;
    record.messageText = u"do it"_s;
    return record;
}

/// A record that an older version wrote, with these further members.
Decoded<DispatchRecord> decoded(const QByteArray &members)
{
    return decodeRecordBytes<DispatchRecord>(
        R"({"id": "ab12cd34", "receivedAt": "2026-03-04T12:00:00.000Z", "messageText": "do it")" +
        (members.isEmpty() ? QByteArray() : ", " + members) + '}');
}

class DispatchStoreTest : public ::testing::Test
{
protected:
    /// Writes a response file and dates it `minute` minutes after noon.
    void respond(const QString &name, int minute, const QByteArray &bytes = "{}") const
    {
        QFile file(home.write(u"dispatch/outbox/"_s + name, bytes));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(toQDateTime(noon + std::chrono::minutes(minute)),
                                     QFileDevice::FileModificationTime));
    }
    [[nodiscard]] bool exists(const QString &relative) const
    {
        return QFileInfo::exists(home.path(u"dispatch/"_s + relative));
    }

    TestHome home;
    DispatchStore store{home.path(u"dispatch"_s)};
};

} // namespace

TEST(DispatchRecord, RecordsOfOlderLedgersKeepTheirMeaning)
{
    struct Row
    {
        QByteArray members;
        QString eventID;
        DispatchSource source;
        std::optional<ChatAddress> chat;
        QStringList messageIDs;
    };
    using enum DispatchSource;
    const Row rows[]{
        {"", {}, Telegram, {}, {}},
        {R"("updateID": 7)", u"tg:7"_s, Telegram, {}, {}},
        {R"("updateID": 0)", u"tg:0"_s, Telegram, {}, {}},
        {R"("updateID": -7)", u"app:-7"_s, App, {}, {}},
        {R"("updateID": -7, "source": "slack")", u"app:-7"_s, Slack, {}, {}},
        {R"("eventID": "app:1", "updateID": 9)", u"app:1"_s, App, {}, {}},
        {R"("eventID": null, "updateID": 9)", u"tg:9"_s, Telegram, {}, {}},
        {R"("chatID": 123)", {}, Telegram, ChatAddress{ChannelKind::Telegram, u"123"_s}, {}},
        {R"("chatID": 1, "chat": {"channel": "slack", "id": "D1"})",
         {},
         Telegram,
         ChatAddress{ChannelKind::Slack, u"D1"_s},
         {}},
        {R"("messageIDs": [11, 12])", {}, Telegram, {}, {u"11"_s, u"12"_s}},
        {R"("messageIDs": ["11", "x"])", {}, Telegram, {}, {u"11"_s, u"x"_s}},
        {R"("messageIDs": [])", {}, Telegram, {}, {}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.members.toStdString());
        const auto record = decoded(row.members);
        ASSERT_TRUE(record);
        EXPECT_EQ(record->eventID, row.eventID);
        EXPECT_EQ(record->source, row.source);
        EXPECT_EQ(record->chat, row.chat);
        EXPECT_EQ(record->messageIDs, row.messageIDs);
        EXPECT_EQ(record->status, DispatchStatus::Received);
    }
    EXPECT_FALSE(decoded(R"("status": "lost")"));
    const auto followUps = decoded(
        R"("followUps": [{"updateID": 3, "text": "a", "receivedAt": "2026-03-04T12:00:00.000Z"},
                         {"eventID": "sl:1", "updateID": 4, "text": "b", "receivedAt": "2026-03-04T12:00:00.000Z"},
                         {"text": "c", "receivedAt": "2026-03-04T12:00:00.000Z"}])");
    ASSERT_TRUE(followUps);
    EXPECT_EQ(followUps->followUps[0].eventID, u"tg:3"_s);
    EXPECT_EQ(followUps->followUps[1].eventID, u"sl:1"_s);
    EXPECT_FALSE(followUps->followUps[2].eventID);
}

TEST(DispatchRecord, NamesItselfAfterTheTaskOrTheMessage)
{
    DispatchRecord record = DispatchRecord::fromApp(u"👩‍👩‍👧"_s.repeated(41), noon);
    EXPECT_EQ(record.displayName(), u"👩‍👩‍👧"_s.repeated(40))
        << "characters as a person sees them";
    EXPECT_TRUE(record.eventID.startsWith(u"app:"));
    EXPECT_NE(record.eventID.sliced(4), record.id);
    EXPECT_EQ(record.id.size(), 8);
    EXPECT_EQ(record.source, DispatchSource::App);
    EXPECT_FALSE(record.isTask() || record.chat);
    record.taskName = u"Page"_s;
    EXPECT_EQ(record.displayName(), u"Page");
}

TEST(DispatchRecord, SettledMeansNothingIsUnderWay)
{
    using enum DispatchStatus;
    for (const auto status : {Received, Dispatching, TaskCreated, Continuing})
        EXPECT_FALSE(isSettled(status));
    for (const auto status : {Rejected, Failed, Completed, Cancelled, Forwarded, Answered})
        EXPECT_TRUE(isSettled(status));
}

TEST_F(DispatchStoreTest, ARecordComesBackWhole)
{
    DispatchRecord record = recordNamed(u"ab12cd34"_s);
    record.chat = ChatAddress{ChannelKind::Slack, u"D1"_s};
    record.source = DispatchSource::Slack;
    record.status = DispatchStatus::Continuing;
    record.dispatcherSlotID = QUuid::createUuid();
    record.taskSlotID = QUuid::createUuid();
    for (auto *text : {&record.projectName, &record.error, &record.replyText, &record.forwardedTaskID,
                       &record.taskName, &record.projectPath, &record.workspaceSlug, &record.workerModel,
                       &record.prompt, &record.taskDir, &record.sessionID, &record.completionMessage,
                       &record.deliveryError, &record.pendingFollowUp, &record.workItemID})
        *text = QUuid::createUuid().toString();
    record.workspacePlugins = QStringList{u"p@m"_s};
    record.workerProvider = AgentProvider::Codex;
    record.messageIDs = QStringList{u"1.2"_s};
    record.runIDs = {QUuid::createUuid()};
    record.result = TaskResult{u"done"_s, {{u"/a.png"_s, u"image"_s, {}}}, {u"https://x.org"_s}};
    record.completedAt = noon;
    record.followUps = {{u"sl:2"_s, u"and blue"_s, noon}};
    record.shipID = QUuid::createUuid();
    ASSERT_TRUE(store.save({record, recordNamed(u"ef56ab78"_s)}));
    EXPECT_EQ(store.load(), (QList<DispatchRecord>{record, recordNamed(u"ef56ab78"_s)}));
    const auto json = JSONValue::parse(home.read(u"dispatch/dispatches.json"_s));
    EXPECT_EQ((*json)[u"version"]->intValue(), 2);
}

TEST_F(DispatchStoreTest, ADamagedLedgerLosesAsLittleAsItCan)
{
    EXPECT_TRUE(store.load().isEmpty()) << "no ledger yet";
    const QByteArray good = R"({"id": "a1", "receivedAt": "2026-03-04T12:00:00.000Z", "messageText": "x"})";
    const QByteArray bad = R"({"id": "a2", "receivedAt": "2026-03-04T12:00:00.000Z"})";
    home.write(u"dispatch/dispatches.json"_s, "{\"dispatches\": [" + bad + ", 3, " + good + "]}");
    const auto loaded = store.load();
    ASSERT_EQ(loaded.size(), 1);
    EXPECT_EQ(loaded.first().id, u"a1");
    for (const QByteArray &ledger : {QByteArray("{\"version\": 2}"), "[" + good + "]", good.first(20)}) {
        home.write(u"dispatch/dispatches.json"_s, ledger);
        EXPECT_TRUE(store.load().isEmpty()) << ledger.toStdString();
    }
}

TEST_F(DispatchStoreTest, TheOldestRecordsAndTheirFoldersGo)
{
    QList<DispatchRecord> records;
    for (int i = 0; i < 101; ++i)
        records.append(recordNamed(u"id%1"_s.arg(i, 6, 10, QChar(u'0'))));
    ASSERT_TRUE(store.createTaskDir(records[0].id));
    home.write(u"dispatch/tasks/%1/result.json"_s.arg(records[100].id), R"({"summary": "old"})");
    home.write(u"dispatch/tasks/nobody/work/deep.txt"_s, "x");
    home.write(u"dispatch/tasks/stray.txt"_s, "x");
    home.write(u"precious/keep.txt"_s, "x");
    ASSERT_TRUE(QFile::link(home.path(u"precious"_s), home.path(u"dispatch/tasks/link"_s)));
    EXPECT_EQ(store.readResult(records[100].id)->summary, u"old"_s);
    ASSERT_TRUE(store.save(records));
    const auto kept = store.load();
    EXPECT_EQ(kept.size(), 100);
    EXPECT_EQ(kept.last().id, records[99].id);
    EXPECT_EQ(QDir(home.path(u"dispatch/tasks"_s))
                  .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System),
              QStringList{records[0].id});
    EXPECT_EQ(home.read(u"precious/keep.txt"_s), "x") << "a link goes, not what it points to";
    EXPECT_FALSE(store.readResult(records[100].id));
}

TEST_F(DispatchStoreTest, ALedgerThatCannotBeWrittenIsAnError)
{
    home.write(u"dispatch"_s, "a file stands in the folder's place");
    EXPECT_FALSE(store.save({recordNamed(u"a1"_s)}));
}

TEST_F(DispatchStoreTest, ResponsesWaitOldestFirst)
{
    EXPECT_TRUE(store.pendingResponses().isEmpty()) << "no folder yet";
    respond(u"b.response.json"_s, 1);
    respond(u"a.response.json"_s, 2);
    respond(u"c.response.json"_s, 0);
    respond(u"d.response.json.tmp"_s, 0);
    respond(u"e.json"_s, 0);
    QStringList names;
    for (const QString &path : store.pendingResponses())
        names.append(QFileInfo(path).fileName());
    EXPECT_EQ(names, (QStringList{u"c.response.json"_s, u"b.response.json"_s, u"a.response.json"_s}));
    EXPECT_TRUE(exists(u"outbox/e.json"_s));
}

TEST_F(DispatchStoreTest, DealtWithFilesGoToTheArchiveOverOlderCopies)
{
    DispatchRequestFile request;
    request.dispatchID = u"ab12cd34"_s;
    request.receivedAt = noon;
    request.responsePath = store.responseURL(request.dispatchID);
    request.ships =
        QList<DispatchRequestFile::ShipOption>{{u"S"_s, u"Web"_s, {}, {}, {{u"A"_s, u"n"_s, u"c"_s}}, {}}};
    const auto path = store.writeRequest(request);
    ASSERT_TRUE(path);
    EXPECT_EQ(*path, home.path(u"dispatch/inbox/ab12cd34.request.json"_s));
    const auto bytes = home.read(u"dispatch/inbox/ab12cd34.request.json"_s);
    EXPECT_EQ(decodeRecordBytes<DispatchRequestFile>(bytes), request);
    EXPECT_FALSE(bytes.contains("root_folder")) << "what is absent has no key";

    home.write(u"dispatch/archive/ab12cd34.response.json"_s, "older");
    respond(u"ab12cd34.response.json"_s, 0, "newer");
    store.archive(request.dispatchID);
    EXPECT_FALSE(exists(u"inbox/ab12cd34.request.json"_s) || exists(u"outbox/ab12cd34.response.json"_s));
    EXPECT_TRUE(exists(u"archive/ab12cd34.request.json"_s));
    EXPECT_EQ(home.read(u"dispatch/archive/ab12cd34.response.json"_s), "newer");

    home.write(u"dispatch/archive/gone.response.json"_s, "kept");
    store.archiveFile(store.responseURL(u"gone"_s));
    EXPECT_EQ(home.read(u"dispatch/archive/gone.response.json"_s), "kept") << "nothing takes its place";
}

TEST_F(DispatchStoreTest, AnIDCannotLeadOutOfTheFolders)
{
    home.write(u"secret.request.json"_s, "x");
    home.write(u"secret/result.json"_s, R"({"summary": "s"})");
    for (const QString &id : {u"../../secret"_s, u"/etc"_s, u".."_s, QString(), u"a/b"_s, u"a\0b"_s}) {
        EXPECT_FALSE(store.createTaskDir(id));
        EXPECT_FALSE(store.readResult(id));
        DispatchRequestFile request;
        request.dispatchID = id;
        EXPECT_FALSE(store.writeRequest(request));
        store.archive(id);
    }
    EXPECT_EQ(home.read(u"secret.request.json"_s), "x");
}

TEST_F(DispatchStoreTest, ResponsesAreReadAsLenientlyAsTheyCanBe)
{
    struct Row
    {
        QByteArray task;
        QStringList plugins;
        std::optional<QString> model;
    };
    const Row rows[]{
        {R"({"plugins": ["a ", "", " b"], "model": " opus "})", {u"a"_s, u"b"_s}, u"opus"_s},
        {R"({"plugins": "a"})", {u"a"_s}, {}},
        {R"({"plugins": 7, "model": "   "})", {}, {}},
        {R"({"plugins": ["a", 7], "model": 7})", {}, {}},
        {"{}", {}, {}},
    };
    for (const auto &row : rows) {
        respond(u"a.response.json"_s, 0,
                R"({"dispatch_id": "a", "action": "create_task", "task": )" + row.task + '}');
        const auto response = store.readResponse(store.responseURL(u"a"_s));
        ASSERT_TRUE(response && response->task) << row.task.toStdString();
        EXPECT_EQ(response->task->plugins, row.plugins);
        EXPECT_EQ(response->task->model, row.model);
        EXPECT_EQ(response->task->prompt, QString());
    }
    for (const QByteArray &useless : {QByteArray(R"({"dispatch_id": "a", "action": "dance"})"),
                                      QByteArray(R"({"action": "reply"})"), QByteArray("{")}) {
        respond(u"a.response.json"_s, 0, useless);
        EXPECT_FALSE(store.readResponse(store.responseURL(u"a"_s)));
    }
    EXPECT_FALSE(store.readResponse(store.responseURL(u"nobody"_s)));
}

} // namespace Keelhaven
