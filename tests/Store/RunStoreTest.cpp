#include "Store/RunStore.h"

#include "Store/StoreSupport.h"

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class RunStoreTest : public ::testing::Test
{
protected:
    [[nodiscard]] QString file(const RunRecord &run, const QString &suffix) const
    {
        return paths.schedulerDir() + u"/runs/"_s + uuidText(run.id) + suffix;
    }

    const Date now = Date(std::chrono::seconds(1772600707));
    TestHome home;
    KeelhavenPaths paths = home.paths();
    RunStore store{paths};
};

TEST_F(RunStoreTest, OneBadAgentAmongFiveLosesOnlyItselfAndIsBackedUp)
{
    QList<SchedulerSlot> agents;
    for (const QString &name : {u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"E"_s})
        agents.append(makeSlot(name));
    EXPECT_TRUE(store.loadSlots().isEmpty());
    ASSERT_TRUE(store.saveSlots(agents));
    EXPECT_EQ(store.loadSlots(), agents);
    EXPECT_FALSE(QFileInfo::exists(paths.slotsFile() + u".bak"_s));

    const QByteArray saved = readFile(paths.slotsFile()).value();
    const auto json = JSONValue::parse(saved).value();
    EXPECT_EQ(json.objectValue()->keys(), (QStringList{u"slots"_s, u"version"_s}));
    EXPECT_EQ(json[u"version"]->intValue(), 1);

    QByteArray spoiled = saved;
    spoiled.replace("\"name\": \"C\"", "\"name\": 3");
    ASSERT_NE(spoiled, saved);
    ASSERT_TRUE(writeFileAtomically(paths.slotsFile(), spoiled));
    EXPECT_EQ(names(store.loadSlots()), (QStringList{u"A"_s, u"B"_s, u"D"_s, u"E"_s}));
    EXPECT_EQ(readFile(paths.slotsFile() + u".bak"_s).value(), spoiled);

    ASSERT_TRUE(writeFileAtomically(paths.slotsFile(), "{\"slots\": {}}"));
    EXPECT_TRUE(store.loadSlots().isEmpty());
    EXPECT_EQ(readFile(paths.slotsFile() + u".bak"_s).value(), "{\"slots\": {}}");
}

TEST_F(RunStoreTest, RunsAreFilesNewestFirst)
{
    EXPECT_TRUE(store.loadHistory().isEmpty());
    const auto old = makeRun(now);
    const auto young = makeRun(now + std::chrono::hours(2));
    const auto middle = makeRun(now + std::chrono::hours(1));
    for (const auto &run : {old, young, middle})
        ASSERT_TRUE(store.saveRecord(run));
    ASSERT_TRUE(store.saveScrollback(u"text"_s, middle.id));
    home.write(u".local/share/keelhaven/scheduler/runs/broken.json"_s, "{");
    EXPECT_EQ(store.loadHistory(), (QList{young, middle, old}));

    store.deleteRecord(middle.id);
    EXPECT_EQ(store.loadHistory(), (QList{young, old}));
    EXPECT_EQ(store.loadScrollback(middle.id), std::nullopt);
}

TEST_F(RunStoreTest, IDsThatAreNoUUIDsNeverBecomePaths)
{
    const auto agent = makeSlot(u"A"_s);
    ASSERT_TRUE(store.saveSlots({agent}));
    QByteArray agents = readFile(paths.slotsFile()).value();
    agents.replace(uuidText(agent.id).toUtf8(), "../../A");
    ASSERT_TRUE(writeFileAtomically(paths.slotsFile(), agents));
    EXPECT_TRUE(store.loadSlots().isEmpty());
    EXPECT_EQ(readFile(paths.slotsFile() + u".bak"_s), agents);

    const auto run = makeRun(now);
    ASSERT_TRUE(store.saveRecord(run));
    QByteArray record = readFile(file(run, u".json"_s)).value();
    const QString moved = u".local/share/keelhaven/scheduler/runs/run.json"_s;
    home.write(moved, record);
    EXPECT_EQ(store.loadHistory(), QList{run}) << "a copy is the same run";
    auto edited = run;
    edited.summary = u"edited"_s;
    ASSERT_TRUE(store.saveRecord(edited));
    EXPECT_EQ(store.loadHistory(), QList{edited}) << "the file of its own name tells";
    QFile::remove(file(run, u".json"_s));
    EXPECT_EQ(store.loadHistory(), QList{run}) << "else the name of a file says nothing";
    ASSERT_TRUE(store.saveRecord(run));
    record.replace(uuidText(run.id).toUtf8(), "../slots");
    home.write(moved, record);
    EXPECT_EQ(store.loadHistory(), QList{run});
}

TEST_F(RunStoreTest, PrunePast200TakesRecordAndScrollback)
{
    QList<RunRecord> records;
    for (int i = 0; i < 201; ++i)
        records.append(makeRun(now - std::chrono::minutes(i)));
    for (const auto &run : {records[199], records[200]}) {
        ASSERT_TRUE(store.saveRecord(run));
        ASSERT_TRUE(store.saveScrollback(u"text"_s, run.id));
    }
    store.prune(records);
    EXPECT_TRUE(QFileInfo::exists(file(records[199], u".json"_s)) &&
                QFileInfo::exists(file(records[199], u".txt"_s)));
    EXPECT_FALSE(QFileInfo::exists(file(records[200], u".json"_s)) ||
                 QFileInfo::exists(file(records[200], u".txt"_s)));
}

TEST_F(RunStoreTest, WriteErrorsReachTheCaller)
{
    home.write(u".local/share/keelhaven/scheduler"_s, "a file in the place of the folder");
    EXPECT_FALSE(store.saveSlots({}));
    EXPECT_FALSE(store.saveRecord(makeRun(now)));
    EXPECT_FALSE(store.saveScrollback(u"x"_s, QUuid::createUuid()));
}

} // namespace
} // namespace Keelhaven
