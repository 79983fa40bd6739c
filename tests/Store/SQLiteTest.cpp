#include "Store/SQLite/KeelhavenDatabase.h"

#include "Store/DatabaseOpening.h"
#include "Store/StoreSupport.h"

#include <QCoreApplication>
#include <latch>
#include <sqlite3.h>
#include <sys/stat.h>
#include <thread>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using V = SQLiteValue;

mode_t modeOf(const QString &path)
{
    struct stat status = {};
    EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &status), 0);
    return status.st_mode & 0777;
}

TEST(SQLiteErrorTest, TextNamesCodeMessageAndTheStartOfTheStatement)
{
    const QString family = u"👨‍👩‍👧"_s; // one character, several code points
    const struct
    {
        SQLiteError error;
        QString text;
    } cases[] = {
        {{14, u"unable to open database file"_s, std::nullopt}, u"sqlite 14: unable to open database file"_s},
        {{1, u"no such table: x"_s, u"SELECT 1"_s}, u"sqlite 1: no such table: x — SELECT 1"_s},
        {{1, u"e"_s, QString(120, u'a')}, u"sqlite 1: e — "_s + QString(120, u'a')},
        {{1, u"e"_s, QString(121, u'a')}, u"sqlite 1: e — "_s + QString(120, u'a')},
        {{1, u"e"_s, QString(119, u'a') + family + u"b"_s},
         u"sqlite 1: e — "_s + QString(119, u'a') + family},
    };
    for (const auto &[error, text] : cases)
        EXPECT_EQ(error.message(), text);
}

class SQLiteTest : public DatabaseTest
{
protected:
    /// What is read back of a stored value.
    SQLiteRow roundTrip(const V &value) { return rows(u"SELECT ? AS x"_s, {value}).first(); }
};

TEST_F(SQLiteTest, ReadersConvertWhatTheyPromiseAndNothingElse)
{
    const QUuid id = QUuid::createUuid();
    const struct
    {
        V value;
        std::optional<qint64> integer;
        std::optional<double> number;
        std::optional<QString> string;
        std::optional<bool> boolean;
    } cases[] = {
        {V::int_(-3), -3, -3.0, {}, true},
        {V::int_(0), 0, 0.0, {}, false},
        {V::double_(2.9), 2, 2.9, {}, true},
        {V::double_(-2.9), -2, -2.9, {}, true},
        {V::double_(1e300), {}, 1e300, {}, {}},
        {V::text(u"7"_s), {}, {}, u"7"_s, {}},
        {V::text(u""_s), {}, {}, u""_s, {}},
        {V::text(u"Ä👍"_s), {}, {}, u"Ä👍"_s, {}},
        {V::text(u"cut\0off"_s), {}, {}, u"cut"_s, {}},
        {V::blob("ab"), {}, {}, {}, {}},
        {V::null(), {}, {}, {}, {}},
        {V::optText(std::nullopt), {}, {}, {}, {}},
        {V::bool_(true), 1, 1.0, {}, true},
    };
    for (const auto &[value, integer, number, string, boolean] : cases) {
        const SQLiteRow row = roundTrip(value);
        EXPECT_EQ(row[u"x"]->kind(), value.kind());
        EXPECT_EQ(row.int_(u"x"), integer);
        EXPECT_EQ(row.int64(u"x"), integer);
        EXPECT_EQ(row.double_(u"x"), number);
        EXPECT_EQ(row.string(u"x"), string);
        EXPECT_EQ(row.bool_(u"x"), boolean);
        EXPECT_EQ(row.int_(u"unknown"), std::nullopt);
    }
    EXPECT_EQ(*roundTrip(V::blob({}))[u"x"], V::blob({})) << "an empty blob is no null";
    EXPECT_EQ(roundTrip(V::uuid(id)).string(u"x"), uuidText(id));
    EXPECT_EQ(roundTrip(V::uuid(id)).uuid(u"x"), id);
    EXPECT_EQ(roundTrip(V::text(u"no uuid"_s)).uuid(u"x"), std::nullopt);
    const Date date(std::chrono::microseconds(1772600707123456));
    EXPECT_EQ(roundTrip(V::date(date)).date(u"x"), date);
    EXPECT_EQ(roundTrip(V::int_(60)).date(u"x"), Date(std::chrono::seconds(60)));
}

TEST_F(SQLiteTest, FailuresCarryTheStatement)
{
    database->sync([](SQLiteConnection &connection) {
        const auto bad = connection.query(u"SELECT * FROM nowhere"_s);
        EXPECT_EQ(bad.error(),
                  (SQLiteError{SQLITE_ERROR, u"no such table: nowhere"_s, u"SELECT * FROM nowhere"_s}));
        const auto unbound = connection.run(u"INSERT INTO meta VALUES (?, ?)"_s,
                                            {V::text(u"a"_s), V::text(u"b"_s), V::null()});
        EXPECT_EQ(unbound.error().code, SQLITE_RANGE);
        const auto second = connection.execute(u"CREATE TABLE t (x); INSERT INTO t VALUES (1, 2)"_s);
        EXPECT_EQ(second.error().text, u"table t has 1 columns but 2 values were supplied"_s);
        EXPECT_EQ(connection.run(u"INSERT INTO t VALUES (1), (2), (3)"_s).value(), 3);
        return 0;
    });
}

TEST_F(SQLiteTest, SyncNestsAndKeepsOtherThreadsOut)
{
    QStringList order;
    std::latch other(1);
    std::thread thread;
    database->sync([&](SQLiteConnection &) {
        thread = std::thread([&] {
            other.count_down();
            database->sync([&](SQLiteConnection &) { return order.append(u"other"_s), 0; });
        });
        other.wait();
        std::this_thread::yield();
        order.append(
            database->sync([&](SQLiteConnection &inner) { return inner.query(u"SELECT 'nested' AS x"_s); })
                .value()
                .first()
                .string(u"x")
                .value());
        EXPECT_TRUE(database->setMeta(u"k"_s, u"v"_s));
        order.append(u"outer"_s);
        return 0;
    });
    thread.join();
    EXPECT_EQ(order, (QStringList{u"nested"_s, u"outer"_s, u"other"_s}));
    EXPECT_EQ(database->meta(u"k"_s), u"v"_s);
}

TEST_F(SQLiteTest, FailedTransactionsLeaveNothingAndNoOpenTransaction)
{
    database->sync([](SQLiteConnection &connection) {
        using Void = Result<void, SQLiteError>;
        const auto body = connection.transaction([&]() -> Void {
            EXPECT_TRUE(connection.run(u"INSERT INTO meta VALUES ('a', 'b')"_s));
            return failure(SQLiteError{99, u"stop"_s, std::nullopt});
        });
        EXPECT_EQ(body.error().code, 99);
        // A foreign key that is checked at the commit makes the commit itself fail.
        EXPECT_TRUE(
            connection.execute(u"CREATE TABLE p (id INTEGER PRIMARY KEY); "
                               "CREATE TABLE c (p REFERENCES p(id) DEFERRABLE INITIALLY DEFERRED)"_s));
        const auto commit =
            connection.transaction([&] { return connection.run(u"INSERT INTO c VALUES (7)"_s); });
        EXPECT_EQ(commit.error().code, SQLITE_CONSTRAINT);
        const auto fine =
            connection.transaction([&] { return connection.run(u"INSERT INTO p VALUES (7)"_s); });
        EXPECT_EQ(fine, 1);
        return 0;
    });
    EXPECT_EQ(count(u"meta"_s), 0);
    EXPECT_EQ(count(u"c"_s), 0);
}

TEST_F(SQLiteTest, OpensWithItsPragmasPrivateFilesAndAnEmptyLogAfterACheckpoint)
{
    EXPECT_EQ(rows(u"PRAGMA journal_mode"_s).first().string(u"journal_mode"), u"wal"_s);
    EXPECT_EQ(rows(u"PRAGMA synchronous"_s).first().int_(u"synchronous"), 1);
    EXPECT_EQ(rows(u"PRAGMA busy_timeout"_s).first().int_(u"timeout"), 5000);
    EXPECT_EQ(rows(u"PRAGMA foreign_keys"_s).first().int_(u"foreign_keys"), 1);
    EXPECT_EQ(rows(u"PRAGMA user_version"_s).first().int_(u"user_version"), 1);
    const QString log = database->path() + u"-wal"_s;
    EXPECT_EQ(modeOf(paths.appSupportDir), 0700U);
    EXPECT_EQ(modeOf(database->path()), 0600U);
    EXPECT_EQ(modeOf(log), 0600U);
    EXPECT_GT(QFileInfo(log).size(), 0);
    database->checkpoint();
    EXPECT_EQ(QFileInfo(log).size(), 0);
    // A file that came in by a copy loses what others could do with it, and its owner may write it again.
    for (const mode_t mode : {0644U, 0400U}) {
        database.reset();
        ::chmod(QFile::encodeName(paths.databaseFile()).constData(), mode);
        database = openOrFail(paths.databaseFile());
        EXPECT_EQ(modeOf(paths.databaseFile()), 0600U);
    }
}

TEST_F(SQLiteTest, FileThatCannotBeWrittenIsNotOpened)
{
    database.reset();
    ASSERT_EQ(::chmod(QFile::encodeName(paths.databaseFile()).constData(), 0400), 0);
    const WithoutRootsPower plainUser;
    const auto opened = SQLiteConnection::open(paths.databaseFile());
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().message(), u"sqlite 8: attempt to write a readonly database"_s);
}

TEST_F(SQLiteTest, BrokenPageIsFoundThoughTheFileOpens)
{
    EXPECT_EQ(KeelhavenDatabase::damage(paths.databaseFile()), std::nullopt) << "while it is open";
    const auto page =
        rows(u"SELECT rootpage FROM sqlite_master WHERE name = 'runs'"_s).first().int_(u"rootpage");
    database.reset();
    QFile file(paths.databaseFile());
    ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.seek((*page - 1) * 4096));
    ASSERT_EQ(file.write(QByteArray(4096, 'x')), 4096);
    file.close();
    database = openOrFail(paths.databaseFile());
    const auto damage = KeelhavenDatabase::damage(paths.databaseFile());
    ASSERT_TRUE(damage);
    EXPECT_TRUE(damage->contains(u" %1"_s.arg(*page))) << damage->toStdString();
    EXPECT_EQ(KeelhavenDatabase::damage(home.path()), std::nullopt) << "that is for the opening to tell";
}

TEST_F(SQLiteTest, NewerFileIsOpenedAsItIs)
{
    rows(u"DROP TABLE journal"_s);
    rows(u"PRAGMA user_version = 2"_s);
    database = openOrFail(paths.databaseFile());
    EXPECT_EQ(rows(u"PRAGMA user_version"_s).first().int_(u"user_version"), 2);
    EXPECT_TRUE(rows(u"SELECT name FROM sqlite_master WHERE name = 'journal'"_s).isEmpty());
}

TEST_F(SQLiteTest, MigrationThatFailsHalfWayIsTriedAgainFromTheStart)
{
    const QString path = home.path(u"half/db.sqlite"_s);
    auto tables = [](SQLiteConnection &connection) {
        QStringList list;
        for (const auto &row :
             connection.query(u"SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"_s).value())
            list.append(row.string(u"name").value());
        return list;
    };
    ASSERT_TRUE(makeFolder(home.path(u"half"_s)));
    const auto raw = SQLiteConnection::open(path).value();
    ASSERT_TRUE(raw->execute(u"CREATE TABLE journal (x)"_s)); // in the way of the schema's own
    const auto failed = KeelhavenDatabase::open(path);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().text, u"table journal already exists"_s);
    EXPECT_EQ(tables(*raw), QStringList{u"journal"_s});
    EXPECT_EQ(raw->userVersion().value(), 0);
    ASSERT_TRUE(raw->execute(u"DROP TABLE journal"_s));
    EXPECT_TRUE(KeelhavenDatabase::open(path));
    EXPECT_EQ(raw->userVersion().value(), 1);
    EXPECT_TRUE(tables(*raw).contains(u"usage_samples"_s));
}

TEST_F(SQLiteTest, FileThatSeveralOpenForTheFirstTimeIsMadeOnce)
{
    for (int round = 0; round < 10; ++round) {
        const QString path = home.path(u"several%1.sqlite"_s.arg(round));
        std::latch together(4);
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                together.arrive_and_wait();
                const auto opened = KeelhavenDatabase::open(path);
                EXPECT_TRUE(opened) << opened.error().message().toStdString();
            });
        }
    }
}

TEST_F(SQLiteTest, VersionBelowNoneCountsAsNone)
{
    const QString path = home.path(u"odd.sqlite"_s);
    ASSERT_TRUE(SQLiteConnection::open(path).value()->setUserVersion(-3));
    EXPECT_EQ(openOrFail(path)->meta(u"k"_s), std::nullopt);
    EXPECT_EQ(SQLiteConnection::open(path).value()->userVersion().value(), 1);
}

/// Points the temporary folder of this process elsewhere for one test.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const QString &folder)
        : m_before(qgetenv("TMPDIR"))
    {
        qputenv("TMPDIR", folder.toUtf8());
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;
    ~TemporaryFolder() { m_before.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", m_before); }

private:
    QByteArray m_before;
};

TEST(DatabaseOpeningTest, UnusableFilesGiveAFreshTemporaryDatabase)
{
    const struct
    {
        const char *name;
        void (*spoil)(const TestHome &home, const KeelhavenPaths &paths);
        QString error;
    } cases[] = {
        {"garbage",
         [](const TestHome &home, const KeelhavenPaths &) {
             home.write(u".local/share/keelhaven/keelhaven.sqlite"_s, QByteArray(5000, 'x'));
         },
         u"sqlite 26: file is not a database"_s},
        {"folder in its place",
         [](const TestHome &, const KeelhavenPaths &paths) { EXPECT_TRUE(makeFolder(paths.databaseFile())); },
         u"sqlite 14: unable to open database file"_s},
        {"no folder possible",
         [](const TestHome &home, const KeelhavenPaths &) {
             home.write(u".local/share/keelhaven"_s, "file");
         },
         u"sqlite 14: "_s},
    };
    for (const auto &[name, spoil, error] : cases) {
        SCOPED_TRACE(name);
        const TestHome home;
        const auto paths = home.paths();
        spoil(home, paths);
        const TemporaryFolder temporary(home.path());
        ::testing::internal::CaptureStderr();
        for (int attempt = 0; attempt < 2; ++attempt) { // the second finds the first one's file
            auto opened = openDatabase(paths);
            ASSERT_TRUE(opened);
            ASSERT_TRUE(opened->error);
            EXPECT_TRUE(opened->error->startsWith(error)) << opened->error->toStdString();
            EXPECT_EQ(modeOf(opened->database->path()), 0600U);
            EXPECT_EQ(opened->database->meta(u"k"_s), std::nullopt);
            EXPECT_TRUE(opened->database->setMeta(u"k"_s, u"v"_s));
        }
        const QString log = QString::fromStdString(::testing::internal::GetCapturedStderr());
        EXPECT_TRUE(log.contains(u"Keelhaven: database at "_s + paths.databaseFile() +
                                 u" failed to open ("_s + error))
            << log.toStdString();
        EXPECT_TRUE(log.contains(u"); using a temporary one"_s));
    }
}

TEST(DatabaseOpeningTest, NoDatabaseAnywhereIsAnError)
{
    const TestHome home;
    ASSERT_TRUE(makeFolder(home.paths().databaseFile()));
    // Somebody else's thing under the temporary file's name, which cannot be removed.
    home.write(u"tmp/keelhaven-fallback-%1.sqlite/file"_s.arg(QCoreApplication::applicationPid()), "x");
    const TemporaryFolder temporary(home.path(u"tmp"_s));
    const auto opened = openDatabase(home.paths());
    ASSERT_FALSE(opened);
    EXPECT_TRUE(
        opened.error().message().startsWith(u"Keelhaven cannot open a database anywhere: sqlite 14: "_s))
        << opened.error().message().toStdString();
}

TEST(DatabaseOpeningTest, UsableFileIsUsed)
{
    const TestHome home;
    const auto opened = openDatabase(home.paths());
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->error, std::nullopt);
    EXPECT_EQ(opened->database->path(), home.paths().databaseFile());
}

} // namespace
} // namespace Keelhaven
