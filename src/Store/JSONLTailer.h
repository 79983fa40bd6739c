#pragma once

#include "Contract/Models/EventList.h"
#include "Platform/LineBuffer.h"
#include "Platform/TailFile.h"

namespace Keelhaven {

/// Follows the shared event log. Each byte is read once, and what a read costs depends on the new bytes
/// alone.
///
/// The log's writers rename a log that has grown large and start a new one. The tailer follows the file it
/// has open to its end before it turns to the new one, and looks at the old one for another minute: a writer
/// that opened it before the rename may still append to it.
class JSONLTailer
{
public:
    /// Events this old are not kept.
    static constexpr auto retention = std::chrono::seconds(2592000);
    /// How long a renamed log is still looked at.
    static constexpr auto afterglow = std::chrono::seconds(60);

    struct ReadResult
    {
        EventList newEvents; ///< of this read; what is too old only when it stood near the end of the file
        EventList events;    ///< all retained, those of this read included
    };

    /// Reads what was appended since the last read, in whole lines. A file that shrank is read again from its
    /// start.
    ReadResult read(const QString &path, Date now);

    /// How much read() would have to read.
    [[nodiscard]] quint64 unreadBytes(const QString &path) const;

    [[nodiscard]] const EventList &events() const { return m_events; }

private:
    /// One file being followed.
    struct Source
    {
        TailFile file;
        quint64 offset = 0;
        LineBuffer lines;
    };

    /// Appends the source's new events and gives their number. Of a backlog, those not above `cutoff` do not
    /// even come into memory.
    qsizetype drain(Source &source, double cutoff);

    std::optional<Source> m_current;
    std::optional<Source> m_previous;
    Date m_previousEnds{};
    EventList m_events;
};

} // namespace Keelhaven
