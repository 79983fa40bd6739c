#include "Journal/JournalIngestor.h"

#include "Journal/TranscriptUsageReader.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class JournalIngestorTest : public ::testing::Test
{
protected:
    JournalIngestorTest()
    {
        run.slotName = u"agent"_s;
        run.cwd = u"/work/my.project"_s;
        run.shipID = QUuid::createUuid();
        run.sessionID = u"0a1b-2c"_s;
        journal.onQuestion = [this](const RunRecord &, const HumanQuestion &question) {
            told.append(question.question);
            const auto open = workItems.openQuestions({});
            hungBefore = std::ranges::any_of(
                open, [&](const OpenQuestion &entry) { return entry.question.id == question.id; });
        };
        journal.onProgress = [this](const QUuid &id, const QString &text) {
            EXPECT_EQ(id, run.id);
            progress.append(text);
        };
    }

    void TearDown() override
    {
        EXPECT_TRUE(waitUntil([this] { return tasks.running() == 0; }));
    }
    void append(const QByteArray &bytes)
    {
        QFile out(path);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Append));
        ASSERT_EQ(out.write(bytes), bytes.size());
    }
    RunRecord makeOther() const
    {
        auto other = run;
        other.id = QUuid::createUuid();
        return other;
    }
    qsizetype count(const QString &sql)
    {
        return database->sync([&](SQLiteConnection &connection) { return connection.query(sql); })
            .value()
            .size();
    }
    /// "path|kind|caption|source" of each of the run's files.
    QStringList files() const
    {
        QStringList list;
        for (const Asset &asset : assets.assetsForRun(run.id)) {
            EXPECT_EQ(asset.shipID, run.shipID);
            EXPECT_EQ(asset.workItemID, run.workItemID);
            list.append(QStringList{asset.path, enumText(asset.kind), asset.caption.value_or(u"-"_s),
                                    enumText(asset.source)}
                            .join(u'|'));
        }
        return list;
    }
    QStringList lines(const QUuid &id)
    {
        QStringList list;
        for (const auto &event : journal.events(id))
            list.append(event.summaryLine());
        return list;
    }

    TestHome home;
    VirtualClock clock;
    Tasks tasks;
    std::unique_ptr<KeelhavenDatabase> database = KeelhavenDatabase::open(home.paths()).value();
    MemorySettings settings;
    FakeProcessRunner processes;
    AssetStore assets{{.database = *database,
                       .clock = clock,
                       .settings = settings,
                       .tasks = tasks,
                       .thumbnailer = {&processes, {}},
                       .assetsDir = home.paths().assetsDir()}};
    WorkItemStore workItems{*database, clock};
    JournalIngestor journal{*database, clock, tasks, home.path(), &assets, &workItems};
    RunRecord run;
    QString path = home.path(u"journal.jsonl"_s);
    QStringList told;
    QStringList progress;
    bool hungBefore = false; ///< whether the question hung on an item when it was told
};

TEST_F(JournalIngestorTest, EachKindGoesItsWay)
{
    journal.begin(run, path, false);
    journal.poll(run); // the agent has not written yet
    append("{\"type\": \"progress\", \"ts\": 1, \"text\": \"half\"}\n"
           "{\"type\": \"summary\", \"ts\": 2, \"text\": \"all\", \"run_id\": \"x\"}\n"
           "{\"type\": \"note\", \"ts\": 3, \"text\": \"aside\"}\n"
           "{\"type\": \"asset\", \"ts\": 4, \"path\": \"~/a/report.pdf\", \"kind\": \"document\", "
           "\"caption\": \"The report\"}\n"
           "{\"type\": \"asset\", \"ts\": 5, \"path\": \"/b.png\"}\n"
           "{\"type\": \"asset\", \"ts\": 6}\n"
           "{\"type\": \"question\", \"ts\": 7, \"question\": \"Which?\", \"id\": \"q1\", \"options\": "
           "[\"a\", 2, \"b\"]}\n"
           "{\"type\": \"question\", \"ts\": 8, \"text\": \"Or that?\"}\n"
           "{\"type\": \"question\", \"ts\": 9}\n"
           "{\"type\": \"progress\", \"ts\": 10}\n"
           "{\"type\": \"dance\", \"ts\": 11}\n{\"ts\": 12}\n[]\n{\n\n\xff\n"
           "{\"type\": \"note\", \"text\": \"without a time\"}\n");
    journal.poll(run);
    EXPECT_EQ(progress, QStringList{u"half"_s});
    EXPECT_EQ(journal.progress(run.id), u"half"_s);
    EXPECT_EQ(journal.summary(run.id), u"all"_s);
    EXPECT_EQ(files(), (QStringList{home.path(u"a/report.pdf"_s) + u"|document|The report|mcp"_s,
                                    u"/b.png|image|-|mcp"_s}));
    ASSERT_EQ(workItems.items().size(), 1);
    const WorkItem item = workItems.items().first();
    EXPECT_EQ(item.title, u"agent"_s);
    EXPECT_EQ(item.origin, WorkItemOrigin::User);
    EXPECT_EQ(item.status, WorkItemStatus::Blocked);
    EXPECT_EQ(item.shipID, run.shipID);
    EXPECT_EQ(item.runIDs, QList<QUuid>{run.id});
    ASSERT_EQ(item.humanQA.size(), 2);
    EXPECT_EQ(item.humanQA[0], (HumanQuestion{.id = u"q1"_s,
                                              .question = u"Which?"_s,
                                              .options = {u"a"_s, u"b"_s},
                                              .answer = {},
                                              .askedAt = Date(std::chrono::seconds(7)),
                                              .answeredAt = {},
                                              .dismissedAt = {},
                                              .runID = run.id}));
    EXPECT_EQ(item.humanQA[1].id.size(), 8);
    EXPECT_EQ(told, (QStringList{u"Which?"_s, u"Or that?"_s}));
    EXPECT_EQ(lines(run.id),
              (QStringList{u"half"_s, u"all"_s, u"aside"_s, u"report.pdf — The report"_s, u"b.png"_s, u""_s,
                           u"Which?"_s, u"Or that?"_s, u""_s, u""_s, u"without a time"_s}));
    const auto events = journal.events(run.id);
    EXPECT_EQ(events[1].launchRunID, u"x"_s);
    EXPECT_EQ(events[1].id(), u"2.0-summary"_s);
    clock.advance(std::chrono::hours(1));
    EXPECT_EQ(journal.events(run.id).last().date(), clock.now() - std::chrono::hours(1))
        << "the time it was read at";
    EXPECT_EQ(count(u"SELECT 1 FROM journal WHERE ship_id = '%1'"_s.arg(uuidText(*run.shipID))), 11);

    append("{\"type\": \"summary\", \"ts\": 13, \"text\": \"the end\"}\n");
    EXPECT_EQ(journal.finish(run), u"the end"_s);
    EXPECT_EQ(journal.progress(run.id), std::nullopt);
    EXPECT_EQ(journal.summary(run.id), u"the end"_s);
    append("{\"type\": \"summary\", \"ts\": 14, \"text\": \"too late\"}\n");
    journal.poll(run);
    EXPECT_EQ(journal.summary(run.id), u"the end"_s);
    EXPECT_EQ(journal.finish(makeOther()), std::nullopt);
}

TEST_F(JournalIngestorTest, QuestionJoinsTheItemOfItsRun)
{
    WorkItem own = WorkItem::make(*run.shipID, u"own"_s, WorkItemOrigin::Dispatch, clock.now());
    ASSERT_TRUE(workItems.upsert(own));
    const struct
    {
        const char *name;
        std::optional<QUuid> ship;
        std::optional<QString> item;
        const char *itemsAfter; ///< titles with the number of questions
        bool isTold;
        bool hangs;
    } cases[] = {{"neither", {}, {}, "own0", false, false},
                 {"item", {}, own.id, "own1", true, true},
                 {"unknown item", run.shipID, u"gone"_s, "own1", true, false},
                 {"ship", run.shipID, {}, "agent1 own1", true, true}};
    append("{\"type\": \"question\", \"ts\": 1, \"question\": \"?\"}\n");
    for (const auto &row : cases) {
        SCOPED_TRACE(row.name);
        told.clear();
        hungBefore = false;
        auto asking = makeOther();
        asking.shipID = row.ship;
        asking.workItemID = row.item;
        journal.begin(asking, path, false);
        journal.poll(asking);
        QStringList items;
        for (const WorkItem &item : workItems.items())
            items.append(item.title + QString::number(item.humanQA.size()));
        EXPECT_EQ(items.join(u' '), QString::fromUtf8(row.itemsAfter));
        EXPECT_EQ(told.size(), row.isTold ? 1 : 0);
        EXPECT_EQ(hungBefore, row.hangs);
        EXPECT_EQ(journal.events(asking.id).size(), 1);
    }
    JournalIngestor alone(*database, clock, tasks, home.path());
    alone.begin(run, path, false);
    EXPECT_EQ(alone.finish(run), std::nullopt);
    EXPECT_EQ(alone.events(run.id).size(), 1);
}

TEST_F(JournalIngestorTest, JournalThatIsReadAgainRepeatsNothing)
{
    const QByteArray content = "{\"type\": \"question\", \"ts\": 1, \"text\": \"?\"}\n"
                               "{\"type\": \"asset\", \"ts\": 2, \"path\": \"out/a.md\"}\n";
    append(content + "{\"type\": \"asset\", \"ts\": 3, \"path\": \"/work/my.project/out/a.md\"}\n"
                     "{\"type\": \"asset\", \"ts\": 4, \"path\": \"\"}\n"
                     "{\"type\": \"asset\", \"ts\": 5, \"path\": \"./out//../out/a.md\"}\n");
    journal.begin(run, path, false);
    journal.poll(run);
    ASSERT_TRUE(QFile::resize(path, 0));
    append(content);
    journal.poll(run);
    EXPECT_EQ(files(), QStringList{u"/work/my.project/out/a.md|markdown|-|mcp"_s});
    EXPECT_EQ(told.size(), 1);
    EXPECT_EQ(workItems.openQuestions({}).size(), 1);
    // The same words asked later are another question.
    append("{\"type\": \"question\", \"ts\": 5, \"text\": \"?\"}\n");
    journal.poll(run);
    EXPECT_EQ(workItems.openQuestions({}).size(), 2);
}

TEST_F(JournalIngestorTest, LinesAreHandledOnceAndWhole)
{
    append("0123456789");
    journal.begin(run, path, true);
    append("{\"type\": \"progress\", \"ts\": 1, \"te");
    journal.poll(run);
    EXPECT_TRUE(progress.isEmpty());
    append("xt\": \"one\"}\n");
    journal.poll(run);
    journal.poll(run);
    // The same moment and kind: not stored again, and yet shown.
    append("{\"type\": \"progress\", \"ts\": 1, \"text\": \"two\"}\n");
    journal.poll(run);
    EXPECT_EQ(progress, (QStringList{u"one"_s, u"two"_s}));
    EXPECT_EQ(lines(run.id), QStringList{u"one"_s});

    ASSERT_TRUE(QFile::resize(path, 0));
    append("{\"type\": \"progress\", \"ts\": 1, \"text\": \"3\"}\n");
    journal.poll(run);
    EXPECT_EQ(progress.last(), u"3"_s);
    EXPECT_EQ(journal.events(run.id).size(), 1);

    journal.begin(run, path, false);
    EXPECT_EQ(journal.progress(run.id), std::nullopt);
}

TEST_F(JournalIngestorTest, EventsOfOneReadWithoutATimeAreAllStored)
{
    append("{\"type\": \"note\", \"text\": \"1\"}\n{\"type\": \"note\", \"text\": \"2\"}\n"
           "{\"type\": \"question\", \"text\": \"?\"}\n{\"type\": \"question\", \"text\": \"?\"}\n");
    journal.begin(run, path, false);
    journal.poll(run);
    EXPECT_EQ(lines(run.id), (QStringList{u"1"_s, u"2"_s, u"?"_s, u"?"_s}));
    EXPECT_EQ(told.size(), 2);
}

TEST_F(JournalIngestorTest, LastLineNeedsNoEndOnceTheRunIsOver)
{
    const auto openEnd = [&](const QByteArray &bytes) {
        append(bytes);
        journal.begin(run, path, false);
        journal.poll(run);
        EXPECT_EQ(journal.summary(run.id), std::nullopt);
        return journal.finish(run);
    };
    EXPECT_EQ(openEnd("{\"type\": \"summary\", \"ts\": 1, \"text\": \"al"), std::nullopt) << "half a line";
    EXPECT_EQ(openEnd("l\"}"), u"all"_s);
    EXPECT_EQ(lines(run.id), QStringList{u"all"_s});
}

TEST_F(JournalIngestorTest, FloodIsReadInPortionsAndItsEndCounts)
{
    const QByteArray line =
        "{\"type\": \"progress\", \"ts\": 1, \"text\": \"" + QByteArray(100000, 'x') + "\"}\n";
    append(line.repeated(100));
    append("{\"type\": \"note\", \"ts\": 2, \"text\": \"" + QByteArray(1 << 20, 'x') + "\"}\n");
    append("{\"type\": \"summary\", \"ts\": 3, \"text\": \"end\"}\n");
    // Something that the agent left running writes on while the run is closed.
    const auto tellAndAppend = [&](const QUuid &, const QString &text) {
        progress.append(text);
        append(line);
    };
    journal.begin(run, path, false);
    journal.poll(run);
    EXPECT_EQ(progress.size(), 2);
    journal.onProgress = tellAndAppend;
    EXPECT_EQ(journal.finish(run), u"end"_s);
    EXPECT_GT(progress.size(), 2 + 8);
    EXPECT_LT(progress.size(), 2 + 30);
    EXPECT_EQ(journal.events(run.id).size(), 2) << "a line of a megabyte is none";
}

TEST_F(JournalIngestorTest, AnAnswerReachesTheRunThatAsked)
{
    append("{\"type\": \"question\", \"ts\": 1, \"id\": \"q1\", \"question\": \"Which?\"}\n"
           "{\"type\": \"question\", \"ts\": 2, \"id\": \"\", \"question\": \"Nameless?\"}\n");
    const auto other = makeOther();
    for (const RunRecord &asking : {run, other}) {
        journal.begin(asking, path, false);
        journal.poll(asking);
    }
    const auto theirs = workItems.itemForRun(other.id).value();
    EXPECT_EQ(workItems.itemForRun(run.id)->humanQA[0].id, u"q1"_s);
    EXPECT_EQ(theirs.humanQA[0].id, u"q1-2"_s);
    EXPECT_EQ(theirs.humanQA[1].id.size(), 8);
    EXPECT_EQ(workItems.answer(theirs.humanQA[0].id, u"this"_s)->id, theirs.id);
}

TEST_F(JournalIngestorTest, AskingInALoopEndsAtAHundredOpenQuestions)
{
    for (int i = 0; i < 120; ++i)
        append("{\"type\": \"question\", \"text\": \"?\", \"ts\": " + QByteArray::number(i) + "}\n");
    journal.begin(run, path, false);
    journal.poll(run);
    EXPECT_EQ(told.size(), 100);
    EXPECT_EQ(workItems.openQuestions({}).size(), 100);
    EXPECT_EQ(journal.events(run.id).size(), 120);
    workItems.dismiss(workItems.openQuestions({}).first().question.id);
    append("{\"type\": \"question\", \"text\": \"At last?\", \"ts\": 999}\n");
    journal.poll(run);
    EXPECT_EQ(told.last(), u"At last?"_s);
}

TEST_F(JournalIngestorTest, OfAHundredThousandEventsTheLastAreGiven)
{
    const QString fill =
        u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %2) INSERT INTO journal "
        "(run_id, ts, type, payload) SELECT '%1', 1000 + (i - 1) / 2, CASE i % 2 WHEN 0 THEN 'note' ELSE "
        "'progress' END, "
        "json_object('type', 'note', 'text', i || %3) FROM n"_s;
    const auto insert = [&](const QUuid &id, int number, const QString &more) {
        const auto filled = database->sync([&](SQLiteConnection &connection) {
            return connection.execute(fill.arg(uuidText(id)).arg(number).arg(more));
        });
        ASSERT_TRUE(filled) << filled.error().message().toStdString();
    };
    const auto other = makeOther();
    insert(run.id, 100'000, u"''"_s);
    insert(other.id, 40, u"hex(zeroblob(500000))"_s);
    EXPECT_EQ(lines(run.id).size(), 1000);
    EXPECT_EQ(lines(run.id).first(), u"99001"_s);
    EXPECT_EQ(lines(run.id).last(), u"100000"_s);
    EXPECT_EQ(journal.eventCount(run.id), 100'000);
    const auto three = journal.events(run.id, 3);
    ASSERT_EQ(three.size(), 3) << "two of a moment lie on different sides of the limit";
    EXPECT_EQ(three.first().summaryLine(), u"99998"_s);

    const auto huge = journal.events(other.id);
    EXPECT_LE(huge.size(), 32) << "forty megabytes";
    EXPECT_TRUE(huge.last().summaryLine().startsWith(u"40"));
    EXPECT_EQ(journal.eventCount(other.id), 40);
    EXPECT_TRUE(journal.events(QUuid::createUuid()).isEmpty());
}

TEST_F(JournalIngestorTest, LostDatabaseStillReachesTheScreens)
{
    database->sync([](SQLiteConnection &connection) { return connection.execute(u"DROP TABLE journal"_s); });
    append("{\"type\": \"progress\", \"ts\": 1, \"text\": \"still here\"}\n");
    journal.begin(run, path, false);
    journal.poll(run);
    EXPECT_EQ(journal.progress(run.id), u"still here"_s);
    EXPECT_TRUE(journal.events(run.id).isEmpty());
}

TEST_F(JournalIngestorTest, ResultFileBringsItsArtifacts)
{
    journal.ingest(TaskResult{.summary = {},
                              .artifacts = {{u"~/x.md"_s, u"markdown"_s, {}}, {u"/y"_s, {}, u"Y"_s}},
                              .links = {}},
                   run);
    EXPECT_EQ(files(), (QStringList{home.path(u"x.md"_s) + u"|markdown|-|result_json"_s,
                                    u"/y|other|Y|result_json"_s}));
}

TEST_F(JournalIngestorTest, UsageIsTheSumOfTheTranscript)
{
    const QString transcript = u".claude/projects/-work-my-project/0a1b-2c.jsonl"_s;
    std::optional<RunUsage> usage;
    const auto recordUsage = [&](const RunRecord &record) {
        usage.reset();
        journal.recordUsage(record, [&](const RunUsage &found) { usage = found; });
        EXPECT_TRUE(waitUntil([this] { return tasks.running() == 0; }));
        return usage;
    };
    EXPECT_EQ(recordUsage(run), std::nullopt) << "no file";
    home.write(transcript, "{\"type\": \"user\"}\nbroken\n");
    EXPECT_EQ(recordUsage(run), std::nullopt) << "no sample of zeros";
    home.write(transcript, "{\"type\": \"user\", \"message\": {\"usage\": {\"input_tokens\": 999}}}\n"
                           "{\"type\": \"assistant\", \"message\": {\"usage\": {\"input_tokens\": 1, "
                           "\"output_tokens\": 20, \"cache_creation_input_tokens\": 300,"
                           " \"cache_read_input_tokens\": 4000}}}\n{\"type\": \"assis\n"
                           "{\"type\": \"assistant\", \"message\": {\"usage\": {\"input_tokens\": 5, "
                           "\"output_tokens\": \"x\"}}}\n"
                           "{\"type\": \"assistant\", \"message\": {\"usage\": {\"output_tokens\": 7}}}");
    run.model = u"opus"_s;
    EXPECT_EQ(recordUsage(run),
              (RunUsage{.input = 6, .output = 27, .cacheCreation = 300, .cacheRead = 4000}));
    const auto rows = database
                          ->sync([](SQLiteConnection &connection) {
                              return connection.query(u"SELECT * FROM usage_samples"_s);
                          })
                          .value();
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].uuid(u"run_id"), run.id);
    EXPECT_EQ(rows[0].uuid(u"ship_id"), run.shipID);
    EXPECT_EQ(rows[0].string(u"session_id"), run.sessionID);
    EXPECT_EQ(rows[0].date(u"ts"), clock.now());
    EXPECT_EQ(rows[0].string(u"model"), u"opus"_s);
    EXPECT_EQ(rows[0].int_(u"cache_read"), 4000);
    EXPECT_EQ(rows[0].int_(u"work_tokens"), 333);
    EXPECT_EQ(rows[0].string(u"source"), u"transcript"_s);

    auto other = run;
    home.write(u"real/place/file"_s, {});
    ASSERT_TRUE(QFile::link(home.path(u"real/place"_s), home.path(u"link"_s)));
    home.write(u".claude/projects/"_s + TranscriptUsageReader::slug(home.path(u"real/place"_s)) +
                   u"/0a1b-2c.jsonl"_s,
               "{\"type\": \"assistant\", \"message\": {\"usage\": {\"input_tokens\": 9}}}");
    other.cwd = home.path(u"link"_s);
    EXPECT_EQ(recordUsage(other), RunUsage{.input = 9});

    other.provider = AgentProvider::Codex;
    EXPECT_EQ(recordUsage(other), std::nullopt);
    for (const auto &session :
         {std::optional<QString>(), std::optional(u"../-work-my-project/0a1b-2c"_s), std::optional(u""_s)}) {
        other = run;
        other.sessionID = session;
        EXPECT_EQ(recordUsage(other), std::nullopt);
    }
}

TEST(TranscriptUsageReaderTest, SlugKeepsLettersDigitsAndDashes)
{
    EXPECT_EQ(TranscriptUsageReader::slug(u"/home/Ä b/x.y_z-9"_s), u"-home---b-x-y-z-9"_s);
}

} // namespace
} // namespace Keelhaven
