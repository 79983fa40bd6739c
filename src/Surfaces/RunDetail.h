#pragma once

#include "Scheduler/ActiveRun.h"
#include "Surfaces/HistoryList.h"

namespace Keelhaven {

/// What the pane tells about one selected run.
namespace RunDetail {

/// Which card the pane shows. What it shows was copied at the time of the selection, but for the live run,
/// which goes on.
struct Selection
{
    enum class Card { Nothing, Task, Live, Finished };

    Card card = Card::Nothing;
    std::optional<RunRecord> record; ///< the selected run, live or finished
    ActiveRunPtr active;             ///< set while it is live
    std::optional<DispatchRecord> task;
};

/// A run that has left both lists gives nothing.
[[nodiscard]] Selection select(const std::optional<QUuid> &runID, const QList<ActiveRunPtr> &active,
                               const QList<RunRecord> &history, const TaskLookup &taskOf);

inline constexpr QStringView nothingSelected = u"Pick a run below, or set one up on the right.";

/// A button with its help; disabled ones say in their help why.
struct Action
{
    QString title;
    QString help;
    bool isEnabled = true;
    bool operator==(const Action &) const = default;
};

/// The line over a run's card.
struct RunHeader
{
    QString title;    ///< the agent's name
    QString subtitle; ///< "Claude · completed", "Codex · working"
    bool isFailure = false;
    std::optional<Action> resume;
    std::optional<Action> stop;    ///< of a live run
    std::optional<Action> delete_; ///< of a finished one
    std::optional<Action> dequeue; ///< of a queued one
    Action back;
    bool operator==(const RunHeader &) const = default;
};

/// `resumeBlocked` is why the conversation cannot be picked up, where that is so (RunResume::blockedReason,
/// which looks at the disk).
[[nodiscard]] RunHeader finishedHeader(const RunRecord &record, const std::optional<QString> &resumeBlocked);
[[nodiscard]] RunHeader liveHeader(const ActiveRun &run);

/// A run that was selected before its session is there: by "Run now", say.
struct WaitingRun
{
    RunHeader header;
    QString reason; ///< a sentence
    bool operator==(const WaitingRun &) const = default;
};

/// Nothing for a run that is neither being launched nor queued.
[[nodiscard]] std::optional<WaitingRun> waitingRun(const QUuid &runID, const QList<RunRecord> &launching,
                                                   const QList<QueuedRun> &queued);

struct LabelledRow
{
    QString label;
    QString value;
    bool operator==(const LabelledRow &) const = default;
};

struct LiveRunCard
{
    std::optional<QString> blockedCallout; ///< the session waits for an answer
    QList<LabelledRow> rows;
    std::optional<QString> takenOverCallout;
    Action openInHerdr;
    bool operator==(const LiveRunCard &) const = default;
};

[[nodiscard]] LiveRunCard liveCard(const ActiveRun &run);

/// What a run reported, and why it failed.
struct Report
{
    QString message;
    bool isMarkdown =
        false; ///< the agent's own words, inline Markdown (Prose); else a plain sentence of ours
    std::optional<QString> failureDetail;
    bool operator==(const Report &) const = default;
};

[[nodiscard]] Report report(const RunRecord &record);
[[nodiscard]] std::optional<QString> failureDetail(const RunRecord::Outcome &outcome);

/// "Mon 23 Nov, 7:05 PM · 1m 1s"; the start alone while it has no end.
[[nodiscard]] QString timing(const RunRecord &record, const Calendar &calendar);
/// The same without the day: "7:05 PM · 1m 1s"
[[nodiscard]] QString timeOfDay(const RunRecord &record, const Calendar &calendar);

inline constexpr QStringView reportHeading = u"WHAT IT REPORTED";
inline constexpr QStringView deliverablesHeading = u"DELIVERABLES";
inline constexpr QStringView showRawOutput = u"Show raw terminal output";
inline constexpr QStringView hideRawOutput = u"Hide raw terminal output";

struct FinishedRunCard
{
    Report report;
    QString timing;
    bool hasRawOutput = false; ///< a terminal screen was saved
    bool operator==(const FinishedRunCard &) const = default;
};

[[nodiscard]] FinishedRunCard finishedCard(const RunRecord &record, const Calendar &calendar);

} // namespace RunDetail

} // namespace Keelhaven
