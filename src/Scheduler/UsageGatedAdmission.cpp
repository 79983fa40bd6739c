#include "Scheduler/UsageGatedAdmission.h"

#include "Contract/SettingsCatalog.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Span gatesFor = 3600s; ///< an older reading gates nothing
constexpr Span waitWithoutReset = 1800s;
constexpr Span shortestDeferral = 60s;
constexpr Span longestDeferral = 6h;
constexpr qint64 percentLimit = 1'000'000;

Date clamped(Date until, Date now)
{
    return std::clamp(until, now + shortestDeferral, now + longestDeferral);
}

} // namespace

UsageGatedAdmission::UsageGatedAdmission(std::optional<int> sessionCapDefault,
                                         std::optional<int> paceSlackPoints)
    : m_sessionCapDefault(sessionCapDefault)
    , m_paceSlackPoints(paceSlackPoints)
{}

UsageGatedAdmission UsageGatedAdmission::fromSettings(const SettingsStore &settings)
{
    const auto points = [&](const SettingKey<qint64> &key) {
        return static_cast<int>(std::clamp(Setting::read(settings, key), -percentLimit, percentLimit));
    };
    const int cap = points(Setting::schedulerSessionCapPercent);
    const bool guard = Setting::read(settings, Setting::schedulerPaceGuardEnabled);
    return UsageGatedAdmission(cap >= 1 ? std::optional(cap) : std::nullopt,
                               guard ? std::optional(points(Setting::schedulerPaceSlack)) : std::nullopt);
}

Admission UsageGatedAdmission::admit(const SchedulerSlot &slot, const AdmissionContext &context) const
{
    if (context.trigger != RunTrigger::Scheduled)
        return Admission::run();
    if (!context.usage || context.usage->isStale(context.now, gatesFor))
        return Admission::run();
    if (const auto held = sessionCap(slot, context))
        return *held;
    return paceGuard(context).value_or(Admission::run());
}

std::optional<Admission> UsageGatedAdmission::sessionCap(const SchedulerSlot &slot,
                                                         const AdmissionContext &context) const
{
    // An agent's own cap of 0 replaces the global one and switches the gate off.
    const int cap = slot.maxUsagePercent.value_or(m_sessionCapDefault.value_or(0));
    const auto meter = context.usage->sessionMeter();
    if (cap < 1 || !meter || meter->percent < cap)
        return std::nullopt;
    const Date until = meter->resetsAt.value_or(context.now + waitWithoutReset);
    return Admission::defer(clamped(until, context.now),
                            u"session %1% ≥ %2% cap"_s.arg(meter->percent).arg(cap));
}

std::optional<Admission> UsageGatedAdmission::paceGuard(const AdmissionContext &context) const
{
    if (!m_paceSlackPoints)
        return std::nullopt;
    for (const auto &meter : context.usage->weeklyMeters()) {
        const auto elapsed = meter.weekElapsedFraction(context.now);
        if (!elapsed)
            continue;
        const double expected = *elapsed * 100;
        if (expected + *m_paceSlackPoints >= meter.percent)
            continue;
        // The moment at which the pace, with its slack, has caught up with the use.
        const double share = (meter.percent - *m_paceSlackPoints) / 100.0;
        const Date start = *meter.resetsAt - meter.windowLength();
        const Date until = start + seconds(share * 7 * 86400);
        const QString label = meter.kind == UsageSnapshot::Meter::Kind::weeklyAll()
                                  ? u"week"_s
                                  : u"week "_s + meter.kind.displayName;
        // The name comes from outside and may hold a place marker itself.
        const QString excess =
            u" %1% is ahead of pace (%2%)"_s.arg(meter.percent).arg(static_cast<int>(expected));
        return Admission::defer(clamped(until, context.now), label + excess);
    }
    return std::nullopt;
}

} // namespace Keelhaven
