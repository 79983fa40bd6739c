#include "Contract/Models/EventList.h"

#include <algorithm>
#include <span>

namespace Keelhaven {

namespace {
constexpr qsizetype smallestBlock = 16;
constexpr qsizetype largestBlock = 1024;
}

/// Storage that never moves: elements are constructed in place, and only the one appender looks at the vector
/// itself.
struct EventList::Block
{
    explicit Block(qsizetype size)
        : capacity(size)
    {
        events.reserve(static_cast<size_t>(size));
        data = events.data();
    }

    [[nodiscard]] qsizetype used() const { return static_cast<qsizetype>(events.size()); }

    std::vector<EventRecord> events;
    const EventRecord *data = nullptr;
    qsizetype capacity;
};

EventList::EventList(const QList<EventRecord> &events)
{
    for (const auto &event : events)
        append(event);
}

EventList::EventList(std::initializer_list<EventRecord> events)
{
    for (const auto &event : events)
        append(event);
}

EventList::const_iterator::reference EventList::const_iterator::operator*() const
{
    const Piece &piece = m_list->m_pieces[m_piece];
    return piece.block->data[piece.first + m_at];
}

EventList::const_iterator &EventList::const_iterator::operator++()
{
    if (++m_at == m_list->m_pieces[m_piece].count) {
        ++m_piece;
        m_at = 0;
    }
    return *this;
}

void EventList::append(EventRecord event)
{
    // A block can be continued only behind its last element: another copy may have grown it already.
    const auto hasRoom = [](const Piece &piece) {
        const qsizetype used = piece.block->used();
        return piece.first + piece.count == used && used < piece.block->capacity;
    };
    if (m_pieces.isEmpty() || !hasRoom(m_pieces.constLast()))
        m_pieces.append(
            Piece{.block = std::make_shared<Block>(std::clamp(m_size, smallestBlock, largestBlock))});
    add(m_pieces.last(), std::move(event));
    ++m_size;
}

void EventList::add(Piece &piece, EventRecord event)
{
    if (piece.count == 0) {
        piece.oldest = event.ts;
        piece.newest = event.ts;
    } else {
        piece.isSorted = piece.isSorted && piece.block->data[piece.first + piece.count - 1].ts <= event.ts;
        piece.oldest = std::min(piece.oldest, event.ts);
        piece.newest = std::max(piece.newest, event.ts);
    }
    if (event.sessionId)
        piece.sessions.insert(*event.sessionId);
    if (event.runID)
        piece.runs.insert(*event.runID);
    piece.block->events.push_back(std::move(event));
    ++piece.count;
}

EventList EventList::last(qsizetype count) const
{
    EventList tail = *this;
    qsizetype surplus = m_size - std::clamp<qsizetype>(count, 0, m_size);
    tail.m_size -= surplus;
    while (surplus > 0) {
        Piece &front = tail.m_pieces.first();
        if (front.count > surplus) {
            front.first += surplus;
            front.count -= surplus;
            break;
        }
        surplus -= front.count;
        tail.m_pieces.removeFirst();
    }
    return tail;
}

EventList EventList::around(const Wanted &wanted) const
{
    const auto mayHold = [&](const Piece &piece) {
        return (wanted.sessionId && piece.sessions.contains(*wanted.sessionId)) ||
               (wanted.runID && piece.runs.contains(*wanted.runID)) ||
               (wanted.since && dateFromSeconds(piece.newest) >= *wanted.since);
    };
    EventList part;
    for (const Piece &piece : m_pieces) {
        if (!mayHold(piece))
            continue;
        part.m_pieces.append(piece);
        part.m_size += piece.count;
    }
    return part;
}

QList<EventRecord> EventList::toList() const
{
    return QList<EventRecord>(begin(), end());
}

void EventList::dropUpTo(double cutoff)
{
    const auto hasOld = [cutoff](const Piece &piece) { return piece.oldest <= cutoff; };
    if (std::ranges::none_of(std::as_const(m_pieces), hasOld))
        return;
    for (Piece &piece : m_pieces) {
        if (!hasOld(piece))
            continue;
        m_size -= piece.count;
        filter(piece, cutoff);
        m_size += piece.count;
    }
    m_pieces.removeIf([](const Piece &piece) { return piece.count == 0; });
}

void EventList::filter(Piece &piece, double cutoff)
{
    const EventRecord *events = piece.block->data + piece.first;
    if (piece.isSorted) {
        for (; piece.count > 0 && events->ts <= cutoff; ++events, ++piece.first)
            --piece.count;
        piece.oldest = piece.count > 0 ? events->ts : 0;
        return;
    }
    Piece kept{.block = std::make_shared<Block>(piece.count)};
    for (const auto &event : std::span(events, static_cast<size_t>(piece.count))) {
        if (event.ts > cutoff)
            add(kept, event);
    }
    piece = std::move(kept);
}

bool operator==(const EventList &a, const EventList &b)
{
    return a.m_size == b.m_size && std::equal(a.begin(), a.end(), b.begin());
}

} // namespace Keelhaven
