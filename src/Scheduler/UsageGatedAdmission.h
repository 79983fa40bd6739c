#pragma once

#include "Platform/SettingsStore.h"
#include "Scheduler/RunAdmissionPolicy.h"

namespace Keelhaven {

/// Holds scheduled runs back while the account's session window is used past a cap, or a weekly window is
/// spent faster than the week passes. Manual and captain runs are never gated, and an unknown or old reading
/// gates nothing.
class UsageGatedAdmission : public RunAdmissionPolicy
{
public:
    /// `sessionCapDefault` in percent, nothing for no global cap; `paceSlackPoints` in percentage points,
    /// nothing switches the pace guard off.
    UsageGatedAdmission(std::optional<int> sessionCapDefault, std::optional<int> paceSlackPoints);

    /// From "schedulerSessionCapPercent", "schedulerPaceGuardEnabled" and "schedulerPaceSlack".
    [[nodiscard]] static UsageGatedAdmission fromSettings(const SettingsStore &settings);

    [[nodiscard]] Admission admit(const SchedulerSlot &slot, const AdmissionContext &context) const override;

    [[nodiscard]] std::optional<int> sessionCapDefault() const { return m_sessionCapDefault; }
    [[nodiscard]] std::optional<int> paceSlackPoints() const { return m_paceSlackPoints; }

private:
    [[nodiscard]] std::optional<Admission> sessionCap(const SchedulerSlot &slot,
                                                      const AdmissionContext &context) const;
    [[nodiscard]] std::optional<Admission> paceGuard(const AdmissionContext &context) const;

    std::optional<int> m_sessionCapDefault;
    std::optional<int> m_paceSlackPoints;
};

} // namespace Keelhaven
