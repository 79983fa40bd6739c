#pragma once

#include "Store/SQLite/SQLiteValue.h"

#include <QStringList>
#include <memory>
#include <vector>

namespace Keelhaven {

/// One row of a result. The readers give nothing for an unknown column, for null and for a type they do not
/// convert.
class SQLiteRow
{
public:
    /// All rows of one result share `columns`.
    SQLiteRow(std::shared_ptr<const QStringList> columns, std::vector<SQLiteValue> values)
        : m_columns(std::move(columns))
        , m_values(std::move(values))
    {}

    [[nodiscard]] const QStringList &columns() const { return *m_columns; }
    [[nodiscard]] const std::vector<SQLiteValue> &values() const { return m_values; }

    /// Null when there is no such column. Valid as long as the row.
    [[nodiscard]] const SQLiteValue *operator[](QStringView column) const;

    /// An integer, or a double without its fraction. Both names give 64 bits: sums of tokens pass 32.
    [[nodiscard]] std::optional<qint64> int_(QStringView column) const { return int64(column); }
    [[nodiscard]] std::optional<qint64> int64(QStringView column) const;
    /// A double or an integer.
    [[nodiscard]] std::optional<double> double_(QStringView column) const;
    [[nodiscard]] std::optional<QString> string(QStringView column) const;
    /// Text as the engine keeps it, for a JSON payload that is parsed from bytes.
    [[nodiscard]] std::optional<QByteArray> utf8(QStringView column) const;
    /// Whether an integer or double is not 0.
    [[nodiscard]] std::optional<bool> bool_(QStringView column) const;
    /// A number of seconds since 1970.
    [[nodiscard]] std::optional<Date> date(QStringView column) const;
    /// Text that is a UUID.
    [[nodiscard]] std::optional<QUuid> uuid(QStringView column) const;

private:
    std::shared_ptr<const QStringList> m_columns;
    std::vector<SQLiteValue> m_values;
};

} // namespace Keelhaven
