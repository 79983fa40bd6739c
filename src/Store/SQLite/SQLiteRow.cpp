#include "Store/SQLite/SQLiteRow.h"

#include "Platform/Uuid.h"

#include <cmath>

namespace Keelhaven {

const SQLiteValue *SQLiteRow::operator[](QStringView column) const
{
    // At most some thirty columns: a search costs less than hashing the name.
    for (qsizetype i = 0; i < m_columns->size(); ++i) {
        if ((*m_columns)[i] == column)
            return &m_values[static_cast<size_t>(i)];
    }
    return nullptr;
}

std::optional<qint64> SQLiteRow::int64(QStringView column) const
{
    const SQLiteValue *value = (*this)[column];
    if (!value)
        return std::nullopt;
    if (const qint64 *number = value->intCase())
        return *number;
    constexpr double limit = 9223372036854775808.0;
    if (const double *number = value->doubleCase(); number && *number >= -limit && *number < limit)
        return static_cast<qint64>(std::trunc(*number));
    return std::nullopt;
}

std::optional<double> SQLiteRow::double_(QStringView column) const
{
    const SQLiteValue *value = (*this)[column];
    if (!value)
        return std::nullopt;
    if (const double *number = value->doubleCase())
        return *number;
    if (const qint64 *number = value->intCase())
        return static_cast<double>(*number);
    return std::nullopt;
}

std::optional<QByteArray> SQLiteRow::utf8(QStringView column) const
{
    const SQLiteValue *value = (*this)[column];
    const QByteArray *text = value ? value->textCase() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<QString> SQLiteRow::string(QStringView column) const
{
    const auto text = utf8(column);
    return text ? std::optional(QString::fromUtf8(*text)) : std::nullopt;
}

std::optional<bool> SQLiteRow::bool_(QStringView column) const
{
    const auto number = int64(column);
    return number ? std::optional(*number != 0) : std::nullopt;
}

std::optional<Date> SQLiteRow::date(QStringView column) const
{
    const auto number = double_(column);
    return number ? std::optional(dateFromSeconds(*number)) : std::nullopt;
}

std::optional<QUuid> SQLiteRow::uuid(QStringView column) const
{
    const auto text = string(column);
    return text ? uuidFromText(*text) : std::nullopt;
}

} // namespace Keelhaven
