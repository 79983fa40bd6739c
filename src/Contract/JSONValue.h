#pragma once

#include "Platform/Result.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <initializer_list>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

namespace Keelhaven {

class JSONObject;
class JSONValue;

/// The elements of a JSON array.
using JSONArray = std::vector<JSONValue>;

/// Where and why a text is no JSON.
struct JSONParseError
{
    QString text;
    qsizetype offset = 0; ///< in bytes from the start

    [[nodiscard]] QString message() const;
    bool operator==(const JSONParseError &) const = default;
};

/// One JSON value of any kind, with value semantics. It keeps the order of keys, and integers apart from doubles, so
/// that a file shared with another program survives a round trip.
class JSONValue
{
public:
    enum class Kind { String, Int, Double, Bool, Array, Object, Null };

    JSONValue();
    JSONValue(std::nullptr_t);
    JSONValue(bool value);
    JSONValue(int value);
    JSONValue(qint64 value);
    JSONValue(double value);
    JSONValue(const QString &text);
    JSONValue(QStringView text);
    JSONValue(const char *) = delete;
    JSONValue(JSONArray array);
    JSONValue(JSONObject object);
    JSONValue(const JSONValue &);
    JSONValue(JSONValue &&) noexcept;
    JSONValue &operator=(const JSONValue &);
    JSONValue &operator=(JSONValue &&) noexcept;
    ~JSONValue();

    [[nodiscard]] Kind kind() const;
    [[nodiscard]] bool isNull() const { return kind() == Kind::Null; }

    /// Strings only.
    [[nodiscard]] std::optional<QString> stringValue() const;
    /// An integer, or a double that is whole and fits.
    [[nodiscard]] std::optional<qint64> intValue() const;
    /// A double or an integer.
    [[nodiscard]] std::optional<double> doubleValue() const;
    /// Booleans only.
    [[nodiscard]] std::optional<bool> boolValue() const;
    /// Null unless it is an array or object. Valid as long as the value is neither changed nor destroyed.
    [[nodiscard]] const JSONArray *arrayValue() const;
    [[nodiscard]] const JSONObject *objectValue() const;

    /// Member of an object by key; null for an absent key and for anything but an object.
    [[nodiscard]] const JSONValue *operator[](QStringView key) const;

    /// Bool as it is, numbers when not 0, string, array and object when not empty, null never.
    [[nodiscard]] bool isTruthy() const;

    /// Parses one value that fills the whole input (white space around it allowed). Invalid UTF-8 inside strings is
    /// replaced. Nesting beyond 1,000 levels is an error.
    [[nodiscard]] static Result<JSONValue, JSONParseError> parse(QByteArrayView bytes);
    [[nodiscard]] static Result<JSONValue, JSONParseError> parse(QStringView text);

    /// `{"k": v, "l": [1, 2.0]}`: one line, keys in order.
    [[nodiscard]] QString serialized() const;
    [[nodiscard]] QByteArray encoded() const;

    /// Pretty-printed with two blanks a level and keys sorted by code point: the form of the program's own files.
    [[nodiscard]] QByteArray encodedPretty() const;

    friend bool operator==(const JSONValue &a, const JSONValue &b);

private:
    // storage: see JSONValue.cpp
};

/// The members of a JSON object in insertion order, each key once.
class JSONObject
{
public:
    struct Member;

    JSONObject();
    JSONObject(std::initializer_list<std::pair<QString, JSONValue>> members);

    [[nodiscard]] bool isEmpty() const;
    [[nodiscard]] qsizetype size() const;
    [[nodiscard]] QStringList keys() const;

    /// Null when absent.
    [[nodiscard]] const JSONValue *find(QStringView key) const;

    /// A new key goes to the end, an existing one keeps its place.
    void set(const QString &key, JSONValue value);
    void remove(QStringView key);

    friend bool operator==(const JSONObject &a, const JSONObject &b);
};

} // namespace Keelhaven
