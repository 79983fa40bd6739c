#pragma once

#include "Scheduler/Model/RunRecord.h"
#include "Scheduler/Model/SchedulerSlot.h"

/// Finds the sweeps and their follow-ups among the runs: a sweep is no state of its own, but a run with a
/// marked command, and a follow-up one with a marked name.
namespace Keelhaven::SweepOverview {

inline constexpr QStringView command = u"/keelhaven:keelhaven";
inline constexpr QStringView sweepName = u"Morning report";
inline constexpr QStringView followUpName = u"Morning report · follow-up";
/// What follow-ups were called by earlier versions.
inline constexpr QStringView olderFollowUpName = u"Keelhaven sweep — follow-up";

[[nodiscard]] bool isSweep(const RunRecord &record);
[[nodiscard]] bool isFollowUp(const RunRecord &record);
/// Whether the run closed with a message that is more than blanks.
[[nodiscard]] bool hasMessage(const RunRecord &record);
/// Whether the run never started, for want of a reason or of time.
[[nodiscard]] bool isSkipped(const RunRecord &record);

/// The ended sweeps that are not hidden, newest first.
[[nodiscard]] QList<RunRecord> sweeps(const QList<RunRecord> &records);
/// The newest sweep that was not skipped.
[[nodiscard]] std::optional<RunRecord> latest(const QList<RunRecord> &records);
/// The sweeps before `sweep` that have a message, newest first.
[[nodiscard]] QList<RunRecord> earlier(const RunRecord &sweep, const QList<RunRecord> &records);
/// The ended sessions that went on with the conversation of `sweep`, newest first.
[[nodiscard]] QList<RunRecord> followUps(const RunRecord &sweep, const QList<RunRecord> &records);

/// Why the conversation of `sweep` cannot be picked up, as a sentence for the user; nothing when it can.
[[nodiscard]] std::optional<QString> resumeBlockedReason(const RunRecord &sweep);

/// The agent for one sweep in `directory`. It is never saved.
[[nodiscard]] SchedulerSlot sweepSlot(const QString &directory);
/// The agent for one session that opens the conversation of `sweep` for a person. It is never saved.
[[nodiscard]] SchedulerSlot resumeSlot(const RunRecord &sweep, Date now);

} // namespace Keelhaven::SweepOverview

namespace Keelhaven {

/// What the board tells of the sweeps that have ended.
struct MorningReport
{
    std::optional<RunRecord> latest;
    QList<RunRecord> earlier;
    QList<RunRecord> followUps;                 ///< of the latest
    std::optional<QString> resumeBlockedReason; ///< of the latest

    [[nodiscard]] static MorningReport from(const QList<RunRecord> &history);
};

} // namespace Keelhaven
