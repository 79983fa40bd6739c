#pragma once

#include "Contract/JSONValue.h"

#include <QList>
#include <concepts>
#include <functional>
#include <type_traits>

namespace Keelhaven {

/// Keys and values in the order of the file.
template <typename T>
using KeyedList = QList<std::pair<QString, T>>;

/// Something that turns one JSON value into a `std::optional<T>`; an empty one drops the value.
template <typename F>
concept JSONTransform = std::invocable<F &, const JSONValue &> &&
                        requires { typename std::invoke_result_t<F &, const JSONValue &>::value_type; };

/// Reads an object leniently: a field that is absent, null or of the wrong type gives nothing and fails
/// nobody.
class ObjectReader
{
public:
    ObjectReader() = default;
    explicit ObjectReader(JSONObject object)
        : m_object(std::move(object))
    {}
    /// Anything but an object reads as an empty one.
    explicit ObjectReader(const JSONValue &value)
        : ObjectReader(&value)
    {}
    /// Null stands for an absent value and reads as an empty object.
    explicit ObjectReader(const JSONValue *value);

    [[nodiscard]] const JSONObject &object() const { return m_object; }

    /// Null when absent or JSON null. Belongs to the reader.
    [[nodiscard]] const JSONValue *raw(QStringView key) const;
    [[nodiscard]] std::optional<QString> string(QStringView key) const;
    /// An integer, or a double that is whole and fits.
    [[nodiscard]] std::optional<qint64> integer(QStringView key) const;
    [[nodiscard]] std::optional<double> double_(QStringView key) const;
    [[nodiscard]] std::optional<bool> bool_(QStringView key) const;
    /// The strings of an array, without its other elements. Nothing for anything but an array.
    [[nodiscard]] std::optional<QStringList> stringArray(QStringView key) const;
    /// The members of an object that are integers. Nothing for anything but an object.
    [[nodiscard]] std::optional<KeyedList<qint64>> intMap(QStringView key) const;

    /// The elements of an array that `transform` accepts. Nothing for anything but an array.
    template <JSONTransform F>
    [[nodiscard]] auto array(QStringView key, F transform) const
    {
        using T = typename std::invoke_result_t<F &, const JSONValue &>::value_type;
        std::optional<QList<T>> list;
        const JSONValue *value = raw(key);
        const JSONArray *elements = value ? value->arrayValue() : nullptr;
        if (!elements)
            return list;
        list.emplace();
        for (const JSONValue &element : *elements) {
            if (auto item = std::invoke(transform, element))
                list->append(*std::move(item));
        }
        return list;
    }

    /// The members of the object at `key` that `transform` accepts, in order. Nothing for anything but an
    /// object.
    template <JSONTransform F>
    [[nodiscard]] auto objectMap(QStringView key, F transform) const
    {
        using Map = decltype(objectMapSelf(transform));
        const JSONValue *value = raw(key);
        if (!value || !value->objectValue())
            return std::optional<Map>();
        return std::optional<Map>(ObjectReader(*value).objectMapSelf(std::move(transform)));
    }

    /// The members of this object that `transform` accepts, in order.
    template <JSONTransform F>
    [[nodiscard]] auto objectMapSelf(F transform) const
    {
        KeyedList<typename std::invoke_result_t<F &, const JSONValue &>::value_type> map;
        for (const auto &[key, value] : m_object) {
            if (auto item = std::invoke(transform, value))
                map.append({key, *std::move(item)});
        }
        return map;
    }

private:
    JSONObject m_object;
};

} // namespace Keelhaven
