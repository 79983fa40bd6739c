#include "Ships/WorkItem.h"

#include <algorithm>

namespace Keelhaven {

bool isTerminal(WorkItemStatus status)
{
    switch (status) {
    case WorkItemStatus::Done:
    case WorkItemStatus::Failed:
    case WorkItemStatus::Cancelled:
    case WorkItemStatus::Rejected:
        return true;
    case WorkItemStatus::Proposed:
    case WorkItemStatus::Open:
    case WorkItemStatus::Scheduled:
    case WorkItemStatus::Queued:
    case WorkItemStatus::Running:
    case WorkItemStatus::Blocked:
        break;
    }
    return false;
}

WorkItem WorkItem::make(const QUuid &shipID, const QString &title, Origin origin, Date now)
{
    WorkItem item;
    item.id = newShortID();
    item.shipID = shipID;
    item.title = title;
    item.origin = origin;
    item.createdAt = now;
    item.updatedAt = now;
    return item;
}

QList<HumanQuestion> WorkItem::openQuestions() const
{
    QList<HumanQuestion> open;
    std::ranges::copy_if(humanQA, std::back_inserter(open), &HumanQuestion::isOpen);
    return open;
}

bool WorkItem::needsYou() const
{
    return std::ranges::any_of(humanQA, &HumanQuestion::isOpen);
}

} // namespace Keelhaven
