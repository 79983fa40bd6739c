#include "Store/JSONLTailer.h"

namespace Keelhaven {

namespace {
constexpr qsizetype chunkSize = 4 << 20;
/// Four times the longest that the hook writes; a longer line is no event.
constexpr qsizetype longestLine = 2 << 20;
constexpr double noCutoff = -std::numeric_limits<double>::infinity();
}

JSONLTailer::ReadResult JSONLTailer::read(const QString &path, Date now)
{
    const double cutoff = secondsSince1970(now - retention);
    qsizetype count = 0;
    if (m_previous)
        count += drain(*m_previous, cutoff);
    if (m_previous && now >= m_previousEnds)
        m_previous.reset();

    auto file = TailFile::open(path);
    if (m_current)
        count += drain(*m_current, cutoff);
    if (file && !(m_current && m_current->file.identity() == file->identity())) {
        m_previous = std::exchange(m_current, std::nullopt);
        m_previousEnds = now + afterglow;
        m_current.emplace(Source{.file = *std::move(file), .lines = LineBuffer(longestLine)});
        count += drain(*m_current, cutoff);
    }

    ReadResult result;
    result.newEvents = m_events.last(count);
    m_events.dropUpTo(cutoff);
    result.events = m_events;
    return result;
}

quint64 JSONLTailer::unreadBytes(const QString &path) const
{
    const auto unread = [](const Source &source) {
        const quint64 size = source.file.size();
        return size < source.offset ? size : size - source.offset;
    };
    quint64 bytes = (m_previous ? unread(*m_previous) : 0) + (m_current ? unread(*m_current) : 0);
    const auto file = TailFile::open(path);
    if (file && !(m_current && m_current->file.identity() == file->identity()))
        bytes += file->size();
    return bytes;
}

qsizetype JSONLTailer::drain(Source &source, double cutoff)
{
    if (source.file.size() < source.offset) {
        source.offset = 0;
        source.lines.clear();
    }
    const qsizetype before = m_events.size();
    while (true) {
        const QByteArray bytes = source.file.read(source.offset, chunkSize);
        if (bytes.isEmpty())
            return m_events.size() - before;
        source.offset += static_cast<quint64>(bytes.size());
        const bool isBacklog = source.file.size() > source.offset;
        source.lines.add(bytes, [&](QByteArrayView line) {
            if (auto event = EventRecord::fromLine(line, isBacklog ? cutoff : noCutoff))
                m_events.append(*std::move(event));
        });
    }
}

} // namespace Keelhaven
