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
        numbers.reserve(static_cast<size_t>(size));
        data = events.data();
        numberData = numbers.data();
    }

    [[nodiscard]] qsizetype used() const { return static_cast<qsizetype>(events.size()); }

    std::vector<EventRecord> events;
    std::vector<quint64> numbers;
    const EventRecord *data = nullptr;
    const quint64 *numberData = nullptr;
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
    m_index.add(event, m_nextNumber);
    add(m_pieces.last(), std::move(event), m_nextNumber++);
    ++m_size;
}

void EventList::add(Piece &piece, EventRecord event, quint64 number)
{
    if (piece.count == 0) {
        piece.oldest = event.ts;
        piece.newest = event.ts;
    } else {
        piece.isSorted = piece.isSorted && piece.block->data[piece.first + piece.count - 1].ts <= event.ts;
        piece.oldest = std::min(piece.oldest, event.ts);
        piece.newest = std::max(piece.newest, event.ts);
    }
    piece.lastNumber = number;
    piece.block->numbers.push_back(number);
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

QList<const EventRecord *> EventList::find(const Wanted &wanted) const
{
    QList<quint64> numbers;
    const auto merge = [&numbers](const QList<quint64> &more) {
        if (numbers.isEmpty()) {
            numbers = more;
            return;
        }
        QList<quint64> both;
        both.reserve(numbers.size() + more.size());
        std::ranges::set_union(std::as_const(numbers), more, std::back_inserter(both));
        numbers = std::move(both);
    };
    if (wanted.sessionId)
        merge(m_index.ofSession(*wanted.sessionId));
    if (wanted.runID)
        merge(m_index.ofRun(*wanted.runID));
    if (wanted.since)
        merge(numbersSince(*wanted.since));
    QList<const EventRecord *> found;
    found.reserve(numbers.size());
    for (const quint64 number : std::as_const(numbers)) {
        if (const EventRecord *event = at(number))
            found.append(event);
    }
    return found;
}

QList<quint64> EventList::numbersSince(Date since) const
{
    QList<quint64> numbers;
    for (const Piece &piece : m_pieces) {
        if (dateFromSeconds(piece.newest) < since)
            continue;
        for (qsizetype i = piece.first; i < piece.first + piece.count; ++i) {
            if (piece.block->data[i].date() >= since)
                numbers.append(piece.block->numberData[i]);
        }
    }
    return numbers;
}

const EventRecord *EventList::at(quint64 number) const
{
    const auto found = std::ranges::lower_bound(m_pieces, number, {}, &Piece::lastNumber);
    if (found == m_pieces.end())
        return nullptr;
    const Piece &piece = *found;
    const std::span numbers(piece.block->numberData + piece.first, static_cast<size_t>(piece.count));
    const auto place = std::ranges::lower_bound(numbers, number);
    if (place == numbers.end() || *place != number)
        return nullptr;
    return piece.block->data + piece.first + (place - numbers.begin());
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
    if (piece.isSorted) {
        for (; piece.count > 0 && piece.block->data[piece.first].ts <= cutoff; ++piece.first, --piece.count)
            m_index.remove(piece.block->data[piece.first], piece.block->numberData[piece.first]);
        piece.oldest = piece.count > 0 ? piece.block->data[piece.first].ts : 0;
        return;
    }
    Piece kept{.block = std::make_shared<Block>(piece.count)};
    for (qsizetype i = piece.first; i < piece.first + piece.count; ++i) {
        const EventRecord &event = piece.block->data[i];
        if (event.ts > cutoff)
            add(kept, event, piece.block->numberData[i]);
        else
            m_index.remove(event, piece.block->numberData[i]);
    }
    piece = std::move(kept);
}

bool operator==(const EventList &a, const EventList &b)
{
    return a.m_size == b.m_size && std::equal(a.begin(), a.end(), b.begin());
}

} // namespace Keelhaven
