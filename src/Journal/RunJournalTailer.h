#pragma once

#include "Journal/JournalEvent.h"
#include "Platform/LineBuffer.h"

namespace Keelhaven {

/// Follows one run's journal file.
class RunJournalTailer
{
public:
    /// With `skipExisting` only what is appended from now on is read.
    RunJournalTailer(QString path, bool skipExisting);

    /// The events of the lines completed since the last read; lines that are none are skipped. A file that
    /// shrank is read again from its start. Reads at most `readLimit` bytes: an agent may write anything
    /// here, and the main loop waits. What is left over comes with the next read.
    [[nodiscard]] QList<JournalEvent> read(Date now);

    /// Whether the last read stopped at its limit.
    [[nodiscard]] bool hasMore() const { return m_hasMore; }

    /// The event of the last line, once nobody will append to it any more and it has no LF: agents that write
    /// the file themselves leave that out. None for half a line. What comes later is a line of its own.
    [[nodiscard]] QList<JournalEvent> readRest(Date now);

    /// Passes over all that is not read yet but the last `bytes` of it.
    void skipToLast(quint64 bytes);

    static constexpr qsizetype readLimit = 256 << 10;
    /// A longer line is skipped: far beyond what the reporting tools write.
    static constexpr qsizetype longestLine = 1 << 20;

private:
    static void addEvent(QByteArrayView line, Date &now, QList<JournalEvent> &events);

    QString m_path;
    quint64 m_offset = 0;
    LineBuffer m_lines{longestLine};
    bool m_hasMore = false;
};

} // namespace Keelhaven
