#pragma once

#include "Platform/Result.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <concepts>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <utility>
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

    [[nodiscard]] QString message() const { return text; }
    bool operator==(const JSONParseError &) const = default;
};

/// One JSON value of any kind, with value semantics. It keeps the order of keys, and integers apart from
/// doubles, so that a file shared with another program survives a round trip. Copies are cheap: they share
/// long texts, arrays and objects, and may be read from several threads at once.
class JSONValue
{
public:
    enum class Kind { String, Int, Double, Bool, Array, Object, Null };

    JSONValue() = default;
    JSONValue(std::nullptr_t) {}
    /// Only a real bool: pointers would convert to one without a word.
    template <std::same_as<bool> B>
    JSONValue(B value)
    {
        setTag(value ? Tag::True : Tag::False);
    }
    JSONValue(qint64 value)
    {
        setTag(Tag::Int);
        setPayload(value);
    }
    /// Every other integer whose values all fit into 64 bits with a sign.
    template <std::integral I>
        requires(!std::same_as<I, bool> && !std::same_as<I, qint64> && !std::same_as<I, char> &&
                 !std::same_as<I, char16_t> && (std::signed_integral<I> || sizeof(I) < sizeof(qint64)))
    JSONValue(I value)
        : JSONValue(static_cast<qint64>(value))
    {}
    JSONValue(double value)
    {
        setTag(Tag::Double);
        setPayload(value);
    }
    JSONValue(const QString &text)
        : JSONValue(QStringView(text))
    {}
    JSONValue(QStringView text);
    JSONValue(const char *) = delete;
    JSONValue(JSONArray array);
    JSONValue(JSONObject object);
    JSONValue(const JSONValue &other)
    {
        std::memcpy(m_bits, other.m_bits, sizeof m_bits);
        if (isShared())
            retain();
    }
    JSONValue(JSONValue &&other) noexcept
    {
        std::memcpy(m_bits, other.m_bits, sizeof m_bits);
        other.setTag(Tag::Null);
    }
    JSONValue &operator=(const JSONValue &other)
    {
        JSONValue copy(other);
        swap(copy);
        return *this;
    }
    JSONValue &operator=(JSONValue &&other) noexcept
    {
        JSONValue taken(std::move(other));
        swap(taken);
        return *this;
    }
    ~JSONValue()
    {
        if (isShared())
            release();
    }

    [[nodiscard]] Kind kind() const;
    [[nodiscard]] bool isNull() const { return tag() == Tag::Null; }

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

    /// Parses one value that fills the whole input (white space around it allowed). Invalid UTF-8 inside
    /// strings is replaced. Nesting beyond 1,000 levels is an error.
    [[nodiscard]] static Result<JSONValue, JSONParseError> parse(QByteArrayView bytes);
    [[nodiscard]] static Result<JSONValue, JSONParseError> parse(QStringView text);

    /// `{"k": v, "l": [1, 2.0]}`: one line, keys in order. A double that is no number is written as null.
    [[nodiscard]] QString serialized() const;
    [[nodiscard]] QByteArray encoded() const;

    /// Pretty-printed with two blanks a level and keys sorted by code point: the form of the program's own
    /// files.
    [[nodiscard]] QByteArray encodedPretty() const;

    /// Same kind and same content: 1 and 1.0 differ, and so do objects whose keys stand in another order.
    friend bool operator==(const JSONValue &a, const JSONValue &b);

private:
    friend class JSONObject;
    friend struct JSONStorage;

    /// What the 16 bytes hold. Texts up to 14 bytes of UTF-8 stand in place; everything from LongText on is a
    /// pointer to a shared, reference-counted block.
    enum class Tag : quint8 { Null, False, True, Int, Double, ShortText, LongText, Array, Object };
    static constexpr size_t shortCapacity = 14; ///< after the tag and the length

    [[nodiscard]] Tag tag() const { return static_cast<Tag>(m_bits[0]); }
    void setTag(Tag tag) { m_bits[0] = static_cast<unsigned char>(tag); }
    [[nodiscard]] bool isShared() const { return tag() >= Tag::LongText; }
    template <typename T>
    [[nodiscard]] T payload() const
    {
        T value;
        std::memcpy(&value, m_bits + 8, sizeof value);
        return value;
    }
    template <typename T>
    void setPayload(T value)
    {
        static_assert(sizeof value == 8);
        std::memcpy(m_bits + 8, &value, sizeof value);
    }
    /// Where in its block a long text begins.
    [[nodiscard]] quint32 textOffset() const
    {
        quint32 offset;
        std::memcpy(&offset, m_bits + 4, sizeof offset);
        return offset;
    }
    void setTextOffset(quint32 offset) { std::memcpy(m_bits + 4, &offset, sizeof offset); }
    void swap(JSONValue &other) noexcept
    {
        unsigned char bits[sizeof m_bits];
        std::memcpy(bits, m_bits, sizeof bits);
        std::memcpy(m_bits, other.m_bits, sizeof bits);
        std::memcpy(other.m_bits, bits, sizeof bits);
    }
    void retain() const;
    void release();

    /// Zero beyond what the tag uses, so that two short texts are compared as a whole.
    alignas(8) unsigned char m_bits[16] = {};
};

/// The members of a JSON object in insertion order, each key once. Copies share their members until one is
/// changed.
class JSONObject
{
    struct Slot
    {
        JSONValue key;
        JSONValue value;
    };

public:
    /// What iteration gives: `for (const auto &[key, value] : object)`. `value` belongs to the object.
    struct Member
    {
        QString key;
        const JSONValue &value;
    };

    class Iterator
    {
    public:
        using iterator_concept = std::input_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = Member;

        Iterator() = default;
        explicit Iterator(const Slot *slot)
            : m_slot(slot)
        {}
        Member operator*() const { return {*m_slot->key.stringValue(), m_slot->value}; }
        Iterator &operator++()
        {
            ++m_slot;
            return *this;
        }
        Iterator operator++(int) { return Iterator(m_slot++); }
        bool operator==(const Iterator &) const = default;

    private:
        const Slot *m_slot = nullptr;
    };

    JSONObject() = default;
    JSONObject(std::initializer_list<std::pair<QString, JSONValue>> members);
    JSONObject(const JSONObject &other);
    JSONObject(JSONObject &&other) noexcept
        : m_data(std::exchange(other.m_data, nullptr))
    {}
    JSONObject &operator=(JSONObject other) noexcept
    {
        std::swap(m_data, other.m_data);
        return *this;
    }
    ~JSONObject();

    /// The pairs in order; a later pair with a known key replaces the value.
    [[nodiscard]] static JSONObject fromPairs(const QList<std::pair<QString, JSONValue>> &pairs);

    [[nodiscard]] bool isEmpty() const { return size() == 0; }
    [[nodiscard]] qsizetype size() const;
    [[nodiscard]] QStringList keys() const;

    /// Key and value in order. Valid as long as the object is neither changed nor destroyed.
    [[nodiscard]] Iterator begin() const { return Iterator(slots()); }
    [[nodiscard]] Iterator end() const { return Iterator(slots() + size()); }

    /// Null when absent.
    [[nodiscard]] const JSONValue *find(QStringView key) const;
    [[nodiscard]] const JSONValue *operator[](QStringView key) const { return find(key); }

    /// A new key goes to the end, an existing one keeps its place.
    void set(QStringView key, JSONValue value);
    /// Nothing happens when the key is absent.
    void remove(QStringView key);

    /// Same keys in the same order with the same values.
    friend bool operator==(const JSONObject &a, const JSONObject &b);

private:
    friend class JSONValue;
    friend struct JSONNode;
    friend struct JSONStorage;
    struct Data;

    [[nodiscard]] const Slot *slots() const;
    void detach(qsizetype room);

    Data *m_data = nullptr; ///< null for the empty object
};

} // namespace Keelhaven
