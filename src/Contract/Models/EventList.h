#pragma once

#include "Contract/Models/EventIndex.h"

#include <QList>
#include <iterator>
#include <memory>

namespace Keelhaven {

/// An immutable-looking list of events whose copies share their elements, so that a snapshot can carry a
/// month of events and the tail of the log can still grow at the cost of the new events alone.
///
/// Elements lie in fixed-size blocks that only grow behind what older copies can see. One owner appends
/// (append, dropUpTo); copies taken from it may be read on any thread meanwhile.
class EventList
{
    struct Block;
    struct Piece ///< a run of elements of one block
    {
        std::shared_ptr<Block> block;
        qsizetype first = 0;
        qsizetype count = 0;
        double oldest = 0;      ///< no element is older
        double newest = 0;      ///< no element is newer
        bool isSorted = true;   ///< by ts, ascending
        quint64 lastNumber = 0; ///< of its last element
    };

public:
    class const_iterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = EventRecord;
        using difference_type = qsizetype;
        using pointer = const EventRecord *;
        using reference = const EventRecord &;

        const_iterator() = default;
        reference operator*() const;
        pointer operator->() const { return &**this; }
        const_iterator &operator++();
        const_iterator operator++(int)
        {
            auto old = *this;
            ++*this;
            return old;
        }
        bool operator==(const const_iterator &) const = default;

    private:
        friend class EventList;
        const_iterator(const EventList *list, qsizetype piece, qsizetype at)
            : m_list(list)
            , m_piece(piece)
            , m_at(at)
        {}
        const EventList *m_list = nullptr;
        qsizetype m_piece = 0;
        qsizetype m_at = 0;
    };

    EventList() = default;
    EventList(const QList<EventRecord> &events);
    EventList(std::initializer_list<EventRecord> events);

    [[nodiscard]] qsizetype size() const { return m_size; }
    [[nodiscard]] bool isEmpty() const { return m_size == 0; }
    [[nodiscard]] const_iterator begin() const { return {this, 0, 0}; }
    [[nodiscard]] const_iterator end() const { return {this, m_pieces.size(), 0}; }

    /// The last `count` events, or all of them when there are fewer. Shares the elements.
    [[nodiscard]] EventList last(qsizetype count) const;

    /// What a search looks for: events of this session, of this run, or dated at or after this moment.
    struct Wanted
    {
        std::optional<QString> sessionId = {};
        std::optional<QUuid> runID = {};
        std::optional<Date> since = {};
    };
    /// The events for which one of the three is true, in the order of the list, and at most a few others.
    /// Costs what it finds, not what the list holds; only `since` also looks at events beside those. They
    /// live as long as this list or a copy of it.
    [[nodiscard]] QList<const EventRecord *> find(const Wanted &wanted) const;

    [[nodiscard]] QList<EventRecord> toList() const;

    void append(EventRecord event);

    /// Drops every event whose `ts` is not above `cutoff`. Costs what it drops, and for events out of order
    /// at most one block each time.
    void dropUpTo(double cutoff);

    friend bool operator==(const EventList &a, const EventList &b);

private:
    static void add(Piece &piece, EventRecord event, quint64 number);
    void filter(Piece &piece, double cutoff);
    [[nodiscard]] QList<quint64> numbersSince(Date since) const;
    [[nodiscard]] const EventRecord *at(quint64 number) const;

    QList<Piece> m_pieces;
    qsizetype m_size = 0;
    EventIndex m_index;       ///< may still name elements that last() left out
    quint64 m_nextNumber = 0; ///< elements are numbered in their order, with gaps where some were dropped
};

} // namespace Keelhaven
