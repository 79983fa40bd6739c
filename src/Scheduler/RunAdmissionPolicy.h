#pragma once

#include "Scheduler/Model/RunRecord.h"
#include "Scheduler/Model/SchedulerSlot.h"
#include "Scheduler/Usage/UsageSnapshot.h"

namespace Keelhaven {

/// Whether a queued run may start now.
struct Admission
{
    enum class Kind {
        Defer, ///< stay in the queue, ask again at `until`
        Skip,  ///< do not run; the run ends as launchFailed(reason)
        Run    ///< start it
    };

    Kind kind = Kind::Run;
    Date until{};   ///< Defer only
    QString reason; ///< Defer and Skip

    bool operator==(const Admission &) const = default;
    [[nodiscard]] static Admission defer(Date until, const QString &reason)
    {
        return {Kind::Defer, until, reason};
    }
    [[nodiscard]] static Admission skip(const QString &reason) { return {Kind::Skip, {}, reason}; }
    [[nodiscard]] static Admission run() { return {}; }
};

/// What an admission policy may look at besides the agent.
struct AdmissionContext
{
    std::optional<UsageSnapshot> usage; ///< nothing for a Codex run or when nothing is known
    Date now{};
    RunTrigger trigger = RunTrigger::Manual;
};

/// Decides on admissions. Pure: called on the main loop while the queue is pumped.
class RunAdmissionPolicy
{
public:
    virtual ~RunAdmissionPolicy() = default;
    [[nodiscard]] virtual Admission admit(const SchedulerSlot &slot,
                                          const AdmissionContext &context) const = 0;
};

/// Starts everything.
class AlwaysAdmit : public RunAdmissionPolicy
{
public:
    [[nodiscard]] Admission admit(const SchedulerSlot &, const AdmissionContext &) const override
    {
        return Admission::run();
    }
};

} // namespace Keelhaven
