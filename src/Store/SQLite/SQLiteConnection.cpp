#include "Store/SQLite/SQLiteConnection.h"

#include <QFile>
#include <sqlite3.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {
constexpr int busyTimeoutMilliseconds = 5000;
}

/// A prepared statement for the length of one call.
class SQLiteConnection::Statement
{
public:
    Statement(const SQLiteConnection &connection, const QString &sql)
        : m_connection(connection)
        , m_sql(sql)
    {}
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;
    ~Statement() { sqlite3_finalize(m_handle); }

    [[nodiscard]] Result<void, SQLiteError> prepare(const SQLiteParameters &parameters)
    {
        const QByteArray sql = m_sql.toUtf8();
        const int size = static_cast<int>(sql.size()) + 1;
        if (const int code = sqlite3_prepare_v2(m_connection.m_db, sql.constData(), size, &m_handle, nullptr);
            code != SQLITE_OK)
            return failure(m_connection.lastError(code, m_sql));
        for (qsizetype i = 0; i < parameters.size(); ++i) {
            if (const int code = bind(static_cast<int>(i) + 1, parameters[i]); code != SQLITE_OK)
                return failure(m_connection.lastError(code, m_sql));
        }
        return {};
    }

    /// True when there is a row, false at the end.
    [[nodiscard]] Result<bool, SQLiteError> step()
    {
        const int code = sqlite3_step(m_handle);
        if (code != SQLITE_ROW && code != SQLITE_DONE)
            return failure(m_connection.lastError(code, m_sql));
        return code == SQLITE_ROW;
    }

    [[nodiscard]] QStringList columnNames() const
    {
        QStringList names;
        for (int i = 0; i < sqlite3_column_count(m_handle); ++i)
            names.append(QString::fromUtf8(sqlite3_column_name(m_handle, i)));
        return names;
    }

    [[nodiscard]] SQLiteValue column(int index) const
    {
        switch (sqlite3_column_type(m_handle, index)) {
        case SQLITE_INTEGER:
            return SQLiteValue::int_(sqlite3_column_int64(m_handle, index));
        case SQLITE_FLOAT:
            return SQLiteValue::double_(sqlite3_column_double(m_handle, index));
        case SQLITE_TEXT: {
            const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_handle, index));
            return SQLiteValue::utf8Text(QByteArray(text, sqlite3_column_bytes(m_handle, index)));
        }
        case SQLITE_BLOB: {
            const auto *bytes = static_cast<const char *>(sqlite3_column_blob(m_handle, index));
            return SQLiteValue::blob(QByteArray(bytes, sqlite3_column_bytes(m_handle, index)));
        }
        default:
            return SQLiteValue::null();
        }
    }

private:
    int bind(int position, const SQLiteValue &value)
    {
        switch (value.kind()) {
        case SQLiteValue::Kind::Int:
            return sqlite3_bind_int64(m_handle, position, *value.intCase());
        case SQLiteValue::Kind::Double:
            return sqlite3_bind_double(m_handle, position, *value.doubleCase());
        case SQLiteValue::Kind::Text:
            return sqlite3_bind_text(m_handle, position, value.textCase()->constData(), -1, SQLITE_TRANSIENT);
        case SQLiteValue::Kind::Blob:
            // An empty blob's pointer may count as null, and a null pointer binds NULL.
            if (value.blobCase()->isEmpty())
                return sqlite3_bind_zeroblob(m_handle, position, 0);
            return sqlite3_bind_blob(m_handle, position, value.blobCase()->constData(),
                                     static_cast<int>(value.blobCase()->size()), SQLITE_TRANSIENT);
        case SQLiteValue::Kind::Null:
            return sqlite3_bind_null(m_handle, position);
        }
        Q_UNREACHABLE();
    }

    const SQLiteConnection &m_connection;
    const QString &m_sql;
    sqlite3_stmt *m_handle = nullptr;
};

Result<std::unique_ptr<SQLiteConnection>, SQLiteError> SQLiteConnection::open(const QString &path)
{
    sqlite3 *handle = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int code = sqlite3_open_v2(QFile::encodeName(path).constData(), &handle, flags, nullptr);
    if (code != SQLITE_OK) {
        const QString text = handle ? QString::fromUtf8(sqlite3_errmsg(handle)) : u"cannot open database"_s;
        sqlite3_close_v2(handle);
        return failure(SQLiteError{code, text, std::nullopt});
    }
    // A file that may not be written is opened all the same, and then every save would fail unseen.
    if (sqlite3_db_readonly(handle, "main") == 1) {
        sqlite3_close_v2(handle);
        return failure(SQLiteError{SQLITE_READONLY, QString::fromUtf8(sqlite3_errstr(SQLITE_READONLY)), {}});
    }
    // From the first statement on: switching to the log or recovering it may meet another program's lock.
    sqlite3_busy_timeout(handle, busyTimeoutMilliseconds);
    return std::unique_ptr<SQLiteConnection>(new SQLiteConnection(handle));
}

SQLiteConnection::~SQLiteConnection()
{
    sqlite3_close_v2(m_db);
}

SQLiteError SQLiteConnection::lastError(int code, const QString &sql) const
{
    return SQLiteError{code, QString::fromUtf8(sqlite3_errmsg(m_db)), sql};
}

Result<void, SQLiteError> SQLiteConnection::execute(const QString &sql)
{
    char *text = nullptr;
    const int code = sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &text);
    if (code == SQLITE_OK)
        return {};
    const QString words = text ? QString::fromUtf8(text) : u"sqlite error "_s + QString::number(code);
    sqlite3_free(text);
    return failure(SQLiteError{code, words, sql});
}

Result<int, SQLiteError> SQLiteConnection::run(const QString &sql, const SQLiteParameters &parameters)
{
    Statement statement(*this, sql);
    if (auto prepared = statement.prepare(parameters); !prepared)
        return failure(std::move(prepared.error()));
    if (auto row = statement.step(); !row)
        return failure(std::move(row.error()));
    return sqlite3_changes(m_db);
}

Result<QList<SQLiteRow>, SQLiteError> SQLiteConnection::query(const QString &sql,
                                                              const SQLiteParameters &parameters)
{
    Statement statement(*this, sql);
    if (auto prepared = statement.prepare(parameters); !prepared)
        return failure(std::move(prepared.error()));
    const auto columns = std::make_shared<const QStringList>(statement.columnNames());
    QList<SQLiteRow> rows;
    while (true) {
        const auto more = statement.step();
        if (!more)
            return failure(more.error());
        if (!*more)
            return rows;
        std::vector<SQLiteValue> values;
        values.reserve(static_cast<size_t>(columns->size()));
        for (int i = 0; i < columns->size(); ++i)
            values.push_back(statement.column(i));
        rows.emplaceBack(columns, std::move(values));
    }
}

Result<void, SQLiteError> SQLiteConnection::begin()
{
    return execute(u"BEGIN IMMEDIATE"_s);
}

Result<void, SQLiteError> SQLiteConnection::commit()
{
    return execute(u"COMMIT"_s);
}

void SQLiteConnection::rollBack()
{
    // It fails where the engine has rolled back by itself, as on a full disk.
    static_cast<void>(execute(u"ROLLBACK"_s));
}

Result<int, SQLiteError> SQLiteConnection::userVersion()
{
    const auto rows = query(u"PRAGMA user_version"_s);
    if (!rows)
        return failure(rows.error());
    const auto version = rows->isEmpty() ? std::nullopt : rows->first().int_(u"user_version");
    return static_cast<int>(version.value_or(0));
}

Result<void, SQLiteError> SQLiteConnection::setUserVersion(int version)
{
    return execute(u"PRAGMA user_version = "_s + QString::number(version));
}

} // namespace Keelhaven
