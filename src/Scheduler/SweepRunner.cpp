#include "Scheduler/SweepRunner.h"

#include "Contract/SettingsCatalog.h"
#include "Contract/SweepBlockedReason.h"

#include <algorithm>

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr Span shortestInterval = 7200s; ///< between two sweeps that nobody asked for
constexpr Span pendingFor = 30s;

bool belongsToSweep(const RunRecord &record)
{
    return SweepOverview::isSweep(record) || SweepOverview::isFollowUp(record);
}

} // namespace

SweepRunner::SweepRunner(SchedulerEngine &engine, SettingsStore &settings, Clock &clock, Tasks &tasks,
                         QString home)
    : m_engine(engine)
    , m_settings(settings)
    , m_clock(clock)
    , m_tasks(tasks)
    , m_home(std::move(home))
{}

std::optional<QString> SweepRunner::sweepBlockedReason() const
{
    return Keelhaven::sweepBlockedReason(m_settings, m_home);
}

bool SweepRunner::sweepRanRecently(const std::optional<Date> &lastSweepAt, Date now)
{
    return lastSweepAt && now - *lastSweepAt < shortestInterval;
}

bool SweepRunner::isUnderWay() const
{
    // A run between the queue and its session counts as well: its tab has no agent yet, and would be tidied.
    return std::ranges::any_of(m_engine.active(),
                               [](const auto &run) { return SweepOverview::isSweep(run->record); }) ||
           std::ranges::any_of(m_engine.queued(), SweepOverview::isSweep, &QueuedRun::record) ||
           std::ranges::any_of(m_engine.launching(), SweepOverview::isSweep);
}

void SweepRunner::sweepOnOpenIfEnabled()
{
    if (Setting::read(m_settings, Setting::sweepKeelhavenOnOpen))
        runKeelhavenSweep(false);
}

void SweepRunner::runKeelhavenSweep(bool force)
{
    m_tasks.spawn(startQuietly(force), "sweep");
}

QCoro::Task<> SweepRunner::startQuietly(bool force)
{
    const QPointer<SweepRunner> self(this);
    const SweepStart started = co_await start(force);
    // Who asked for one must not be left to wonder.
    if (self && force && started.kind == SweepStart::Kind::TabBusy)
        onBlocked(u"A tab of an earlier sweep still holds a session at work, so no other one starts."_s);
}

QCoro::Task<SweepStart> SweepRunner::start(bool force)
{
    const QPointer<SweepRunner> self(this);
    const QString tabLabel = SweepOverview::sweepName.toString();
    if (isUnderWay())
        co_return SweepStart{SweepStart::Kind::UnderWay};
    if (!force && sweepRanRecently(Setting::read(m_settings, Setting::keelhavenLastSweepAt), m_clock.now())) {
        [[maybe_unused]] const bool busy = co_await m_engine.reconcileOrphanTabs(tabLabel);
        co_return SweepStart{SweepStart::Kind::RanRecently};
    }
    if (const auto reason = sweepBlockedReason()) {
        onBlocked(*reason);
        co_return SweepStart{SweepStart::Kind::Blocked, *reason};
    }
    const auto directory = Setting::runDirectory(m_settings, m_home);
    if (!directory)
        co_return SweepStart{SweepStart::Kind::Blocked};
    const SchedulerSlot slot = SweepOverview::sweepSlot(*directory);
    const bool busy = co_await m_engine.reconcileOrphanTabs(tabLabel);
    if (!self)
        co_return SweepStart{};
    // Swallowed: a moment that cannot be stored holds for this process.
    static_cast<void>(m_settings.set(Setting::keelhavenLastSweepAt.name.toString(), m_clock.now()));
    if (busy)
        co_return SweepStart{SweepStart::Kind::TabBusy};
    // A second wish may have come while the tabs were looked at.
    if (isUnderWay())
        co_return SweepStart{SweepStart::Kind::UnderWay};
    const auto runs = m_engine.enqueue(slot, RunTrigger::Manual);
    if (runs.isEmpty())
        co_return SweepStart{};
    SweepStart queued{SweepStart::Kind::Queued};
    queued.runs = runs;
    co_return queued;
}

std::optional<QString> SweepRunner::resumeLatestSweep()
{
    if (liveSweep() || queuedSweep() || launchingSweep() || sweepResumePending())
        return u"A sweep or its follow-up is under way."_s;
    const auto sweep = latestSweep();
    if (!sweep)
        return u"No sweep has ended yet."_s;
    if (const auto reason = SweepOverview::resumeBlockedReason(*sweep)) {
        onBlocked(*reason);
        return reason;
    }
    const SchedulerSlot slot = SweepOverview::resumeSlot(*sweep, m_clock.now());
    // A session that is shown again is no follow-up on its way.
    if (!m_engine.openSession(*sweep->sessionID)) {
        m_resumeRequestedAt = m_clock.now();
        Q_EMIT sweepResumeRequestedAtChanged();
    }
    const auto refused = m_engine.takeUp(slot, *sweep->sessionID);
    if (refused) {
        m_resumeRequestedAt.reset();
        Q_EMIT sweepResumeRequestedAtChanged();
        onBlocked(*refused);
    }
    return refused;
}

std::optional<RunRecord> SweepRunner::latestSweep() const
{
    return SweepOverview::latest(m_engine.history());
}

ActiveRunPtr SweepRunner::liveSweep() const
{
    const auto &active = m_engine.active();
    const auto found =
        std::ranges::find_if(active, [](const auto &run) { return belongsToSweep(run->record); });
    return found == active.end() ? nullptr : *found;
}

std::optional<QueuedRun> SweepRunner::queuedSweep() const
{
    const auto &queued = m_engine.queued();
    const auto found = std::ranges::find_if(queued, belongsToSweep, &QueuedRun::record);
    return found == queued.end() ? std::nullopt : std::optional(*found);
}

std::optional<RunRecord> SweepRunner::launchingSweep() const
{
    const auto &launching = m_engine.launching();
    const auto found = std::ranges::find_if(launching, belongsToSweep);
    return found == launching.end() ? std::nullopt : std::optional(*found);
}

bool SweepRunner::sweepResumePending() const
{
    return m_resumeRequestedAt && m_clock.now() - *m_resumeRequestedAt < pendingFor;
}

} // namespace Keelhaven
