#include "Dispatch/DispatchLedger.h"

#include "Scheduler/Model/RunContract.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// How the standing instructions are announced in a prompt; what follows is the agent's.
constexpr QStringView instructionsMarker =
    u" Standing instructions from the CTO (follow the ones that apply to this task): ";

QString before(const QString &text, QStringView marker)
{
    const qsizetype at = text.indexOf(marker);
    return at < 0 ? text : text.first(at);
}

} // namespace

DispatchLedger::DispatchLedger(DispatchStore store)
    : m_store(std::move(store))
{}

void DispatchLedger::load()
{
    m_records = m_store.load();
    recordsChanged();
}

std::optional<DispatchRecord> DispatchLedger::record(const QString &id) const
{
    const qsizetype index = indexOf(id);
    return index < 0 ? std::nullopt : std::optional(m_records[index]);
}

void DispatchLedger::prepend(const DispatchRecord &record)
{
    m_records.prepend(record);
    // A ledger that cannot be written goes on in memory; the next save carries all of it.
    static_cast<void>(m_store.save(m_records));
    recordsChanged();
}

bool DispatchLedger::update(const QString &id, const std::function<void(DispatchRecord &)> &edit)
{
    const qsizetype index = indexOf(id);
    if (index < 0)
        return false;
    edit(m_records[index]);
    static_cast<void>(m_store.save(m_records));
    recordsChanged();
    return true;
}

void DispatchLedger::recordsChanged()
{
    if (m_records.size() > DispatchStore::recordLimit)
        m_records.resize(DispatchStore::recordLimit);
    m_bySlot.clear();
    for (qsizetype i = 0; i < m_records.size(); ++i) {
        const auto &record = m_records[i];
        const qsizetype target = record.status == DispatchStatus::Forwarded && record.forwardedTaskID
                                     ? indexOf(*record.forwardedTaskID)
                                     : -1;
        for (const auto &slotID : {record.taskSlotID, record.dispatcherSlotID}) {
            if (slotID && !m_bySlot.contains(*slotID))
                m_bySlot.insert(*slotID, target < 0 ? i : target);
        }
    }
    ++m_revision;
    Q_EMIT changed();
}

qsizetype DispatchLedger::indexOf(const QString &id) const
{
    const auto found = std::ranges::find(m_records, id, &DispatchRecord::id);
    return found == m_records.end() ? -1 : found - m_records.begin();
}

const DispatchRecord *DispatchLedger::taskRecord(const QUuid &slotID) const
{
    const auto found = m_bySlot.constFind(slotID);
    return found == m_bySlot.cend() ? nullptr : &m_records[*found];
}

const DispatchRecord *DispatchLedger::taskRecord(const RunRecord &run) const
{
    return taskRecord(run.slotID);
}

QList<RunRecord> DispatchLedger::taskRuns(const DispatchRecord &record, const QList<RunRecord> &history,
                                          const QList<ActiveRunPtr> &active)
{
    QList<RunRecord> runs;
    if (!record.taskSlotID)
        return runs;
    for (const auto &run : history) {
        if (run.slotID == *record.taskSlotID)
            runs.append(run);
    }
    for (const auto &live : active) {
        const bool listed = std::ranges::find(runs, live->record.id, &RunRecord::id) != runs.end();
        if (live->record.slotID == *record.taskSlotID && !listed)
            runs.append(live->record);
    }
    std::ranges::stable_sort(runs, {}, &RunRecord::startedAt);
    return runs;
}

QString DispatchLedger::turnMessage(const RunRecord &run, const DispatchRecord &record, bool isFirst)
{
    QStringList asked;
    for (const auto &followUp : record.followUps) {
        if (!followUp.text.isEmpty() && run.command.contains(followUp.text))
            asked.append(followUp.text);
    }
    if (!asked.isEmpty())
        return asked.join(u"\n\nAlso: "_s);
    return isFirst ? record.messageText : stripResultContract(run.command);
}

QString DispatchLedger::stripResultContract(const QString &text)
{
    return before(before(text, RunContract::marker), instructionsMarker);
}

} // namespace Keelhaven
