#pragma once

#include "Contract/JSONValue.h"

#include <atomic>
#include <memory>
#include <string_view>

/// The blocks behind JSONValue and JSONObject, for their own source files only.
namespace Keelhaven {

/// UTF-8 of texts that do not fit into their values: each is its size (a size_t) and its bytes. A parsed file
/// packs many into one block, which lives as long as one of them; a block is small enough that a single text
/// may keep it.
struct JSONTextBlock
{
    explicit JSONTextBlock(size_t room)
        : capacity(room)
    {}

    std::atomic<size_t> references = 1;
    size_t capacity;
    size_t used = 0;

    [[nodiscard]] char *bytes() { return reinterpret_cast<char *>(this + 1); }
    [[nodiscard]] const char *bytes() const { return reinterpret_cast<const char *>(this + 1); }
    [[nodiscard]] static constexpr size_t roomFor(size_t textSize) { return sizeof(size_t) + textSize; }

    /// Appends a text, for which there is room, and gives its offset.
    size_t append(std::string_view text);

    static JSONTextBlock *make(size_t capacity);
    static void release(JSONTextBlock *block);
};

/// What arrays and objects have in common: the count, and the link that lets deep values die without
/// recursion.
struct JSONNode
{
    enum class Type : quint8 { Array, Object };

    explicit JSONNode(Type ofType)
        : type(ofType)
    {}

    std::atomic<quint32> references = 1;
    Type type;
    JSONNode *nextToDie = nullptr;

    void retain() { references.fetch_add(1, std::memory_order_relaxed); }
    static void release(JSONNode *node);
};

struct JSONArrayNode : JSONNode
{
    explicit JSONArrayNode(JSONArray array)
        : JSONNode(Type::Array)
        , items(std::move(array))
    {}
    JSONArray items;
};

/// Hash table over the keys of one large object: positions in the slots, open addressing.
class JSONKeyIndex
{
public:
    static constexpr quint32 none = ~0U;

    explicit JSONKeyIndex(size_t expected);

    /// The place where `hash` may stand: walk with next() until a position is `none`.
    [[nodiscard]] size_t first(size_t hash) const { return hash & m_mask; }
    [[nodiscard]] size_t next(size_t cell) const { return (cell + 1) & m_mask; }
    [[nodiscard]] quint32 position(size_t cell) const { return m_positions[cell]; }
    void put(size_t cell, quint32 position) { m_positions[cell] = position; }
    /// Whether `count` keys still leave enough empty cells.
    [[nodiscard]] bool hasRoomFor(size_t count) const { return count * 2 <= m_mask + 1; }

private:
    size_t m_mask;
    std::unique_ptr<quint32[]> m_positions;
};

/// Members in order; `capacity` slots follow the struct, `size` of them live.
struct JSONObject::Data : JSONNode
{
    explicit Data(quint32 room)
        : JSONNode(Type::Object)
        , capacity(room)
    {}

    quint32 size = 0;
    quint32 capacity;
    /// Built by the first look-up in a large object; readers on several threads race for it.
    mutable std::atomic<JSONKeyIndex *> index = nullptr;

    [[nodiscard]] Slot *slots() { return reinterpret_cast<Slot *>(this + 1); }
    [[nodiscard]] const Slot *slots() const { return reinterpret_cast<const Slot *>(this + 1); }

    static Data *make(size_t capacity);
    static void destroy(Data *data);
    void dropIndex();
    [[nodiscard]] quint32 positionOf(const JSONValue &key) const;
    [[nodiscard]] const JSONKeyIndex &indexed() const;
};

/// Raw access for the parser and the writer.
struct JSONStorage
{
    using Tag = JSONValue::Tag;
    using Slot = JSONObject::Slot;
    static constexpr size_t shortCapacity = JSONValue::shortCapacity;

    [[nodiscard]] static Tag tag(const JSONValue &value) { return value.tag(); }
    template <typename T>
    [[nodiscard]] static T payload(const JSONValue &value)
    {
        return value.payload<T>();
    }

    /// The UTF-8 of a string value; refers into it.
    [[nodiscard]] static std::string_view text(const JSONValue &value)
    {
        if (value.tag() == Tag::ShortText)
            return {reinterpret_cast<const char *>(value.m_bits + 2), value.m_bits[1]};
        const char *bytes = value.payload<const JSONTextBlock *>()->bytes() + value.textOffset();
        size_t size = 0;
        std::memcpy(&size, bytes, sizeof size);
        return {bytes + sizeof size, size};
    }

    /// A string value of valid UTF-8.
    [[nodiscard]] static JSONValue fromUtf8(std::string_view utf8);
    /// The same for a text of up to 14 bytes.
    [[nodiscard]] static JSONValue shortText(std::string_view utf8);
    /// The same for a text that was appended to `block`, to which the caller has added a reference.
    [[nodiscard]] static JSONValue longText(JSONTextBlock *block, size_t offset);

    /// Whether two string values hold the same text.
    [[nodiscard]] static bool sameText(const JSONValue &a, const JSONValue &b)
    {
        if (std::memcmp(a.m_bits, b.m_bits, sizeof a.m_bits) == 0)
            return true;
        return a.tag() == Tag::LongText && b.tag() == Tag::LongText && text(a) == text(b);
    }

    [[nodiscard]] static size_t hash(const JSONValue &text);

    [[nodiscard]] static size_t size(const JSONObject &object)
    {
        return object.m_data ? object.m_data->size : 0;
    }
    [[nodiscard]] static const Slot *slots(const JSONObject &object)
    {
        return object.m_data ? object.m_data->slots() : nullptr;
    }

    /// An object of `count` key and value pairs, which are moved out of `pairs`. A repeated key overwrites
    /// the value and keeps the first place.
    [[nodiscard]] static JSONValue makeObject(JSONValue *pairs, size_t count);
    /// An array of `count` values, which are moved out of `values`.
    [[nodiscard]] static JSONValue makeArray(JSONValue *values, size_t count);
};

/// `text` with every invalid part replaced by U+FFFD; nothing when it is valid as it stands.
[[nodiscard]] std::optional<QByteArray> repairedUtf8(std::string_view text);

} // namespace Keelhaven
