#pragma once

#include "Scheduler/Model/RunMatcher.h"

#include <QCache>

namespace Keelhaven {

/// The hook log of one Codex run: "{directory}/{run id}.jsonl", one event a line.
namespace CodexEvents {

/// The run's own events; an absent file gives none, a bad line loses itself.
[[nodiscard]] QList<EventRecord> read(const QUuid &runID, const QString &directory);

/// Reads like read(), but a log that has not changed since the last time is not parsed again: live runs are
/// looked at with each change of the shared files, whoever caused it.
class Reader
{
public:
    explicit Reader(QString directory);

    [[nodiscard]] QList<EventRecord> operator()(const QUuid &runID);

private:
    struct Log
    {
        qint64 mtimeNanoseconds = 0;
        qint64 size = 0;
        quint64 inode = 0;
        QList<EventRecord> events = {};
    };

    QString m_directory;
    QCache<QUuid, Log> m_logs; ///< the ones asked for last
};

/// What the events tell of the run's session.
[[nodiscard]] RunMatcher::Assessment assess(const RunMatcher::RunKey &key, const QList<EventRecord> &events);

} // namespace CodexEvents

} // namespace Keelhaven
