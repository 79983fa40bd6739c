#include "Surfaces/HistoryList.h"

#include "Surfaces/TimeTexts.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

QString HistoryItem::id() const
{
    return task ? u"dispatch-"_s + task->id : u"history-"_s + uuidText(newest().id);
}

QList<QUuid> HistoryItem::runIDs() const
{
    QList<QUuid> ids;
    for (const RunRecord *run : runs)
        ids.append(run->id);
    return ids;
}

HistoryRow HistoryRow::of(const HistoryItem &item, const Calendar &calendar)
{
    const RunRecord &run = item.newest();
    HistoryRow row;
    row.id = item.id();
    row.runID = run.id;
    row.title = item.task ? item.task->displayName() : run.slotName;
    row.isTask = item.task != nullptr;
    row.isFailure = run.outcome && run.outcome->isFailure();
    row.isHidden = item.isHidden();
    QStringList parts;
    if (run.outcome)
        parts.append(run.outcome->label());
    parts.append(TimeTexts::clock(run.startedAt, calendar));
    if (item.runs.size() > 1)
        parts.append(u"%1 turns"_s.arg(item.runs.size()));
    row.subtitle = parts.join(u" · "_s);
    return row;
}

bool HistoryList::update(const QList<RunRecord> &history, const TaskLookup &taskOf, quint64 taskRevision)
{
    // Our copy shares the list's storage, so whoever changes the list moves it elsewhere: the same address
    // means the same content.
    const bool isSame = !m_isFresh && history.constData() == m_history.constData() &&
                        history.size() == m_history.size() && taskRevision == m_taskRevision;
    if (isSame)
        return false;
    m_isFresh = false;
    m_history = history;
    m_taskRevision = taskRevision;
    m_items.clear();
    m_items.reserve(m_history.size());
    m_hiddenCount = 0;
    QHash<QString, qsizetype> itemOfTask;
    for (const auto &run : std::as_const(m_history)) {
        const DispatchRecord *task = taskOf ? taskOf(run.slotID) : nullptr;
        if (task) {
            const auto known = itemOfTask.constFind(task->id);
            if (known != itemOfTask.cend()) {
                m_items[*known].runs.append(&run);
                continue;
            }
            itemOfTask.insert(task->id, m_items.size());
        }
        HistoryItem item;
        if (task)
            item.task = std::make_shared<const DispatchRecord>(*task);
        item.runs.append(&run);
        m_hiddenCount += run.isHidden() ? 1 : 0;
        m_items.append(std::move(item));
    }
    return true;
}

QList<HistoryItem> HistoryList::visibleItems(bool showsHidden) const
{
    if (showsHidden || m_hiddenCount == 0)
        return m_items;
    QList<HistoryItem> visible;
    visible.reserve(m_items.size() - m_hiddenCount);
    std::ranges::copy_if(m_items, std::back_inserter(visible),
                         [](const auto &item) { return !item.isHidden(); });
    return visible;
}

int HistoryList::recentFailures() const
{
    const auto latest = m_history.constBegin() + std::min(m_history.size(), recentCount);
    return static_cast<int>(std::count_if(m_history.constBegin(), latest, [](const RunRecord &run) {
        return run.outcome && run.outcome->isFailure() && !run.isHidden();
    }));
}

} // namespace Keelhaven
