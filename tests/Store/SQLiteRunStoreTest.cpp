#include "Store/SQLiteRunStore.h"

#include "Store/StoreSupport.h"
#include "Support/VirtualClock.h"

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class SQLiteRunStoreTest : public DatabaseTest
{
protected:
    /// Lets every further statement of this kind fail.
    void refuse(const QString &event)
    {
        rows(u"CREATE TRIGGER refuse BEFORE %1 BEGIN SELECT RAISE(ABORT, 'refused'); END"_s.arg(event));
    }

    VirtualClock clock;
    SQLiteRunStore store{*database, clock, paths.runsDir(), paths.assetsDir()};
};

TEST_F(SQLiteRunStoreTest, AgentsKeepTheirFirstOrderAndLoseWhatIsNotListed)
{
    auto a = makeSlot(u"A"_s);
    const auto b = makeSlot(u"B"_s);
    const auto c = makeSlot(u"C"_s);
    ASSERT_TRUE(store.saveSlots({a, b, c}));
    EXPECT_EQ(store.loadSlots(), (QList{a, b, c}));
    EXPECT_EQ(rows(u"SELECT created_at FROM agents WHERE name = 'C'"_s).first().date(u"created_at"),
              clock.now() + std::chrono::milliseconds(2));

    clock.advance(std::chrono::hours(1));
    a.lastFiredAt = clock.now();
    a.model = u"opus"_s;
    a.shipID = QUuid::createUuid();
    a.enabled = true;
    ASSERT_TRUE(store.saveSlots({b, a}));
    EXPECT_EQ(store.loadSlots(), (QList{a, b}));
    const auto row = rows(u"SELECT * FROM agents WHERE name = 'A'"_s).first();
    EXPECT_EQ(row.date(u"created_at"), clock.now() - std::chrono::hours(1));
    EXPECT_EQ(row.date(u"updated_at"), clock.now() + std::chrono::milliseconds(1));
    EXPECT_EQ(row.date(u"last_fired_at"), a.lastFiredAt);
    EXPECT_EQ(row.uuid(u"ship_id"), a.shipID);
    EXPECT_EQ(row.bool_(u"enabled"), true);
    EXPECT_EQ(row.string(u"kind"), u"scheduled"_s);
    EXPECT_EQ(row.string(u"provider"), u"claude"_s);
    EXPECT_EQ(row.string(u"model"), u"opus"_s);
}

TEST_F(SQLiteRunStoreTest, RowsUnderForeignIDsAreReplacedByTheirAgents)
{
    const auto agent = makeSlot(u"A"_s);
    ASSERT_TRUE(store.saveSlots({agent}));
    rows(u"UPDATE agents SET id = lower(id)"_s);
    rows(u"INSERT INTO agents SELECT '../x', ship_id, kind, name, enabled, provider, model, last_fired_at, "
         "replace(payload, upper(id), '../x'), created_at, updated_at FROM agents"_s);
    EXPECT_EQ(store.loadSlots(), QList{agent});
    ASSERT_TRUE(store.saveSlots(store.loadSlots()));
    EXPECT_EQ(count(u"agents"_s), 1);
    EXPECT_EQ(store.loadSlots(), QList{agent});
    EXPECT_EQ(rows(u"SELECT id FROM agents"_s).first().string(u"id"), uuidText(agent.id));
}

TEST_F(SQLiteRunStoreTest, SavingAgentsIsAllOrNothing)
{
    const auto a = makeSlot(u"A"_s);
    ASSERT_TRUE(store.saveSlots({a}));
    refuse(u"INSERT ON agents WHEN new.name = 'bad'"_s);
    const auto failed = store.saveSlots({makeSlot(u"new"_s), makeSlot(u"bad"_s)});
    ASSERT_FALSE(failed);
    EXPECT_TRUE(failed.error().message().startsWith(u"sqlite 19: refused — INSERT INTO agents"_s))
        << failed.error().message().toStdString();
    EXPECT_EQ(store.loadSlots(), QList{a});
}

TEST_F(SQLiteRunStoreTest, ColumnsRepeatTheRecord)
{
    auto run = makeRun(clock.now());
    run.trigger = RunTrigger::Manual;
    ASSERT_TRUE(store.saveRecord(run));
    auto row = rows(u"SELECT * FROM runs"_s).first();
    for (const char16_t *column : {u"ended_at", u"outcome", u"minutes", u"input_tokens", u"output_tokens",
                                   u"cache_creation_tokens", u"cache_read_tokens", u"work_tokens", u"ship_id",
                                   u"launch_run_id", u"session_id", u"summary", u"model"})
        EXPECT_EQ(row[column]->kind(), SQLiteValue::Kind::Null) << QString::fromUtf16(column).toStdString();
    EXPECT_EQ(row.int_(u"is_failure"), 0);
    EXPECT_EQ(row.int_(u"hidden"), 0);
    EXPECT_EQ(row.string(u"agent_kind"), u"scheduled"_s);
    EXPECT_EQ(row.string(u"provider"), u"claude"_s);
    EXPECT_EQ(row.string(u"trigger"), u"manual"_s);
    EXPECT_EQ(row.uuid(u"agent_id"), run.slotID);
    EXPECT_EQ(row.double_(u"started_at"), secondsSince1970(clock.now()));

    run.endedAt = run.startedAt + std::chrono::seconds(90);
    run.outcome = RunOutcome::launchFailed(u"no pane"_s);
    run.usage = RunUsage{.input = 1, .output = 2, .cacheCreation = 4, .cacheRead = 8};
    run.hidden = true;
    run.agentKind = SlotKind::Captain;
    run.provider = AgentProvider::Codex;
    run.launchRunID = QUuid::createUuid();
    run.projectDir = u"/p"_s;
    run.completionMessage = u"done “so far”"_s;
    ASSERT_TRUE(store.saveRecord(run));
    row = rows(u"SELECT * FROM runs"_s).first();
    EXPECT_EQ(count(u"runs"_s), 1);
    EXPECT_EQ(row.double_(u"minutes"), 1.5);
    EXPECT_EQ(row.string(u"outcome"), u"launch_failed"_s);
    EXPECT_EQ(row.int_(u"is_failure"), 1);
    EXPECT_EQ(row.int_(u"input_tokens"), 1);
    EXPECT_EQ(row.int_(u"output_tokens"), 2);
    EXPECT_EQ(row.int_(u"cache_creation_tokens"), 4);
    EXPECT_EQ(row.int_(u"cache_read_tokens"), 8);
    EXPECT_EQ(row.int_(u"work_tokens"), 7);
    EXPECT_EQ(row.int_(u"hidden"), 1);
    EXPECT_EQ(row.string(u"agent_kind"), u"captain"_s);
    EXPECT_EQ(row.string(u"provider"), u"codex"_s);
    EXPECT_EQ(row.uuid(u"launch_run_id"), run.launchRunID);
    EXPECT_EQ(row.string(u"project_dir"), u"/p"_s);
    EXPECT_EQ(row.string(u"completion_message"), run.completionMessage);
    EXPECT_EQ(store.loadHistory(), QList{run});

    run.outcome = RunOutcome::processExited(0);
    ASSERT_TRUE(store.saveRecord(run));
    EXPECT_EQ(rows(u"SELECT is_failure FROM runs"_s).first().int_(u"is_failure"), 0);
}

TEST_F(SQLiteRunStoreTest, HistoryIsTheNewest200WithoutTheBadOnes)
{
    for (int i = 0; i < 203; ++i)
        ASSERT_TRUE(store.saveRecord(makeRun(clock.now() + std::chrono::minutes(i))));
    const auto newest = clock.now() + std::chrono::minutes(202);
    auto history = store.loadHistory();
    ASSERT_EQ(history.size(), 200);
    EXPECT_EQ(history.first().startedAt, newest);
    EXPECT_TRUE(std::ranges::is_sorted(history, std::ranges::greater(), &RunRecord::startedAt));

    rows(u"UPDATE runs SET payload = replace(payload, '\"scheduled\"', '\"by moon\"') WHERE id = ?"_s,
         {SQLiteValue::uuid(history[0].id)});
    rows(u"UPDATE runs SET payload = '{' WHERE id = ?"_s, {SQLiteValue::uuid(history[1].id)});
    rows(u"UPDATE runs SET payload = '{}' WHERE id = ?"_s, {SQLiteValue::uuid(history[2].id)});
    const auto reloaded = store.loadHistory();
    ASSERT_EQ(reloaded.size(), 198);
    EXPECT_EQ(reloaded[0].trigger, RunTrigger::Manual);
    EXPECT_EQ(reloaded[1], history[3]);

    rows(u"DROP TABLE runs"_s);
    rows(u"DROP TABLE agents"_s);
    EXPECT_TRUE(store.loadHistory().isEmpty());
    EXPECT_TRUE(store.loadSlots().isEmpty());
    EXPECT_FALSE(store.saveRecord(history.first()));
}

TEST_F(SQLiteRunStoreTest, PruneTakesTheScrollbackPast200AndLeavesTheRow)
{
    QList<RunRecord> records;
    for (int i = 0; i < 201; ++i) {
        records.append(makeRun(clock.now() - std::chrono::minutes(i)));
        if (i < 199)
            continue;
        ASSERT_TRUE(store.saveRecord(records.last()));
        ASSERT_TRUE(store.saveScrollback(u"Zeile €\n"_s, records.last().id));
    }
    store.prune(records.first(200));
    EXPECT_EQ(store.loadScrollback(records[200].id), u"Zeile €\n"_s);
    store.prune(records);
    EXPECT_EQ(store.loadScrollback(records[199].id), u"Zeile €\n"_s);
    EXPECT_EQ(store.loadScrollback(records[200].id), std::nullopt);
    EXPECT_EQ(count(u"runs"_s), 2);
}

TEST_F(SQLiteRunStoreTest, DeletingARunLeavesNoTraceOfItAndAllOfTheOthers)
{
    const auto run = makeRun(clock.now());
    const auto other = makeRun(clock.now());
    const auto addTraces = [&](const RunRecord &record) {
        const SQLiteParameters id{SQLiteValue::uuid(record.id)};
        ASSERT_TRUE(store.saveRecord(record));
        rows(
            u"INSERT INTO assets (id, run_id, path, kind, source, added_at) VALUES (?1, ?1, '/p', 'text', 'mcp', 0)"_s,
            id);
        rows(u"INSERT INTO journal (run_id, ts, type, payload) VALUES (?, 0, 'note', '{}')"_s, id);
        rows(
            u"INSERT INTO usage_samples (run_id, ts, input, output, cache_creation, cache_read, work_tokens, source) VALUES (?,0,0,0,0,0,0,'t')"_s,
            id);
        ASSERT_TRUE(store.saveScrollback(u"text"_s, record.id));
        home.write(u".local/share/keelhaven/runs/%1/deep/file"_s.arg(uuidText(record.id)), "x");
    };
    addTraces(run);
    addTraces(other);
    // A run folder's content is the agent's: a link out of it must not be followed, nor one in the place of a
    // folder.
    const QString kept = home.write(u"project/kept"_s, "x");
    QFile::link(home.path(u"project"_s), store.runDir(run.id) + u"/link"_s);
    ASSERT_TRUE(makeFolder(paths.assetsDir()));
    QFile::link(home.path(u"project"_s), paths.assetsDir() + u'/' + uuidText(run.id));

    const auto traces = [&](const RunRecord &record) {
        qint64 found = 0;
        for (const QString &table : {u"runs WHERE id = ?"_s, u"assets WHERE run_id = ?"_s,
                                     u"journal WHERE run_id = ?"_s, u"usage_samples WHERE run_id = ?"_s})
            found += rows(u"SELECT 1 FROM "_s + table, {SQLiteValue::uuid(record.id)}).size();
        found += store.loadScrollback(record.id).has_value();
        found += QFileInfo::exists(store.runDir(record.id));
        found += QFileInfo(paths.assetsDir() + u'/' + uuidText(record.id)).isSymLink();
        return found;
    };
    store.deleteRecord(run.id);
    EXPECT_EQ(traces(run), 0);
    EXPECT_EQ(traces(other), 6);
    EXPECT_TRUE(QFileInfo::exists(kept));

    refuse(u"DELETE ON usage_samples"_s);
    const QFile::Permissions none;
    ASSERT_TRUE(QFile::setPermissions(store.runDir(other.id) + u"/deep"_s, none));
    ASSERT_TRUE(QFile::setPermissions(store.runDir(other.id), QFile::ReadOwner | QFile::ExeOwner));
    home.write(u".local/share/keelhaven/assets/"_s + uuidText(other.id), "a file in the folder's place");
    const WithoutRootsPower plainUser;
    store.deleteRecord(other.id);
    EXPECT_FALSE(QFileInfo::exists(paths.assetsDir() + u'/' + uuidText(other.id)));
    EXPECT_EQ(traces(other), 4) << "the rows stay together, the files go";
}

} // namespace
} // namespace Keelhaven
