#pragma once

#include "Platform/Moments.h"

#include <QSet>
#include <QUuid>
#include <span>

namespace Keelhaven {

/// Which waiting run goes next under the concurrency cap. Pure functions.
namespace QueuePolicy {

/// One queued run as the policy sees it.
struct Waiting
{
    QUuid runID;
    QUuid slotID;
    int priority = 0;
    Date firedAt{};
};

/// The cap, at least 1, at most 20.
[[nodiscard]] int clampCap(qint64 cap);

/// Queue order: higher priority, then earlier firing, then lower text of the run id.
[[nodiscard]] bool less(const Waiting &a, const Waiting &b);

/// The first of `queued` in queue order; nothing when it is empty or `activeCount` has reached the cap.
[[nodiscard]] std::optional<QUuid> next(std::span<const Waiting> queued, int activeCount, qint64 cap);

/// Whether a scheduled firing may queue its agent: only one run of it is live or waiting at a time.
[[nodiscard]] bool canEnqueue(const QUuid &slotID, const QSet<QUuid> &activeSlotIDs,
                              const QSet<QUuid> &queuedSlotIDs);

} // namespace QueuePolicy

} // namespace Keelhaven
