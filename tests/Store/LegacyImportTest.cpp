#include "Store/LegacyImport.h"

#include "Store/SQLiteRunStore.h"
#include "Store/StoreSupport.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <QElapsedTimer>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class LegacyImportTest : public DatabaseTest
{
protected:
    /// A file of the old run folder, as it stands.
    QString writeRun(const QString &name, const QByteArray &bytes)
    {
        const QString path = runs + u'/' + name;
        QDir().mkpath(runs);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }
    static QByteArray encoded(const RunRecord &run) { return JSONValue(encodeRecord(run)).encoded(); }
    [[nodiscard]] std::optional<LegacyImport::Report> import()
    {
        return LegacyImport::runIfNeeded(*database, legacy, clock);
    }

    const QString runs = paths.schedulerDir() + u"/runs"_s;
    VirtualClock clock;
    RunStore legacy{paths};
    SQLiteRunStore store{*database, clock, paths.runsDir(), paths.assetsDir()};
    const QString backup = legacy.slotsFile() + u".pre-sqlite.bak"_s;
};

TEST_F(LegacyImportTest, HappensOnceWhetherThereIsSomethingOrNot)
{
    EXPECT_EQ(LegacyImport::runIfNeeded(*database, legacy, clock), LegacyImport::Report());
    EXPECT_EQ(database->meta(u"imported_at"_s), isoText(clock.now()));
    EXPECT_EQ(database->meta(u"imported_counts"_s), u"slots=0 runs=0"_s);
    EXPECT_FALSE(QFileInfo::exists(backup));
    ASSERT_TRUE(legacy.saveSlots({makeSlot(u"late"_s)}));
    EXPECT_EQ(LegacyImport::runIfNeeded(*database, legacy, clock), std::nullopt);
    EXPECT_EQ(count(u"agents"_s), 0);
}

TEST_F(LegacyImportTest, FailureInTheMiddleLeavesNothingAndTheNextOneBringsAll)
{
    const QList agents{makeSlot(u"A"_s), makeSlot(u"B"_s), makeSlot(u"C"_s)};
    const auto run = makeRun(clock.now());
    ASSERT_TRUE(legacy.saveSlots(agents));
    ASSERT_TRUE(legacy.saveRecord(run));
    rows(u"CREATE TRIGGER refuse BEFORE INSERT ON runs BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
    EXPECT_EQ(LegacyImport::runIfNeeded(*database, legacy, clock), std::nullopt);
    EXPECT_EQ(count(u"agents"_s) + count(u"meta"_s), 0);
    EXPECT_FALSE(QFileInfo::exists(backup));

    rows(u"DROP TRIGGER refuse"_s);
    EXPECT_EQ(LegacyImport::runIfNeeded(*database, legacy, clock),
              (LegacyImport::Report{.slots = 3, .runs = 1}));
    EXPECT_EQ(database->meta(u"imported_counts"_s), u"slots=3 runs=1"_s);
    EXPECT_EQ(store.loadSlots(), agents);
    EXPECT_EQ(store.loadHistory(), QList{run});
    EXPECT_EQ(readFile(backup).value(), readFile(legacy.slotsFile()).value());
}

TEST_F(LegacyImportTest, ExistingBackupStays)
{
    ASSERT_TRUE(legacy.saveSlots({}));
    ASSERT_TRUE(writeFileAtomically(backup, "older"));
    EXPECT_TRUE(LegacyImport::runIfNeeded(*database, legacy, clock));
    EXPECT_EQ(readFile(backup).value(), "older");
}

TEST_F(LegacyImportTest, AnyMarkerMeansThatItWasDone)
{
    ASSERT_TRUE(legacy.saveSlots({makeSlot(u"A"_s)}));
    for (const QString &value : {u"''"_s, u"x'00ff'"_s, u"17"_s}) {
        rows(u"INSERT OR REPLACE INTO meta (key, value) VALUES ('imported_at', %1)"_s.arg(value));
        EXPECT_EQ(import(), std::nullopt) << value.toStdString();
    }
    rows(u"ALTER TABLE meta RENAME TO gone"_s);
    EXPECT_EQ(import(), std::nullopt) << "what cannot be looked for counts as done";
    EXPECT_EQ(count(u"agents"_s), 0);
}

TEST_F(LegacyImportTest, TheOrderOfTheFileIsInTheTimeStamps)
{
    ASSERT_TRUE(legacy.saveSlots({makeSlot(u"C"_s), makeSlot(u"A"_s), makeSlot(u"B"_s)}));
    ASSERT_TRUE(import());
    const auto found = rows(u"SELECT name, created_at FROM agents ORDER BY created_at"_s);
    for (qsizetype i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].string(u"name"), QStringList({u"C"_s, u"A"_s, u"B"_s})[i]);
        EXPECT_NEAR(found[i].double_(u"created_at").value(),
                    secondsSince1970(clock.now()) + 0.001 * double(i), 0.0001);
    }
}

TEST_F(LegacyImportTest, BadRowsAreLeftBehindAndKept)
{
    const auto good = makeSlot(u"good"_s);
    const QByteArray bytes = R"({"version":1,"slots":[7,)" + JSONValue(encodeRecord(good)).encoded() +
                             R"(,{"name":"no id"},null]})";
    QDir().mkpath(runs);
    ASSERT_TRUE(writeFileAtomically(legacy.slotsFile(), bytes));
    const auto run = makeRun(clock.now());
    const QByteArray text = encoded(run);
    writeRun(u"good.json"_s, text);
    writeRun(u"cut.json"_s, text.first(text.size() / 2));
    writeRun(u"empty.json"_s, "");
    writeRun(u"list.json"_s, "[" + text + "]");
    writeRun(u"noise.json"_s, QByteArray("\x00\xff\xfe{", 4));
    writeRun(u"deep.json"_s, QByteArray(100'000, '['));
    writeRun(u"other.txt"_s, text);
    QDir().mkpath(runs + u"/folder.json"_s);
    EXPECT_EQ(import(), (LegacyImport::Report{.slots = 1, .runs = 1}));
    EXPECT_EQ(store.loadSlots(), QList{good});
    EXPECT_EQ(store.loadHistory(), QList{run});
    EXPECT_EQ(readFile(backup).value(), bytes) << "with what could not be read";
    EXPECT_EQ(readFile(legacy.slotsFile() + u".bak"_s).value(), bytes);
}

TEST_F(LegacyImportTest, LinksAreFollowedAndNeverWaitedFor)
{
    // The whole folder lies elsewhere, as with a home on another disk.
    const QString elsewhere = home.path(u"disk/scheduler"_s);
    QDir().mkpath(elsewhere + u"/runs"_s);
    QDir().rmdir(paths.schedulerDir());
    ASSERT_TRUE(QFile::link(elsewhere, paths.schedulerDir()));
    const auto run = makeRun(clock.now());
    QFile::link(home.write(u"outside.json"_s, encoded(run)), runs + u"/linked.json"_s);
    QFile::link(home.path(u"nowhere"_s), runs + u"/dangling.json"_s);
    QFile::link(runs + u"/loop.json"_s, runs + u"/loop.json"_s);
    QFile::link(u"/dev/zero"_s, runs + u"/endless.json"_s);
    QFile::link(runs, runs + u"/itself.json"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(runs + u"/pipe.json"_s).constData(), 0600), 0);
    QFile::link(runs + u"/pipe.json"_s, runs + u"/linked-pipe.json"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(legacy.slotsFile()).constData(), 0600), 0);
    EXPECT_EQ(import(), (LegacyImport::Report{.slots = 0, .runs = 1}));
    EXPECT_EQ(store.loadHistory(), QList{run});
    EXPECT_FALSE(QFileInfo::exists(backup));
}

TEST_F(LegacyImportTest, TheBackupOfALinkIsAFileOfItsOwn)
{
    QDir().mkpath(runs);
    const QString target = home.write(u"dotfiles/slots.json"_s, R"({"slots":[]})");
    QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    ASSERT_TRUE(QFile::link(target, legacy.slotsFile()));
    EXPECT_TRUE(import());
    EXPECT_FALSE(QFileInfo(backup).isSymLink());
    EXPECT_EQ(readFile(backup).value(), R"({"slots":[]})");
    EXPECT_EQ(QFile::permissions(backup) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
}

/// Years of history come over in one go, at a start that a person waits for.
TEST_F(LegacyImportTest, TenThousandRuns)
{
    constexpr int count = 10'000;
    RunRecord newest;
    for (int i = 0; i < count; ++i) {
        auto run = makeRun(clock.now() - std::chrono::minutes(i * 37 % count));
        run.endedAt = run.startedAt + std::chrono::seconds(90);
        run.outcome = RunOutcome::completed();
        run.summary = QString(200, u'é');
        if (i == 0)
            newest = run;
        writeRun(uuidText(run.id) + u".json"_s, encoded(run));
    }
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(import(), (LegacyImport::Report{.slots = 0, .runs = count}));
    EXPECT_LT(timer.elapsed(), 20'000);
    std::printf("10,000 runs: %lld ms\n", static_cast<long long>(timer.elapsed()));
    EXPECT_EQ(this->count(u"runs"_s), count);
    EXPECT_EQ(store.loadHistory().size(), 200);
    EXPECT_EQ(store.loadHistory().first(), newest);
}

} // namespace
} // namespace Keelhaven
