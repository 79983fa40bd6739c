// Loading the run history from a large table beside a small one, and committing a record beside the bare
// engine.

#include "Platform/SystemClock.h"
#include "Platform/Uuid.h"
#include "Ratio.h"
#include "Store/SQLiteRunStore.h"

#include <QTemporaryDir>
#include <cstdlib>
#include <sqlite3.h>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;

[[noreturn]] void give(const QString &what)
{
    std::fprintf(stderr, "%s\n", qPrintable(what));
    std::exit(1);
}

/// A record as a finished run leaves it.
RunRecord typicalRun(int number)
{
    RunRecord run;
    run.slotID = QUuid::createUuid();
    run.slotName = u"Nightly review"_s;
    run.cwd = u"/home/user/projects/harbour"_s;
    run.command = u"/review the changes since yesterday and write what you find to review.md"_s;
    run.trigger = RunTrigger::Scheduled;
    run.startedAt = Date(std::chrono::seconds(1700000000)) + std::chrono::minutes(number);
    run.endedAt = run.startedAt + std::chrono::minutes(12);
    run.outcome = RunOutcome::completed();
    run.sessionID = uuidText(QUuid::createUuid());
    run.completionMessage =
        u"I looked at 14 changed files. Two functions lack a check of their input; the tests pass. "_s
            .repeated(4);
    run.scrollbackFile = u"runs/"_s + uuidText(run.id) + u".txt"_s;
    run.provider = AgentProvider::Claude;
    run.model = u"opus"_s;
    run.shipID = QUuid::createUuid();
    run.agentKind = SlotKind::Scheduled;
    run.launchRunID = run.id;
    run.summary = u"Reviewed 14 files, two findings."_s;
    run.usage = RunUsage{.input = 18230, .output = 5210, .cacheCreation = 80211, .cacheRead = 921332};
    return run;
}

/// A database file with its store.
class HistoryFile
{
public:
    explicit HistoryFile(const QString &path)
    {
        auto opened = KeelhavenDatabase::open(path);
        if (!opened)
            give(opened.error().message());
        m_database = *std::move(opened);
        m_store =
            std::make_unique<SQLiteRunStore>(*m_database, m_clock, path + u"-runs"_s, path + u"-assets"_s);
    }

    void fill(int runs)
    {
        const auto filled = m_database->sync([&](SQLiteConnection &connection) {
            return connection.transaction([&]() -> Result<void, SQLiteError> {
                for (int i = 0; i < runs; ++i) {
                    if (const auto changed = SQLiteRunStore::upsert(typicalRun(i), connection); !changed)
                        return failure(changed.error());
                }
                return {};
            });
        });
        if (!filled)
            give(filled.error().message());
        m_database->checkpoint();
    }

    [[nodiscard]] SQLiteRunStore &store() { return *m_store; }
    [[nodiscard]] KeelhavenDatabase &database() { return *m_database; }

private:
    SystemClock m_clock;
    std::unique_ptr<KeelhavenDatabase> m_database;
    std::unique_ptr<SQLiteRunStore> m_store;
};

/// The engine without anything of ours: the same columns, values and journal mode, one commit a row.
class BareTable
{
public:
    enum class Statements { OneShot, Kept };

    BareTable(const QString &path, Statements statements)
        : m_statements(statements)
    {
        // The schema and the values of a row come from the store, and nothing of it is used afterwards.
        HistoryFile bench(path);
        if (const auto saved = bench.store().saveRecord(typicalRun(0)); !saved)
            give(saved.error().message());
        const auto row =
            bench.database()
                .sync([](SQLiteConnection &connection) { return connection.query(u"SELECT * FROM runs"_s); })
                .value()
                .first();
        m_values = row.values();
        QStringList places, updates;
        for (const QString &column : row.columns()) {
            places.append(u"?"_s);
            if (column != u"id")
                updates.append(column + u" = excluded."_s + column);
        }
        m_sql = u"INSERT INTO runs (%1) VALUES (%2) ON CONFLICT(id) DO UPDATE SET %3"_s
                    .arg(row.columns().join(u", "_s), places.join(u','), updates.join(u", "_s))
                    .toUtf8();
        check(sqlite3_open_v2(path.toUtf8().constData(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                              nullptr));
        check(sqlite3_exec(m_db,
                           "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA busy_timeout = "
                           "5000; PRAGMA foreign_keys = ON;",
                           nullptr, nullptr, nullptr));
    }
    BareTable(const BareTable &) = delete;
    BareTable &operator=(const BareTable &) = delete;
    ~BareTable()
    {
        sqlite3_finalize(m_statement);
        sqlite3_close_v2(m_db);
    }

    void upsert(const QByteArray &id)
    {
        if (!m_statement)
            check(sqlite3_prepare_v2(m_db, m_sql.constData(), static_cast<int>(m_sql.size()) + 1,
                                     &m_statement, nullptr));
        sqlite3_bind_text(m_statement, 1, id.constData(), -1, SQLITE_TRANSIENT);
        for (size_t i = 1; i < m_values.size(); ++i)
            bind(static_cast<int>(i) + 1, m_values[i]);
        if (sqlite3_step(m_statement) != SQLITE_DONE)
            give(u"the bare upsert failed"_s);
        if (m_statements == Statements::Kept)
            sqlite3_reset(m_statement);
        else
            sqlite3_finalize(std::exchange(m_statement, nullptr));
    }

private:
    static void check(int code)
    {
        if (code != SQLITE_OK)
            give(u"sqlite error "_s + QString::number(code));
    }
    void bind(int position, const SQLiteValue &value)
    {
        if (const auto *number = value.intCase())
            sqlite3_bind_int64(m_statement, position, *number);
        else if (const auto *real = value.doubleCase())
            sqlite3_bind_double(m_statement, position, *real);
        else if (const auto *text = value.textCase())
            sqlite3_bind_text(m_statement, position, text->constData(), -1, SQLITE_TRANSIENT);
        else
            sqlite3_bind_null(m_statement, position);
    }

    Statements m_statements;
    QByteArray m_sql;
    std::vector<SQLiteValue> m_values;
    sqlite3 *m_db = nullptr;
    sqlite3_stmt *m_statement = nullptr;
};

/// How many times as long as `peer` `subject` takes, the two taking turns.
template <typename Subject, typename Peer>
double timesAsLong(Subject &&subject, Peer &&peer, int rounds)
{
    subject();
    peer();
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const double own = Bench::milliseconds(subject);
        ratios.push_back(own / Bench::milliseconds(peer));
    }
    return Bench::median(std::move(ratios));
}

void measureLoad(const QTemporaryDir &folder)
{
    HistoryFile small(folder.filePath(u"small.sqlite"_s));
    HistoryFile large(folder.filePath(u"large.sqlite"_s));
    small.fill(200);
    large.fill(100000);
    const auto load = [](HistoryFile &bench) {
        for (int i = 0; i < 10; ++i) {
            if (bench.store().loadHistory().size() != 200)
                give(u"the history is not whole"_s);
        }
    };
    const double ratio = timesAsLong([&] { load(large); }, [&] { load(small); }, 15);
    Bench::printRatio("history_load_200_of_100000", ratio, 1.2, Bench::Aim::AtMost);
}

void measureCommit(const QTemporaryDir &folder)
{
    constexpr int commits = 500;
    HistoryFile own(folder.filePath(u"own.sqlite"_s));
    BareTable oneShot(folder.filePath(u"oneshot.sqlite"_s), BareTable::Statements::OneShot);
    BareTable kept(folder.filePath(u"kept.sqlite"_s), BareTable::Statements::Kept);
    auto run = typicalRun(1);
    const auto save = [&] {
        for (int i = 0; i < commits; ++i) {
            run.id = QUuid::createUuid();
            if (const auto saved = own.store().saveRecord(run); !saved)
                give(saved.error().message());
        }
    };
    const auto saveBare = [](BareTable &table) {
        for (int i = 0; i < commits; ++i)
            table.upsert(uuidText(QUuid::createUuid()).toLatin1());
    };
    Bench::printRatio("commit_record",
                      timesAsLong(save, [&] { saveBare(oneShot); }, 15), 2, Bench::Aim::AtMost);
    // For information: what keeping the statement would save the bare engine.
    std::printf("commit_record_vs_kept_statement ratio=%.2f\n",
                timesAsLong(save, [&] { saveBare(kept); }, 15));
}

} // namespace

int main()
{
    const QTemporaryDir folder;
    if (!folder.isValid())
        give(u"no temporary folder"_s);
    measureLoad(folder);
    measureCommit(folder);
}
