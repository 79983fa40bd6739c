#pragma once

#include "Contract/ObjectReader.h"
#include "Platform/Uuid.h"

#include <QMap>

/// How the records of the shared files are read. Other programs write them, so no record fails: a key that is
/// absent, null or of the wrong type takes its default, and an unknown key stays in `raw`.
namespace Keelhaven::ContractReading {

template <typename T>
concept ContractRecord = requires(const JSONValue &json) {
    { T::fromJSON(json) } -> std::same_as<T>;
};

/// Never gives nothing: anything but an object is an empty record.
template <ContractRecord T>
[[nodiscard]] std::optional<T> decode(const JSONValue &json)
{
    return T::fromJSON(json);
}

template <ContractRecord T>
[[nodiscard]] std::optional<T> record(const ObjectReader &reader, QStringView key)
{
    const JSONValue *value = reader.raw(key);
    return value ? decode<T>(*value) : std::nullopt;
}

/// Every element of the array, an empty record for one that is no object.
template <ContractRecord T>
[[nodiscard]] QList<T> records(const ObjectReader &reader, QStringView key)
{
    return reader.array(key, decode<T>).value_or(QList<T>());
}

template <typename T>
[[nodiscard]] QMap<QString, T> toMap(KeyedList<T> members)
{
    QMap<QString, T> map;
    for (auto &[key, value] : members)
        map.insert(key, std::move(value));
    return map;
}

/// The members of the object at `key` that `transform` accepts; empty for anything but an object.
template <JSONTransform F>
[[nodiscard]] auto map(const ObjectReader &reader, QStringView key, F transform)
{
    using T = typename std::invoke_result_t<F &, const JSONValue &>::value_type;
    return toMap(reader.objectMap(key, transform).value_or(KeyedList<T>()));
}

template <ContractRecord T>
[[nodiscard]] QMap<QString, T> recordMap(const ObjectReader &reader, QStringView key)
{
    return map(reader, key, decode<T>);
}

[[nodiscard]] inline QStringList strings(const ObjectReader &reader, QStringView key)
{
    return reader.stringArray(key).value_or(QStringList());
}

/// The record's `id`, or a new one: screens need every record to have one.
[[nodiscard]] inline QString identifier(const ObjectReader &reader)
{
    const auto id = reader.string(u"id");
    return id ? *id : uuidText(QUuid::createUuid());
}

} // namespace Keelhaven::ContractReading
