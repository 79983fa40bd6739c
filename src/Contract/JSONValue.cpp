#include "Contract/JSONValue.h"

#include "Contract/JSONStorage.h"

#include <cmath>
#include <new>

namespace Keelhaven {

JSONValue::JSONValue(QStringView text)
{
    // Most texts and all keys of the program are short and ASCII.
    if (text.size() <= static_cast<qsizetype>(shortCapacity)) {
        bool ascii = true;
        for (qsizetype i = 0; i < text.size(); ++i) {
            const char16_t unit = text[i].unicode();
            ascii &= unit < 0x80;
            m_bits[2 + i] = static_cast<unsigned char>(unit);
        }
        if (ascii) {
            setTag(Tag::ShortText);
            m_bits[1] = static_cast<unsigned char>(text.size());
            return;
        }
        std::memset(m_bits, 0, sizeof m_bits);
    }
    const QByteArray utf8 = text.toUtf8();
    *this = JSONStorage::fromUtf8({utf8.constData(), static_cast<size_t>(utf8.size())});
}

JSONValue::JSONValue(JSONArray array)
{
    setTag(Tag::Array);
    setPayload(new JSONArrayNode(std::move(array)));
}

JSONValue::JSONValue(JSONObject object)
{
    setTag(Tag::Object);
    new (m_bits + 8) JSONObject(std::move(object));
}

void JSONValue::retain() const
{
    if (tag() == Tag::LongText)
        payload<JSONTextBlock *>()->references.fetch_add(1, std::memory_order_relaxed);
    else if (auto *node = payload<JSONNode *>())
        node->retain();
}

void JSONValue::release()
{
    if (tag() == Tag::LongText)
        JSONTextBlock::release(payload<JSONTextBlock *>());
    else if (auto *node = payload<JSONNode *>())
        JSONNode::release(node);
}

JSONValue::Kind JSONValue::kind() const
{
    switch (tag()) {
    case Tag::Null:
        return Kind::Null;
    case Tag::False:
    case Tag::True:
        return Kind::Bool;
    case Tag::Int:
        return Kind::Int;
    case Tag::Double:
        return Kind::Double;
    case Tag::ShortText:
    case Tag::LongText:
        return Kind::String;
    case Tag::Array:
        return Kind::Array;
    case Tag::Object:
        return Kind::Object;
    }
    return Kind::Null;
}

std::optional<QString> JSONValue::stringValue() const
{
    if (kind() != Kind::String)
        return std::nullopt;
    const auto utf8 = JSONStorage::text(*this);
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

std::optional<qint64> JSONValue::intValue() const
{
    if (tag() == Tag::Int)
        return payload<qint64>();
    if (tag() != Tag::Double)
        return std::nullopt;
    const auto number = payload<double>();
    if (std::trunc(number) != number || number < -0x1p63 || number >= 0x1p63)
        return std::nullopt;
    return static_cast<qint64>(number);
}

std::optional<double> JSONValue::doubleValue() const
{
    if (tag() == Tag::Double)
        return payload<double>();
    return tag() == Tag::Int ? std::optional(static_cast<double>(payload<qint64>())) : std::nullopt;
}

std::optional<bool> JSONValue::boolValue() const
{
    if (tag() == Tag::True || tag() == Tag::False)
        return tag() == Tag::True;
    return std::nullopt;
}

const JSONArray *JSONValue::arrayValue() const
{
    return tag() == Tag::Array ? &payload<JSONArrayNode *>()->items : nullptr;
}

const JSONObject *JSONValue::objectValue() const
{
    static_assert(sizeof(JSONObject) == 8);
    return tag() == Tag::Object ? std::launder(reinterpret_cast<const JSONObject *>(m_bits + 8)) : nullptr;
}

const JSONValue *JSONValue::operator[](QStringView key) const
{
    const auto *object = objectValue();
    return object ? object->find(key) : nullptr;
}

bool JSONValue::isTruthy() const
{
    switch (tag()) {
    case Tag::Null:
    case Tag::False:
        return false;
    case Tag::True:
        return true;
    case Tag::Int:
        return payload<qint64>() != 0;
    case Tag::Double:
        return payload<double>() != 0;
    case Tag::ShortText:
        return m_bits[1] != 0;
    case Tag::LongText:
        return true;
    case Tag::Array:
        return !arrayValue()->empty();
    case Tag::Object:
        return !objectValue()->isEmpty();
    }
    return false;
}

namespace {

using Pair = std::pair<const JSONValue *, const JSONValue *>;

/// Compares one pair; its children go to `open`, because values nest deeper than the stack allows.
bool equalButForChildren(const JSONValue &a, const JSONValue &b, std::vector<Pair> &open)
{
    if (a.kind() != b.kind())
        return false;
    switch (a.kind()) {
    case JSONValue::Kind::Null:
        return true;
    case JSONValue::Kind::Bool:
        return JSONStorage::tag(a) == JSONStorage::tag(b);
    case JSONValue::Kind::Int:
        return JSONStorage::payload<qint64>(a) == JSONStorage::payload<qint64>(b);
    case JSONValue::Kind::Double:
        return JSONStorage::payload<double>(a) == JSONStorage::payload<double>(b);
    case JSONValue::Kind::String:
        return JSONStorage::sameText(a, b);
    case JSONValue::Kind::Array: {
        const JSONArray &left = *a.arrayValue();
        const JSONArray &right = *b.arrayValue();
        if (left.size() != right.size())
            return false;
        for (size_t i = 0; i < left.size(); ++i)
            open.emplace_back(&left[i], &right[i]);
        return true;
    }
    case JSONValue::Kind::Object: {
        const qsizetype size = a.objectValue()->size();
        if (size != b.objectValue()->size())
            return false;
        const auto *left = JSONStorage::slots(*a.objectValue());
        const auto *right = JSONStorage::slots(*b.objectValue());
        for (qsizetype i = 0; i < size; ++i) {
            if (!JSONStorage::sameText(left[i].key, right[i].key))
                return false;
            open.emplace_back(&left[i].value, &right[i].value);
        }
        return true;
    }
    }
    return false;
}

} // namespace

bool operator==(const JSONValue &a, const JSONValue &b)
{
    std::vector<Pair> open;
    if (!equalButForChildren(a, b, open))
        return false;
    while (!open.empty()) {
        const auto [left, right] = open.back();
        open.pop_back();
        if (!equalButForChildren(*left, *right, open))
            return false;
    }
    return true;
}

} // namespace Keelhaven
