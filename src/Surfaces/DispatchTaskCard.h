#pragma once

#include "Assets/Asset.h"
#include "Surfaces/RunDetail.h"

namespace Keelhaven {

/// One request of a dispatched task and what came of it.
struct TurnView
{
    QUuid runID;
    std::optional<QString> heading; ///< "FOLLOW-UP {n}" from the second turn on
    QString request;
    QString state; ///< "working", "completed"
    bool isLive = false;
    bool isFailure = false;
    std::optional<RunDetail::Report> answer; ///< of a finished turn
    std::optional<QString> blockedCallout;   ///< a live turn waits for an answer
    QString timing;
    bool operator==(const TurnView &) const = default;
};

/// What the pane tells about a dispatched task with all its runs.
struct DispatchTaskCard
{
    QString title;
    QStringList facts;           ///< the first line says when and where it came from
    std::optional<QString> note; ///< why there is no run to show, or what waits
    QList<TurnView> turns;       ///< oldest first
    QList<Asset> deliverables;
    bool operator==(const DispatchTaskCard &) const = default;

    /// `runs` are the task's, live ones included, oldest first (DispatchLedger::taskRuns). `isScheduled`
    /// tells that its agent waits for its time.
    [[nodiscard]] static DispatchTaskCard build(const DispatchRecord &task, const QList<RunRecord> &runs,
                                                const QList<ActiveRunPtr> &active, bool isScheduled,
                                                const Calendar &calendar);

    /// The artifacts of the task's result, with the latest run as the one they belong to.
    [[nodiscard]] static QList<Asset> assets(const DispatchRecord &task, const QList<RunRecord> &runs);
};

} // namespace Keelhaven
