#pragma once

#include "Platform/LineBuffer.h"
#include "Platform/TailFile.h"
#include "Scheduler/Model/RunMatcher.h"

#include <QCache>

namespace Keelhaven {

/// The hook log of one Codex run: "{directory}/{run id}.jsonl", one event a line. Whatever runs in the
/// session may write there, so logs are read in pieces and a longer line than hooks write is skipped.
namespace CodexEvents {

/// How much is read at once, and of one log at most in one look.
inline constexpr qsizetype pieceSize = 256 << 10;
inline constexpr qsizetype lookLimit = 4 << 20;
inline constexpr qsizetype longestLine = 2 << 20;

/// The run's own events, of a log that is longer than `lookLimit` those at its beginning; an absent file
/// gives none, a bad line loses itself.
[[nodiscard]] QList<EventRecord> read(const QUuid &runID, const QString &directory);

/// Follows the logs of live runs. Each byte is read once: runs are looked at with each change of the shared
/// files, whoever caused it. What is beyond `lookLimit` comes with the next look.
class Reader
{
public:
    explicit Reader(QString directory);

    /// The run's own events so far, without those that assess() makes nothing of because of later ones: a
    /// session's tool calls would grow without end.
    [[nodiscard]] QList<EventRecord> operator()(const QUuid &runID);

private:
    struct Log
    {
        std::optional<TailFile::Identity> file;
        quint64 offset = 0;
        LineBuffer lines{longestLine};
        QList<EventRecord> events = {};
        QList<qsizetype> sizes = {}; ///< of the lines that `events` came from
        qint64 bytes = 0;            ///< their sum
    };

    static void follow(Log &log, const QUuid &runID, const QString &path);
    static void keep(Log &log, EventRecord event, qsizetype size);

    QString m_directory;
    QCache<QUuid, Log> m_logs; ///< the ones asked for last
};

/// What the events tell of the run's session.
[[nodiscard]] RunMatcher::Assessment assess(const RunMatcher::RunKey &key, const QList<EventRecord> &events);

/// Removes the run's log.
void removeLog(const QUuid &runID, const QString &directory);

/// Removes the logs that nobody has written to for thirty days, but those of the runs in `keeping`.
void removeOldLogs(const QString &directory, const QSet<QUuid> &keeping, Date now);

} // namespace CodexEvents

} // namespace Keelhaven
