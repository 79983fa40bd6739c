#include "Contract/JSONStorage.h"

#include <algorithm>

namespace Keelhaven {

JSONObject::JSONObject(std::initializer_list<std::pair<QString, JSONValue>> members)
{
    for (const auto &[key, value] : members)
        set(key, value);
}

JSONObject::JSONObject(const JSONObject &other)
    : m_data(other.m_data)
{
    if (m_data)
        m_data->retain();
}

JSONObject::~JSONObject()
{
    if (m_data)
        JSONNode::release(m_data);
}

JSONObject JSONObject::fromPairs(const QList<std::pair<QString, JSONValue>> &pairs)
{
    JSONObject object;
    for (const auto &[key, value] : pairs)
        object.set(key, value);
    return object;
}

qsizetype JSONObject::size() const
{
    return m_data ? m_data->size : 0;
}

const JSONObject::Slot *JSONObject::slots() const
{
    return m_data ? m_data->slots() : nullptr;
}

QStringList JSONObject::keys() const
{
    QStringList keys;
    keys.reserve(size());
    for (auto member = begin(); member != end(); ++member)
        keys.append((*member).key);
    return keys;
}

const JSONValue *JSONObject::find(QStringView key) const
{
    if (!m_data)
        return nullptr;
    const quint32 position = m_data->positionOf(JSONValue(key));
    return position == JSONKeyIndex::none ? nullptr : &m_data->slots()[position].value;
}

/// Makes this the only owner of its members, with space for `room` of them.
void JSONObject::detach(qsizetype room)
{
    const bool isAlone = m_data && m_data->references.load(std::memory_order_acquire) == 1;
    if (isAlone && room <= m_data->capacity)
        return;
    auto *fresh = Data::make(std::max<size_t>(4, static_cast<size_t>(room) + static_cast<size_t>(room) / 2));
    JSONObject owner;
    owner.m_data = std::exchange(m_data, fresh);
    if (!owner.m_data)
        return;
    for (; fresh->size < owner.m_data->size; ++fresh->size) {
        Slot &slot = owner.m_data->slots()[fresh->size];
        new (fresh->slots() + fresh->size) Slot(isAlone ? std::move(slot) : slot);
    }
}

void JSONObject::set(QStringView key, JSONValue value)
{
    JSONValue text(key);
    const quint32 known = m_data ? m_data->positionOf(text) : JSONKeyIndex::none;
    if (known != JSONKeyIndex::none) {
        detach(size());
        m_data->slots()[known].value = std::move(value);
        return;
    }
    detach(size() + 1);
    auto *table = m_data->index.load();
    if (table && table->hasRoomFor(m_data->size + 1)) {
        size_t cell = table->first(JSONStorage::hash(text));
        while (table->position(cell) != JSONKeyIndex::none)
            cell = table->next(cell);
        table->put(cell, m_data->size);
    } else {
        m_data->dropIndex();
    }
    new (m_data->slots() + m_data->size) Slot{std::move(text), std::move(value)};
    ++m_data->size;
}

void JSONObject::remove(QStringView key)
{
    const quint32 known = m_data ? m_data->positionOf(JSONValue(key)) : JSONKeyIndex::none;
    if (known == JSONKeyIndex::none)
        return;
    detach(size());
    m_data->dropIndex();
    Slot *slots = m_data->slots();
    std::move(slots + known + 1, slots + m_data->size, slots + known);
    std::destroy_at(slots + --m_data->size);
}

bool operator==(const JSONObject &a, const JSONObject &b)
{
    return JSONValue(a) == JSONValue(b);
}

} // namespace Keelhaven
