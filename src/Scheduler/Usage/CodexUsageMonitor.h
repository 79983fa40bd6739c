#pragma once

#include "Platform/ClaudeLocator.h"
#include "Platform/OneShot.h"
#include "Platform/Tasks.h"
#include "Scheduler/Usage/CodexUsageRequest.h"
#include "Scheduler/Usage/CodexUsageSnapshot.h"

#include <QObject>

namespace Keelhaven {

/// Holds the last rate limits of the Codex account for display. Each reading starts an app server of its own.
/// Main loop only; what it is built from outlives it.
class CodexUsageMonitor : public QObject
{
    Q_OBJECT

public:
    CodexUsageMonitor(ClaudeLocator &locator, ChildProcessFactory &children, Clock &clock, Tasks &tasks);
    ~CodexUsageMonitor() override;

    /// Reads once. Nothing happens while a reading is on its way. A failed one leaves the snapshot in place;
    /// a cancelled one changes nothing.
    [[nodiscard]] QCoro::Task<> refresh(std::stop_token stop = {});
    /// Waits for the reading that is on its way. False when it was cancelled, and at once when there is none.
    [[nodiscard]] QCoro::Task<bool> readingEnd();

    /// Reads now and 120 s after the end of each reading, for as long as the meters are on screen. Starting
    /// again begins anew.
    void startFollowing();
    void stopFollowing();
    /// Ends following and the reading on its way, for good.
    void shutdown();

    /// The last reading; nothing until the server has answered once.
    [[nodiscard]] const std::optional<CodexUsageSnapshot> &snapshot() const { return m_snapshot; }
    [[nodiscard]] bool isLoading() const { return m_isLoading; }
    /// The last reading failed.
    [[nodiscard]] bool unavailable() const { return m_unavailable; }
    [[nodiscard]] const std::optional<QString> &unavailableReason() const { return m_unavailableReason; }
    /// What to show beside the meters: why there was no answer, and that the numbers are more than an hour
    /// old.
    [[nodiscard]] QStringList notices(Date now) const;

Q_SIGNALS:
    /// Snapshot, loading or availability changed.
    void changed();

private:
    [[nodiscard]] QCoro::Task<> follow(std::stop_token stop);
    void endReading(bool isCancelled = false);
    void fail(const QString &reason);

    ClaudeLocator &m_locator;
    ChildProcessFactory &m_children;
    Clock &m_clock;
    Tasks &m_tasks;
    std::optional<CodexUsageSnapshot> m_snapshot;
    QList<OneShot<bool>> m_waiting; ///< for the end of the reading
    bool m_isLoading = false;
    bool m_unavailable = false;
    bool m_isShutDown = false;
    std::optional<QString> m_unavailableReason;
    std::stop_source m_following{std::nostopstate};
    std::stop_source m_life; ///< stopped at shutdown
    Timer m_nextReading;
};

} // namespace Keelhaven
