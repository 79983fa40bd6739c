#pragma once

#include "Platform/Clock.h"
#include "Platform/OneShot.h"
#include "Platform/Tasks.h"
#include "Scheduler/Usage/UsageSnapshot.h"

#include <QObject>

namespace Keelhaven {

/// Keeps a picture of the account's usage windows from the numbers that the Claude CLI caches in its own
/// file and, when the user asks for it, from the account itself. Lives on the main loop; clock and tasks
/// outlive it.
class UsageMonitor : public QObject
{
    Q_OBJECT

public:
    UsageMonitor(Clock &clock, Tasks &tasks, QString claudeJSON);

    /// Reads the file once and then every 120 s. Nothing when it already runs.
    void start();
    /// Ends the timer.
    void shutdown();

    /// The last measured snapshot; nothing until a source has answered.
    [[nodiscard]] const std::optional<UsageSnapshot> &snapshot() const { return m_snapshot; }

    /// The snapshot projected to the present. A measurement of at most 120 s is given as it is.
    [[nodiscard]] std::optional<UsageSnapshot> estimated() const;

    /// Takes a measurement over unless the present one is newer. One from the future counts as older than
    /// all others.
    void adopt(const std::optional<UsageSnapshot> &candidate);

    /// Reads the file, then asks the account. Only ever on the user's own request: nothing else touches the
    /// network or the sign-in. One at a time; a call during another one ends at once.
    [[nodiscard]] QCoro::Task<> refreshLive();
    [[nodiscard]] bool refreshing() const { return m_refreshing; }
    /// Why the last refresh brought nothing, until the next one begins.
    [[nodiscard]] const std::optional<QString> &lastRefreshError() const { return m_lastRefreshError; }

    /// What the file says. Ends without suspending when the file did not change since the last read or is
    /// small; a large one is parsed on a pool thread, once for all who ask meanwhile.
    [[nodiscard]] QCoro::Task<std::optional<UsageSnapshot>> fileSnapshot();

    [[nodiscard]] QString claudeJSONURL() const { return m_claudeJSON; }

    /// Work tokens of this program's runs between two moments, the second excluded; 0 while unset.
    std::function<qint64(Date from, Date to)> tokensBetween;
    /// Asks the account for its meters; while unset, a refresh finds nothing.
    std::function<QCoro::Task<std::optional<UsageSnapshot>>()> fetchLive;

Q_SIGNALS:
    void snapshotChanged();
    /// `refreshing` or `lastRefreshError` changed.
    void refreshStateChanged();

private:
    /// Tells one content of the file from another without reading it.
    struct Stamp
    {
        qint64 mtimeNanoseconds = -1;
        qint64 size = -1;
        quint64 inode = 0;
        bool operator==(const Stamp &) const = default;
    };

    using Answer = OneShot<std::optional<UsageSnapshot>>;
    /// Those who wait for the large file that is being parsed. The parsing holds them, so that they get an
    /// answer even when the monitor goes.
    using Waiting = std::shared_ptr<QList<Answer>>;

    [[nodiscard]] static std::optional<Stamp> stampOf(const QString &path);
    [[nodiscard]] QCoro::Task<std::optional<UsageSnapshot>> parseOnPool(Stamp stamp);
    [[nodiscard]] QCoro::Task<> adoptFile();
    void setRefreshState(bool refreshing, const std::optional<QString> &error);

    Clock &m_clock;
    Tasks &m_tasks;
    QString m_claudeJSON;
    Timer m_timer;
    std::optional<UsageSnapshot> m_snapshot;
    std::optional<Stamp> m_stamp; ///< of the content behind m_fromFile
    std::optional<UsageSnapshot> m_fromFile;
    Waiting m_parsing; ///< set while a large file is parsed on a pool thread
    bool m_refreshing = false;
    std::optional<QString> m_lastRefreshError;
};

} // namespace Keelhaven
