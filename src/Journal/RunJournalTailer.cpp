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
    m_lines.add(bytes, [&](QByteArrayView line) {
        if (!line.isValidUtf8())
            return;
        if (auto event = JournalEvent::fromLine(line, now))
            events.append(*std::move(event));
    });
    return events;
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
