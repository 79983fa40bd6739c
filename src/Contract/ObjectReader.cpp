#include "Contract/ObjectReader.h"

namespace Keelhaven {

ObjectReader::ObjectReader(const JSONValue *value)
{
    if (const auto *object = value ? value->objectValue() : nullptr)
        m_object = *object;
}

const JSONValue *ObjectReader::raw(QStringView key) const
{
    const JSONValue *value = m_object.find(key);
    return value && !value->isNull() ? value : nullptr;
}

std::optional<QString> ObjectReader::string(QStringView key) const
{
    const JSONValue *value = raw(key);
    return value ? value->stringValue() : std::nullopt;
}

std::optional<qint64> ObjectReader::integer(QStringView key) const
{
    const JSONValue *value = raw(key);
    return value ? value->intValue() : std::nullopt;
}

std::optional<double> ObjectReader::double_(QStringView key) const
{
    const JSONValue *value = raw(key);
    return value ? value->doubleValue() : std::nullopt;
}

std::optional<bool> ObjectReader::bool_(QStringView key) const
{
    const JSONValue *value = raw(key);
    return value ? value->boolValue() : std::nullopt;
}

std::optional<QStringList> ObjectReader::stringArray(QStringView key) const
{
    return array(key, &JSONValue::stringValue);
}

std::optional<KeyedList<qint64>> ObjectReader::intMap(QStringView key) const
{
    return objectMap(key, &JSONValue::intValue);
}

} // namespace Keelhaven
