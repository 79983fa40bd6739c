#pragma once

#include "Contract/Models/EventRecord.h"

#include <QHash>
#include <QSharedData>
#include <array>

namespace Keelhaven {

/// Where in an EventList the events of a session and those of a run stand, by the numbers that the list gives
/// them. A value: copies share what has not changed since, so that a change costs a small part of the whole.
class EventIndex
{
public:
    void add(const EventRecord &event, quint64 number);
    void remove(const EventRecord &event, quint64 number);

    /// Ascending. May name events of another session or run whose hash is the same.
    [[nodiscard]] QList<quint64> ofSession(const QString &id) const;
    [[nodiscard]] QList<quint64> ofRun(const QUuid &id) const;

private:
    using Shard = QHash<size_t, QList<quint64>>;
    struct Shards : QSharedData
    {
        std::array<Shard, 256> list;

        Shard &of(size_t key) { return list[key % list.size()]; }
        [[nodiscard]] const Shard &of(size_t key) const { return list[key % list.size()]; }
    };

    void add(size_t key, quint64 number);
    void remove(size_t key, quint64 number);
    [[nodiscard]] QList<quint64> of(size_t key) const;

    QSharedDataPointer<Shards> m_shards;
};

} // namespace Keelhaven
