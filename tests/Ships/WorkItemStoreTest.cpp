#include "Ships/WorkItemStore.h"

#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using Status = WorkItemStatus;

class WorkItemStoreTest : public ::testing::Test
{
protected:
    WorkItem add(const QString &title, Status status = Status::Open, const QUuid &owner = {})
    {
        clock.jump(std::chrono::seconds(1));
        WorkItem item =
            WorkItem::make(owner.isNull() ? ship : owner, title, WorkItemOrigin::Captain, clock.now());
        item.status = status;
        return store.upsert(item).value();
    }
    HumanQuestion question(const QString &id, int secondsAgo = 0)
    {
        return {.id = id,
                .question = id + u'?',
                .options = {u"yes"_s, u"no"_s},
                .answer = {},
                .askedAt = clock.now() - std::chrono::seconds(secondsAgo),
                .answeredAt = {},
                .dismissedAt = {},
                .runID = {}};
    }
    Status statusOf(const QString &id) { return store.item(id).value().status; }
    QString titles()
    {
        QStringList list;
        for (const WorkItem &item : store.items())
            list.append(item.title);
        return list.join(u' ');
    }
    QString open(const std::optional<QUuid> &owner)
    {
        QStringList list;
        for (const auto &[item, asked] : store.openQuestions(owner))
            list.append(item.title + u':' + asked.id);
        EXPECT_EQ(store.needsYouCount(owner), list.size());
        return list.join(u' ');
    }
    void execute(const QString &sql)
    {
        database->sync([&](SQLiteConnection &connection) {
            const auto done = connection.execute(sql);
            EXPECT_TRUE(done) << (done ? "" : done.error().message().toStdString());
        });
    }

    TestHome home;
    VirtualClock clock;
    std::unique_ptr<KeelhavenDatabase> database = KeelhavenDatabase::open(home.paths()).value();
    WorkItemStore store{*database, clock};
    QUuid ship = QUuid::createUuid();
};

TEST_F(WorkItemStoreTest, RecordReadsWhatItMustAndWritesWhatIsSet)
{
    const QByteArray least =
        "{\"id\": \"w\", \"shipID\": \"7A0C2A3E-0000-4000-8000-000000000001\", \"title\": \"t\", "
        "\"prompt\": \"\", \"status\": \"rejected\", \"origin\": \"user\", \"plugins\": [], "
        "\"humanQA\": [{\"id\": \"q\", \"question\": \"?\", \"options\": [], \"askedAt\": "
        "\"2026-03-04T05:06:07.890Z\"}], \"runIDs\": [], \"createdAt\": "
        "\"2026-03-04T05:06:07.890Z\", \"updatedAt\": \"2026-03-04T05:06:07.890Z\"}";
    const auto item = decodeRecordBytes<WorkItem>(least);
    ASSERT_TRUE(item) << item.error().message().toStdString();
    EXPECT_TRUE(isTerminal(item->status));
    EXPECT_TRUE(item->needsYou());
    EXPECT_EQ(JSONValue(encodeRecord(*item)), JSONValue::parse(least).value());
    for (const char *key : {"id", "shipID", "title", "prompt", "status", "origin", "plugins", "humanQA",
                            "runIDs", "createdAt", "updatedAt"}) {
        const QByteArray without = QByteArray(least).replace('"' + QByteArray(key) + "\":", "\"other\":");
        EXPECT_FALSE(decodeRecordBytes<WorkItem>(without)) << key;
    }
}

TEST_F(WorkItemStoreTest, UpsertStampsAndKeepsTheFirstCompletion)
{
    const WorkItem a = add(u"a"_s);
    EXPECT_EQ(a.id.size(), 8);
    EXPECT_EQ(a.createdAt, clock.now());
    add(u"b"_s);
    EXPECT_EQ(titles(), u"b a"_s);

    int changes = 0;
    QObject::connect(&store, &WorkItemStore::changed, &store, [&] { ++changes; });
    clock.jump(std::chrono::minutes(1));
    store.setStatus(a.id, Status::Done, u"all good"_s);
    const Date completed = clock.now();
    EXPECT_EQ(titles(), u"b a"_s) << "a change does not move it";
    clock.jump(std::chrono::minutes(1));
    store.setStatus(a.id, Status::Queued, {}, u"tried again"_s);
    store.setStatus(a.id, Status::Failed);
    store.setStatus(u"unknown"_s, Status::Failed);
    EXPECT_EQ(changes, 3);
    WorkItem now = store.item(a.id).value();
    EXPECT_EQ(now.completedAt, completed);
    EXPECT_EQ(now.updatedAt, clock.now());
    EXPECT_EQ(now.summary, u"all good"_s);
    EXPECT_EQ(now.error, u"tried again"_s);

    now.dispatchID = u"d1"_s;
    now.agentID = QUuid::createUuid();
    now.scheduledFor = clock.now();
    now.timeoutMinutes = 90;
    now.humanQA = {question(u"q"_s)};
    ASSERT_TRUE(store.upsert(now));
    const QUuid run = QUuid::createUuid();
    for (int i = 0; i < 2; ++i)
        store.attachRun(run, a.id);
    EXPECT_EQ(store.item(a.id)->runIDs, QList<QUuid>{run});
    EXPECT_EQ(store.itemForRun(run)->id, a.id);
    EXPECT_EQ(store.itemForDispatch(u"d1"_s)->id, a.id);
    EXPECT_EQ(store.itemForDispatch(u"d2"_s), std::nullopt);
    const auto row = database
                         ->sync([&](SQLiteConnection &connection) {
                             return connection.query(u"SELECT * FROM work_items WHERE dispatch_id = 'd1'"_s);
                         })
                         .value()
                         .at(0);
    EXPECT_EQ(row.string(u"id"), a.id);
    EXPECT_EQ(row.uuid(u"ship_id"), ship);
    EXPECT_EQ(row.string(u"status"), u"failed"_s);
    EXPECT_EQ(row.string(u"origin"), u"captain"_s);
    EXPECT_EQ(row.uuid(u"agent_id"), now.agentID);
    EXPECT_EQ(row.date(u"created_at"), a.createdAt);
    EXPECT_EQ(row.date(u"updated_at"), clock.now());
    EXPECT_EQ(row.date(u"completed_at"), completed);

    WorkItemStore again(*database, clock);
    again.load(clock.now());
    EXPECT_EQ(again.items().first().title, u"a"_s) << "the newest change first";
    EXPECT_EQ(again.item(a.id)->humanQA.size(), 1);
}

TEST_F(WorkItemStoreTest, LoadLeavesOldAndBrokenRowsInTheTable)
{
    const Date start = clock.now();
    add(u"old"_s, Status::Done);
    add(u"open"_s);
    add(u"broken"_s);
    execute(u"UPDATE work_items SET payload = '{}' WHERE payload LIKE '%broken%'"_s);
    const auto edge = start + std::chrono::seconds(1) + std::chrono::days(14);
    store.load(edge);
    EXPECT_EQ(titles(), u"open old"_s);
    store.load(edge + std::chrono::microseconds(1000));
    EXPECT_EQ(titles(), u"open"_s);
    EXPECT_EQ(database->sync([](SQLiteConnection &connection) {
        return connection.query(u"SELECT id FROM work_items"_s).value().size();
    }),
              3);
}

TEST_F(WorkItemStoreTest, QuestionsBlockAndRelease)
{
    const QString id = add(u"a"_s, Status::Running).id;
    store.appendQuestion(question(u"q1"_s), id);
    store.appendQuestion(question(u"q2"_s), id);
    store.appendQuestion(question(u"q3"_s), u"unknown"_s);
    EXPECT_EQ(statusOf(id), Status::Blocked);
    EXPECT_EQ(store.answer(u"none"_s, u"x"_s), std::nullopt);
    const auto answered = store.answer(u"q1"_s, u"yes"_s);
    EXPECT_EQ(answered, store.item(id));
    EXPECT_EQ(answered->humanQA[0].answer, u"yes"_s);
    EXPECT_EQ(answered->humanQA[0].answeredAt, clock.now());
    EXPECT_EQ(statusOf(id), Status::Blocked);
    EXPECT_EQ(store.dismiss(u"q2"_s)->humanQA[1].dismissedAt, clock.now());
    EXPECT_EQ(statusOf(id), Status::Open);
    EXPECT_EQ(open({}), u""_s);

    const QString done = add(u"done"_s, Status::Done).id;
    store.appendQuestion(question(u"late"_s), done);
    EXPECT_EQ(statusOf(done), Status::Done);
    EXPECT_EQ(open({}), u"done:late"_s);
    store.answer(u"late"_s, u"x"_s);
    EXPECT_EQ(statusOf(done), Status::Done);
}

TEST_F(WorkItemStoreTest, AnAnswerGoesToTheOpenQuestionOfThatId)
{
    const QString first = add(u"first"_s).id;
    const QString second = add(u"second"_s).id;
    store.appendQuestion(question(u"1"_s), first);
    store.appendQuestion(question(u"1"_s), second);
    EXPECT_EQ(store.answer(u"1"_s, u"to second"_s)->id, second);
    EXPECT_EQ(store.answer(u"1"_s, u"to first"_s)->id, first);
    store.appendQuestion(question(u"1"_s), first);
    EXPECT_EQ(store.answer(u"1"_s, u"again"_s)->humanQA[1].answer, u"again"_s);
    EXPECT_EQ(statusOf(first), Status::Open);
    EXPECT_EQ(store.answer(u"1"_s, u"changed"_s)->id, second) << "none is open: the first item that has it";
}

TEST_F(WorkItemStoreTest, OpenQuestionsSpanShipsNewestFirst)
{
    const QUuid other = QUuid::createUuid();
    const QString a = add(u"a"_s).id;
    const QString b = add(u"b"_s, Status::Open, other).id;
    store.appendQuestion(question(u"old"_s, 60), a);
    store.appendQuestion(question(u"middle"_s, 30), b);
    store.appendQuestion(question(u"new"_s, 0), a);
    EXPECT_EQ(open({}), u"a:new b:middle a:old"_s);
    EXPECT_EQ(open(ship), u"a:new a:old"_s);
    EXPECT_EQ(open(other), u"b:middle"_s);
    EXPECT_EQ(store.itemsForShip(other).size(), 1);
}

TEST_F(WorkItemStoreTest, LostTableKeepsTheOldList)
{
    const QString id = add(u"a"_s).id;
    store.appendQuestion(question(u"q"_s), id);
    const auto before = store.items();
    execute(u"DROP TABLE work_items"_s);
    store.setStatus(id, Status::Done);
    store.attachRun(QUuid::createUuid(), id);
    store.appendQuestion(question(u"r"_s), id);
    EXPECT_EQ(store.dismiss(u"q"_s)->status, Status::Open);
    EXPECT_FALSE(store.upsert(*store.item(id)));
    EXPECT_EQ(store.items(), before);
    store.load(clock.now());
    EXPECT_TRUE(store.items().isEmpty());
}

} // namespace
} // namespace Keelhaven
