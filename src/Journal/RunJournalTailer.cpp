#include "Journal/RunJournalTailer.h"

#include "Platform/TailFile.h"

namespace Keelhaven {

RunJournalTailer::RunJournalTailer(QString path, bool skipExisting)
    : m_path(std::move(path))
{
    const auto file = skipExisting ? TailFile::open(m_path) : std::nullopt;
    if (file)
        m_offset = file->size();
}

QList<JournalEvent> RunJournalTailer::read(Date now)
{
    QList<JournalEvent> events;
    m_hasMore = false;
    const auto file = TailFile::open(m_path);
    if (!file)
        return events;
    if (file->size() < m_offset) {
        m_offset = 0;
        m_lines.clear();
    }
    const QByteArray bytes = file->read(m_offset, readLimit);
    m_offset += static_cast<quint64>(bytes.size());
    m_hasMore = bytes.size() == readLimit;
    m_lines.add(bytes, [&](QByteArrayView line) { addEvent(line, now, events); });
    return events;
}

QList<JournalEvent> RunJournalTailer::readRest(Date now)
{
    QList<JournalEvent> events;
    const QByteArray rest = m_lines.partial();
    m_lines.clear();
    addEvent(rest, now, events);
    return events;
}

/// `now` moves on with each event that takes it for its time: stored events of one kind and moment are one.
void RunJournalTailer::addEvent(QByteArrayView line, Date &now, QList<JournalEvent> &events)
{
    if (!line.isValidUtf8())
        return;
    auto event = JournalEvent::fromLine(line, now);
    if (!event)
        return;
    if (event->date() == now)
        now += Span(1);
    events.append(*std::move(event));
}

void RunJournalTailer::skipToLast(quint64 bytes)
{
    const auto file = TailFile::open(m_path);
    const quint64 size = file ? file->size() : 0;
    if (size < m_offset || size - m_offset <= bytes)
        return;
    // The line that is cut here is no JSON any more, so it drops out by itself.
    m_offset = size - bytes;
    m_lines.clear();
}

} // namespace Keelhaven
