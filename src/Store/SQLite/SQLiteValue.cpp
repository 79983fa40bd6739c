#include "Store/SQLite/SQLiteValue.h"

#include "Platform/Uuid.h"

namespace Keelhaven {

SQLiteValue SQLiteValue::optText(const std::optional<QString> &value)
{
    return value ? text(*value) : null();
}

SQLiteValue SQLiteValue::optInt(std::optional<qint64> value)
{
    return value ? int_(*value) : null();
}

SQLiteValue SQLiteValue::optDouble(std::optional<double> value)
{
    return value ? double_(*value) : null();
}

SQLiteValue SQLiteValue::date(Date value)
{
    return double_(secondsSince1970(value));
}

SQLiteValue SQLiteValue::optDate(std::optional<Date> value)
{
    return value ? date(*value) : null();
}

SQLiteValue SQLiteValue::uuid(const QUuid &value)
{
    return text(uuidText(value));
}

SQLiteValue SQLiteValue::optUUID(const std::optional<QUuid> &value)
{
    return value ? uuid(*value) : null();
}

const QByteArray *SQLiteValue::textCase() const
{
    const auto *text = std::get_if<Text>(&m_storage);
    return text ? &text->utf8 : nullptr;
}

} // namespace Keelhaven
