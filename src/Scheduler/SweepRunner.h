#pragma once

#include "Scheduler/SchedulerEngine.h"
#include "Scheduler/SweepOverview.h"

namespace Keelhaven {

/// What became of the wish for a sweep.
struct SweepStart
{
    enum class Kind {
        Queued,
        UnderWay,    ///< one waits or lives already
        RanRecently, ///< only left-over tabs were tidied
        Blocked,     ///< for `reason`
        TabBusy,     ///< a tab of an earlier sweep still holds a working session
        Quitting
    };
    Kind kind = Kind::Quitting;
    QString reason = {};
    QList<QUuid> runs = {};
};

/// Starts the one run that the application starts by itself, and picks its conversation up again. A view on
/// the engine; it holds no state but when a follow-up was last asked for. Main loop only; all it is given
/// outlives it.
class SweepRunner : public QObject
{
    Q_OBJECT

public:
    SweepRunner(SchedulerEngine &engine, SettingsStore &settings, Clock &clock, Tasks &tasks, QString home);

    /// A sweep as the application opens, where the settings want one.
    void sweepOnOpenIfEnabled();
    /// A sweep on request. Without `force` one that follows the last within two hours is none.
    void runKeelhavenSweep(bool force);
    /// The same, telling what became of it.
    [[nodiscard]] QCoro::Task<SweepStart> start(bool force);

    [[nodiscard]] std::optional<QString> sweepBlockedReason() const;
    [[nodiscard]] static bool sweepRanRecently(const std::optional<Date> &lastSweepAt, Date now);

    /// Opens the latest sweep's conversation for the user, in a session that stays open. Gives the reason
    /// when it does not.
    std::optional<QString> resumeLatestSweep();

    [[nodiscard]] std::optional<RunRecord> latestSweep() const;
    /// The live sweep or follow-up; null when there is none.
    [[nodiscard]] ActiveRunPtr liveSweep() const;
    [[nodiscard]] std::optional<QueuedRun> queuedSweep() const;
    /// The sweep or follow-up whose session is being opened: it waits and lives no more, and not yet.
    [[nodiscard]] std::optional<RunRecord> launchingSweep() const;
    /// A follow-up was asked for a moment ago and may not show in the queue yet.
    [[nodiscard]] bool sweepResumePending() const;
    [[nodiscard]] const std::optional<Date> &sweepResumeRequestedAt() const { return m_resumeRequestedAt; }

    /// Takes the reason for which a sweep or its follow-up was refused.
    std::function<void(const QString &)> onBlocked = [](const QString &) {};

Q_SIGNALS:
    void sweepResumeRequestedAtChanged();

private:
    [[nodiscard]] bool isUnderWay() const;
    QCoro::Task<> startQuietly(bool force);

    SchedulerEngine &m_engine;
    SettingsStore &m_settings;
    Clock &m_clock;
    Tasks &m_tasks;
    QString m_home;
    std::optional<Date> m_resumeRequestedAt;
};

} // namespace Keelhaven
