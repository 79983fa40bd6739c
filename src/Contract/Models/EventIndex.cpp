#include "Contract/Models/EventIndex.h"

#include <algorithm>

namespace Keelhaven {

namespace {

// Sessions and runs stand in one table; the seeds keep their keys apart.
size_t sessionKey(const QString &id)
{
    return qHashBits(id.constData(), static_cast<size_t>(id.size()) * sizeof(QChar), 1);
}

size_t runKey(const QUuid &id)
{
    return qHashBits(&id, sizeof id, 2);
}

} // namespace

void EventIndex::add(const EventRecord &event, quint64 number)
{
    if (event.sessionId)
        add(sessionKey(*event.sessionId), number);
    if (event.runID)
        add(runKey(*event.runID), number);
}

void EventIndex::remove(const EventRecord &event, quint64 number)
{
    if (event.sessionId)
        remove(sessionKey(*event.sessionId), number);
    if (event.runID)
        remove(runKey(*event.runID), number);
}

QList<quint64> EventIndex::ofSession(const QString &id) const
{
    return of(sessionKey(id));
}

QList<quint64> EventIndex::ofRun(const QUuid &id) const
{
    return of(runKey(id));
}

void EventIndex::add(size_t key, quint64 number)
{
    if (!m_shards)
        m_shards = new Shards;
    m_shards->of(key)[key].append(number);
}

void EventIndex::remove(size_t key, quint64 number)
{
    Shard &shard = m_shards->of(key);
    const auto entry = shard.find(key);
    if (entry == shard.end())
        return;
    const auto place = std::ranges::lower_bound(std::as_const(*entry), number);
    if (place != entry->cend() && *place == number)
        entry->erase(place);
    if (entry->isEmpty())
        shard.erase(entry);
}

QList<quint64> EventIndex::of(size_t key) const
{
    return m_shards ? m_shards->of(key).value(key) : QList<quint64>();
}

} // namespace Keelhaven
