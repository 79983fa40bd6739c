#include "Contract/JSONStorage.h"

#include <QHash>
#include <algorithm>
#include <cstdlib>
#include <new>

namespace Keelhaven {

namespace {

constexpr quint32 indexedFrom = 17; ///< members; below it a walk over 16-byte keys is faster than hashing

void *allocate(size_t bytes)
{
    void *memory = std::malloc(bytes);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

/// Gives up one reference; true when it was the last. A sole owner needs no atomic write.
template <typename T>
bool dropReference(std::atomic<T> &references)
{
    return references.load(std::memory_order_acquire) == 1 ||
           references.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

quint64 mixed(quint64 a, quint64 b)
{
    const auto product = static_cast<unsigned __int128>(a) * b;
    return static_cast<quint64>(product) ^ static_cast<quint64>(product >> 64);
}

quint64 word(const char *bytes)
{
    quint64 value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace

JSONTextBlock *JSONTextBlock::make(size_t capacity)
{
    return new (allocate(sizeof(JSONTextBlock) + capacity)) JSONTextBlock(capacity);
}

void JSONTextBlock::release(JSONTextBlock *block)
{
    if (dropReference(block->references))
        std::free(block);
}

size_t JSONTextBlock::append(std::string_view text)
{
    const size_t offset = used;
    const size_t size = text.size();
    std::memcpy(bytes() + offset, &size, sizeof size);
    std::memcpy(bytes() + offset + sizeof size, text.data(), size);
    used += roomFor(size);
    return offset;
}

void JSONNode::release(JSONNode *node)
{
    // Values nest as deep as a caller builds them, so beyond some levels children wait until the stack is
    // back.
    constexpr unsigned deepest = 100;
    thread_local unsigned depth = 0;
    thread_local JSONNode *waiting = nullptr;

    if (!dropReference(node->references))
        return;
    if (depth == deepest) {
        node->nextToDie = std::exchange(waiting, node);
        return;
    }
    ++depth;
    const auto destroy = [](JSONNode *dead) {
        if (dead->type == Type::Array)
            delete static_cast<JSONArrayNode *>(dead);
        else
            JSONObject::Data::destroy(static_cast<JSONObject::Data *>(dead));
    };
    destroy(node);
    if (depth == 1) {
        while (waiting)
            destroy(std::exchange(waiting, waiting->nextToDie));
    }
    --depth;
}

JSONKeyIndex::JSONKeyIndex(size_t expected)
{
    size_t cells = 32;
    while (cells < expected * 2)
        cells *= 2;
    m_mask = cells - 1;
    m_positions = std::make_unique_for_overwrite<quint32[]>(cells);
    std::fill_n(m_positions.get(), cells, none);
}

JSONObject::Data *JSONObject::Data::make(size_t capacity)
{
    if (capacity > std::numeric_limits<quint32>::max() / 2)
        throw std::bad_alloc();
    return new (allocate(sizeof(Data) + capacity * sizeof(Slot))) Data(static_cast<quint32>(capacity));
}

void JSONObject::Data::destroy(Data *data)
{
    std::destroy_n(data->slots(), data->size);
    data->dropIndex();
    data->~Data();
    std::free(data);
}

void JSONObject::Data::dropIndex()
{
    delete index.exchange(nullptr);
}

const JSONKeyIndex &JSONObject::Data::indexed() const
{
    if (const auto *built = index.load(std::memory_order_acquire))
        return *built;
    auto fresh = std::make_unique<JSONKeyIndex>(capacity);
    for (quint32 i = 0; i < size; ++i) {
        size_t cell = fresh->first(JSONStorage::hash(slots()[i].key));
        while (fresh->position(cell) != JSONKeyIndex::none)
            cell = fresh->next(cell);
        fresh->put(cell, i);
    }
    JSONKeyIndex *other = nullptr;
    if (!index.compare_exchange_strong(other, fresh.get(), std::memory_order_acq_rel))
        return *other;
    return *fresh.release();
}

quint32 JSONObject::Data::positionOf(const JSONValue &key) const
{
    if (size < indexedFrom) {
        for (quint32 i = 0; i < size; ++i) {
            if (JSONStorage::sameText(slots()[i].key, key))
                return i;
        }
        return JSONKeyIndex::none;
    }
    const auto &table = indexed();
    for (size_t cell = table.first(JSONStorage::hash(key));; cell = table.next(cell)) {
        const quint32 position = table.position(cell);
        if (position == JSONKeyIndex::none || JSONStorage::sameText(slots()[position].key, key))
            return position;
    }
}

JSONValue JSONStorage::fromUtf8(std::string_view utf8)
{
    if (utf8.size() <= JSONValue::shortCapacity)
        return shortText(utf8);
    auto *block = JSONTextBlock::make(JSONTextBlock::roomFor(utf8.size()));
    return longText(block, block->append(utf8));
}

JSONValue JSONStorage::shortText(std::string_view utf8)
{
    JSONValue value;
    value.setTag(Tag::ShortText);
    value.m_bits[1] = static_cast<unsigned char>(utf8.size());
    std::memcpy(value.m_bits + 2, utf8.data(), utf8.size());
    return value;
}

JSONValue JSONStorage::longText(JSONTextBlock *block, size_t offset)
{
    JSONValue value;
    value.setTag(Tag::LongText);
    value.setTextOffset(static_cast<quint32>(offset));
    value.setPayload(block);
    return value;
}

size_t JSONStorage::hash(const JSONValue &value)
{
    // Seeded, so that a file cannot be made up of keys that all fall into one cell.
    static const quint64 seed = static_cast<quint64>(QHashSeed::globalSeed()) ^ 0x9e3779b97f4a7c15U;
    const auto utf8 = text(value);
    const char *bytes = utf8.data();
    size_t left = utf8.size();
    quint64 state = seed ^ left;
    for (; left > 8; left -= 8, bytes += 8)
        state = mixed(state ^ word(bytes), 0xd6e8feb86659fd93U);
    quint64 tail = 0;
    std::memcpy(&tail, bytes, left);
    return mixed(state ^ tail, 0xa0761d6478bd642fU);
}

JSONValue JSONStorage::makeArray(JSONValue *values, size_t count)
{
    return JSONArray(std::make_move_iterator(values), std::make_move_iterator(values + count));
}

JSONValue JSONStorage::makeObject(JSONValue *pairs, size_t count)
{
    JSONObject object;
    if (count == 0)
        return object;
    auto *data = JSONObject::Data::make(count);
    object.m_data = data;
    JSONKeyIndex *table = nullptr;
    if (count >= indexedFrom)
        data->index = table = new JSONKeyIndex(count);
    for (JSONValue *pair = pairs; pair < pairs + 2 * count; pair += 2) {
        quint32 known = 0;
        size_t cell = 0;
        if (table) {
            cell = table->first(hash(*pair));
            while ((known = table->position(cell)) != JSONKeyIndex::none &&
                   !sameText(data->slots()[known].key, *pair))
                cell = table->next(cell);
        } else {
            while (known < data->size && !sameText(data->slots()[known].key, *pair))
                ++known;
        }
        if (known < data->size) {
            data->slots()[known].value = std::move(pair[1]);
            continue;
        }
        if (table)
            table->put(cell, data->size);
        new (data->slots() + data->size++) Slot{std::move(pair[0]), std::move(pair[1])};
    }
    // Repeated keys may leave fewer members than look-ups use the table for.
    if (data->size < indexedFrom)
        data->dropIndex();
    return object;
}

} // namespace Keelhaven
