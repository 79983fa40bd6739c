#pragma once

#include "Contract/JSONValue.h"
#include "Platform/Moments.h"
#include "Platform/Uuid.h"

#include <QMap>
#include <array>
#include <tuple>

/// Records and JSON. A record states its fields once, in a table, by specialising RecordTable:
///
///     template <>
///     struct RecordTable<RunUsage> {
///         static auto fields() {
///             return std::tuple{defaulted(u"input", &RunUsage::input), optional(u"model",
///             &RunUsage::model)};
///         }
///     };
///
/// `decodeRecord<RunUsage>(json)` and `encodeRecord(usage)` are then both derived from it.
namespace Keelhaven {

/// Why JSON is not the record asked for. `path` is the key, dotted through nested records.
struct DecodeError
{
    QString path;
    QString reason;

    [[nodiscard]] QString message() const
    {
        return path.isEmpty() ? reason : path + QStringLiteral(": ") + reason;
    }
    bool operator==(const DecodeError &) const = default;
};

template <typename T>
using Decoded = Result<T, DecodeError>;

/// The field table of a record: `static auto fields()` gives a tuple of the fields below. An optional
/// `static void decoded(T &, const JSONObject &)` runs after all fields were read, an optional
/// `static void encoded(const T &, JSONObject &)` after all were written: for what a row cannot say.
template <typename T>
struct RecordTable;

/// The texts of an enum, in order of its values: `static constexpr std::array<std::u16string_view, N> texts`.
/// An optional `static constexpr E unknown` is what any other text decodes as; without it such text is an
/// error.
template <typename E>
struct EnumTexts;

template <typename E>
concept TextEnum = requires { EnumTexts<E>::texts; };

template <typename T>
concept TableRecord = requires { RecordTable<T>::fields(); };

/// Raw text of an enum value.
template <TextEnum E>
[[nodiscard]] QString enumText(E value)
{
    const auto text = EnumTexts<E>::texts[static_cast<size_t>(value)];
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

/// The value with this raw text; the enum's `unknown` where it has one, else nothing.
template <TextEnum E>
[[nodiscard]] std::optional<E> enumFromText(QStringView text)
{
    for (size_t i = 0; i < EnumTexts<E>::texts.size(); ++i) {
        if (text == QStringView(EnumTexts<E>::texts[i]))
            return static_cast<E>(i);
    }
    if constexpr (requires { EnumTexts<E>::unknown; })
        return EnumTexts<E>::unknown;
    else
        return std::nullopt;
}

/// How one type reads from and writes to JSON. Specialise it for types that are neither record nor enum.
template <typename T>
struct JSONCodec;

template <TableRecord T>
[[nodiscard]] Decoded<T> decodeRecord(const JSONValue &json);
template <TableRecord T>
[[nodiscard]] JSONObject encodeRecord(const T &record);

namespace Detail {

inline auto wrongType(QStringView expected)
{
    return failure(DecodeError{{}, QStringLiteral("expected ") + expected.toString()});
}

inline DecodeError within(QStringView key, DecodeError inner)
{
    inner.path = inner.path.isEmpty() ? key.toString() : key.toString() + QStringLiteral(".") + inner.path;
    return inner;
}

} // namespace Detail

template <>
struct JSONCodec<bool>
{
    static Decoded<bool> decode(const JSONValue &json)
    {
        if (const auto value = json.boolValue())
            return *value;
        return Detail::wrongType(u"a boolean");
    }
    static JSONValue encode(bool value) { return value; }
};

template <typename T>
    requires(std::integral<T> && !std::same_as<T, bool>)
struct JSONCodec<T>
{
    static Decoded<T> decode(const JSONValue &json)
    {
        if (const auto value = json.intValue(); value && std::in_range<T>(*value))
            return static_cast<T>(*value);
        return Detail::wrongType(u"an integer");
    }
    static JSONValue encode(T value) { return static_cast<qint64>(value); }
};

template <>
struct JSONCodec<double>
{
    static Decoded<double> decode(const JSONValue &json)
    {
        if (const auto value = json.doubleValue())
            return *value;
        return Detail::wrongType(u"a number");
    }
    static JSONValue encode(double value) { return value; }
};

template <>
struct JSONCodec<QString>
{
    static Decoded<QString> decode(const JSONValue &json)
    {
        if (auto value = json.stringValue())
            return *std::move(value);
        return Detail::wrongType(u"a text");
    }
    static JSONValue encode(const QString &value) { return value; }
};

template <>
struct JSONCodec<QUuid>
{
    static Decoded<QUuid> decode(const JSONValue &json)
    {
        const auto text = json.stringValue();
        if (const auto id = text ? uuidFromText(*text) : std::nullopt)
            return *id;
        return Detail::wrongType(u"a UUID");
    }
    static JSONValue encode(const QUuid &value) { return uuidText(value); }
};

template <>
struct JSONCodec<Date>
{
    static Decoded<Date> decode(const JSONValue &json)
    {
        const auto text = json.stringValue();
        if (!text)
            return Detail::wrongType(u"a date");
        if (const auto date = dateFromISOText(*text))
            return *date;
        return failure(DecodeError{{}, QStringLiteral("bad ISO-8601 date: ") + *text});
    }
    static JSONValue encode(Date value) { return isoText(value); }
};

template <>
struct JSONCodec<JSONValue>
{
    static Decoded<JSONValue> decode(const JSONValue &json) { return json; }
    static JSONValue encode(const JSONValue &value) { return value; }
};

template <TextEnum E>
struct JSONCodec<E>
{
    static Decoded<E> decode(const JSONValue &json)
    {
        const auto text = json.stringValue();
        if (!text)
            return Detail::wrongType(u"a text");
        if (const auto value = enumFromText<E>(*text))
            return *value;
        return failure(DecodeError{{}, QStringLiteral("unknown value: ") + *text});
    }
    static JSONValue encode(E value) { return enumText(value); }
};

template <typename T>
struct JSONCodec<QList<T>>
{
    static Decoded<QList<T>> decode(const JSONValue &json)
    {
        const auto *array = json.arrayValue();
        if (!array)
            return Detail::wrongType(u"a list");
        QList<T> list;
        list.reserve(static_cast<qsizetype>(array->size()));
        for (const auto &element : *array) {
            auto item = JSONCodec<T>::decode(element);
            if (!item)
                return failure(Detail::within(QString::number(list.size()), item.error()));
            list.append(*std::move(item));
        }
        return list;
    }
    static JSONValue encode(const QList<T> &list)
    {
        JSONArray array;
        array.reserve(static_cast<size_t>(list.size()));
        for (const auto &item : list)
            array.push_back(JSONCodec<T>::encode(item));
        return array;
    }
};

template <typename T>
struct JSONCodec<QMap<QString, T>>
{
    static Decoded<QMap<QString, T>> decode(const JSONValue &json)
    {
        const auto *object = json.objectValue();
        if (!object)
            return Detail::wrongType(u"an object");
        QMap<QString, T> map;
        for (const auto &[key, value] : *object) {
            auto item = JSONCodec<T>::decode(value);
            if (!item)
                return failure(Detail::within(key, item.error()));
            map.insert(key, *std::move(item));
        }
        return map;
    }
    static JSONValue encode(const QMap<QString, T> &map)
    {
        JSONObject object;
        for (const auto &[key, value] : map.asKeyValueRange())
            object.set(key, JSONCodec<T>::encode(value));
        return object;
    }
};

template <TableRecord T>
struct JSONCodec<T>
{
    static Decoded<T> decode(const JSONValue &json) { return decodeRecord<T>(json); }
    static JSONValue encode(const T &record) { return encodeRecord(record); }
};

/// When a field is written.
enum class Write { Always, WhenSet, WhenNotDefault, Never };

/// One row of a field table. Build it with required(), optional() or defaulted().
template <typename Owner, typename Member>
struct Field
{
    QStringView key;
    Member Owner::*member;
    bool isRequired = false;
    bool isLenient = false;
    Write write = Write::Always;
    QStringView alternativeKey = {};

    /// Written only when it differs from the default of a fresh record (true, non-empty, another number).
    [[nodiscard]] Field omitDefault() const
    {
        Field copy = *this;
        copy.write = Write::WhenNotDefault;
        return copy;
    }
    /// Read only.
    [[nodiscard]] Field neverWritten() const
    {
        Field copy = *this;
        copy.write = Write::Never;
        return copy;
    }
    /// A value of the wrong type counts as absent.
    [[nodiscard]] Field lenient() const
    {
        Field copy = *this;
        copy.isLenient = true;
        return copy;
    }
    /// Read from this key when the first one is absent: the name that older versions wrote.
    [[nodiscard]] Field orKey(QStringView other) const
    {
        Field copy = *this;
        copy.alternativeKey = other;
        return copy;
    }
};

/// A row that is only written: a value derived from the whole record, left out when it gives nothing.
template <typename Owner>
struct DerivedField
{
    QStringView key;
    std::optional<JSONValue> (*value)(const Owner &);
};

/// Must be there with the right type; always written.
template <typename Owner, typename Member>
[[nodiscard]] constexpr auto required(QStringView key, Member Owner::*member)
{
    return Field<Owner, Member>{.key = key, .member = member, .isRequired = true};
}

/// Keeps the record's default when absent or null; always written.
template <typename Owner, typename Member>
[[nodiscard]] constexpr auto defaulted(QStringView key, Member Owner::*member)
{
    return Field<Owner, Member>{.key = key, .member = member};
}

/// Empty when absent or null; written only when set.
template <typename Owner, typename Value>
[[nodiscard]] constexpr auto optional(QStringView key, std::optional<Value> Owner::*member)
{
    return Field<Owner, std::optional<Value>>{.key = key, .member = member, .write = Write::WhenSet};
}

template <typename Owner>
[[nodiscard]] constexpr auto derived(QStringView key, std::optional<JSONValue> (*value)(const Owner &))
{
    return DerivedField<Owner>{key, value};
}

namespace Detail {

template <typename T>
struct IsOptional : std::false_type
{};
template <typename T>
struct IsOptional<std::optional<T>> : std::true_type
{};

template <typename Owner, typename Member>
std::optional<DecodeError> read(const JSONObject &object, const Field<Owner, Member> &field, Owner &record)
{
    const JSONValue *json = object.find(field.key);
    if ((!json || json->isNull()) && !field.alternativeKey.isEmpty())
        json = object.find(field.alternativeKey);
    if (!json || json->isNull()) {
        if (field.isRequired && !field.isLenient)
            return DecodeError{field.key.toString(), QStringLiteral("missing")};
        return std::nullopt;
    }
    const auto store = [&]<typename V>(std::type_identity<V>) -> std::optional<DecodeError> {
        auto value = JSONCodec<V>::decode(*json);
        if (value)
            record.*field.member = *std::move(value);
        else if (!field.isLenient)
            return within(field.key, value.error());
        return std::nullopt;
    };
    if constexpr (IsOptional<Member>::value)
        return store(std::type_identity<typename Member::value_type>());
    else
        return store(std::type_identity<Member>());
}

template <typename Owner>
std::optional<DecodeError> read(const JSONObject &, const DerivedField<Owner> &, Owner &)
{
    return std::nullopt;
}

template <typename Owner, typename Member>
void write(JSONObject &object, const Field<Owner, Member> &field, const Owner &record)
{
    const Member &value = record.*field.member;
    if (field.write == Write::Never)
        return;
    if constexpr (IsOptional<Member>::value) {
        if (value)
            object.set(field.key, JSONCodec<typename Member::value_type>::encode(*value));
    } else {
        if (field.write == Write::WhenNotDefault) {
            static const Owner fresh{};
            if (value == fresh.*field.member)
                return;
        }
        object.set(field.key, JSONCodec<Member>::encode(value));
    }
}

template <typename Owner>
void write(JSONObject &object, const DerivedField<Owner> &field, const Owner &record)
{
    if (auto value = field.value(record))
        object.set(field.key, *std::move(value));
}

} // namespace Detail

/// Reads a record by its table. Unknown keys are passed over.
template <TableRecord T>
[[nodiscard]] Decoded<T> decodeRecord(const JSONValue &json)
{
    const JSONObject *object = json.objectValue();
    if (!object)
        return Detail::wrongType(u"an object");
    T record{};
    std::optional<DecodeError> error;
    std::apply(
        [&](const auto &...field) {
            static_cast<void>(((error = Detail::read(*object, field, record), !error) && ...));
        },
        RecordTable<T>::fields());
    if (error)
        return failure(*std::move(error));
    if constexpr (requires { &RecordTable<T>::decoded; })
        RecordTable<T>::decoded(record, *object);
    return record;
}

/// Writes a record by its table, keys in table order.
template <TableRecord T>
[[nodiscard]] JSONObject encodeRecord(const T &record)
{
    JSONObject object;
    std::apply([&](const auto &...field) { (Detail::write(object, field, record), ...); },
               RecordTable<T>::fields());
    if constexpr (requires { &RecordTable<T>::encoded; })
        RecordTable<T>::encoded(record, object);
    return object;
}

/// Parses bytes and decodes the record in one step; a parse error becomes a DecodeError without a path.
template <TableRecord T>
[[nodiscard]] Decoded<T> decodeRecordBytes(QByteArrayView bytes)
{
    auto json = JSONValue::parse(bytes);
    if (!json)
        return failure(DecodeError{{}, json.error().message()});
    return decodeRecord<T>(*json);
}

/// A list that loses a bad element instead of failing. `dropped` counts them.
template <typename T>
struct TolerantList
{
    QList<T> items;
    int dropped = 0;
    bool operator==(const TolerantList &) const = default;
};

template <typename T>
struct JSONCodec<TolerantList<T>>
{
    static Decoded<TolerantList<T>> decode(const JSONValue &json)
    {
        const auto *array = json.arrayValue();
        if (!array)
            return Detail::wrongType(u"a list");
        TolerantList<T> list;
        for (const auto &element : *array) {
            if (auto item = JSONCodec<T>::decode(element))
                list.items.append(*std::move(item));
            else
                ++list.dropped;
        }
        return list;
    }
    static JSONValue encode(const TolerantList<T> &list) { return JSONCodec<QList<T>>::encode(list.items); }
};

} // namespace Keelhaven
