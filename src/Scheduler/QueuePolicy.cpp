#include "Scheduler/QueuePolicy.h"

#include <algorithm>
#include <cstring>
#include <tuple>

namespace Keelhaven::QueuePolicy {

namespace {

/// The order of the upper-case texts, without making them: hexadecimal digits sort like the bytes they stand
/// for. QUuid's own order is another one.
bool textLess(const QUuid &a, const QUuid &b)
{
    const auto head = [](const QUuid &id) { return std::tie(id.data1, id.data2, id.data3); };
    if (head(a) != head(b))
        return head(a) < head(b);
    return std::memcmp(a.data4, b.data4, sizeof a.data4) < 0;
}

} // namespace

int clampCap(qint64 cap)
{
    return static_cast<int>(std::clamp<qint64>(cap, 1, 20));
}

bool less(const Waiting &a, const Waiting &b)
{
    if (a.priority != b.priority)
        return a.priority > b.priority;
    if (a.firedAt != b.firedAt)
        return a.firedAt < b.firedAt;
    return textLess(a.runID, b.runID);
}

std::optional<QUuid> next(std::span<const Waiting> queued, int activeCount, qint64 cap)
{
    if (queued.empty() || activeCount >= clampCap(cap))
        return std::nullopt;
    return std::ranges::min_element(queued, less)->runID;
}

bool canEnqueue(const QUuid &slotID, const QSet<QUuid> &activeSlotIDs, const QSet<QUuid> &queuedSlotIDs)
{
    return !activeSlotIDs.contains(slotID) && !queuedSlotIDs.contains(slotID);
}

} // namespace Keelhaven::QueuePolicy
