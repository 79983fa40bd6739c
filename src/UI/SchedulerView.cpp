#include "UI/SchedulerView.h"

#include "App/AppSelection.h"
#include "Dispatch/DispatchLedger.h"
#include "Platform/Clock.h"
#include "Platform/Uuid.h"
#include "Surfaces/TimeTexts.h"
#include "UI/ShownText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto updateDelay = 16ms;  ///< changes within a frame show together
constexpr auto timesInterval = 15s; ///< how late "in 5 min" may become "in 4 min"
constexpr qsizetype messageLimit = 240;

using Tab = SchedulerListPane::Tab;

/// How an outcome looks in a list.
struct Look
{
    QString icon;
    QString tone;
};

Look lookOf(const std::optional<RunOutcome> &outcome)
{
    if (!outcome)
        return {u"working"_s, u"accent"_s};
    if (outcome->isFailure())
        return {outcome->kind == RunOutcome::Kind::Timeout ? u"hourglass"_s : u"cross-circle"_s, u"bad"_s};
    switch (outcome->kind) {
    case RunOutcome::Kind::SkippedMissedWindow:
    case RunOutcome::Kind::SkippedNoChanges:
        return {u"skip"_s, u"faint"_s};
    case RunOutcome::Kind::Cancelled:
        return {u"stop"_s, u"faint"_s};
    default:
        return {u"check-circle"_s, u"good"_s};
    }
}

QVariantMap variantOf(const Confirmation &question)
{
    return {{u"title"_s, ShownText::line(question.title)},
            {u"text"_s, ShownText::paragraph(question.message)},
            {u"button"_s, ShownText::line(question.button, 80)}};
}

QString dayHeading(Date moment, Date now, const Calendar &calendar)
{
    const auto days = (calendar.wallTime(now).day - calendar.wallTime(moment).day).count();
    if (days == 0)
        return u"Today"_s;
    if (days == 1)
        return u"Yesterday"_s;
    if (days < 7)
        return TimeTexts::weekdayDay(moment, calendar);
    const QString date = TimeTexts::monthDay(moment, calendar);
    const auto year = calendar.wallTime(moment).date().year();
    return year == calendar.wallTime(now).date().year() ? date : u"%1, %2"_s.arg(date).arg(int(year));
}

} // namespace

SchedulerView::SchedulerView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_pane(model.scheduler())
{
    m_queue.now = [this] { return m_model.clock().now(); };
    m_updateTimer.setSingleShot(true);
    m_updateTimer.setInterval(updateDelay);
    connect(&m_updateTimer, &QTimer::timeout, this, &SchedulerView::update);
    m_timesTimer.setInterval(timesInterval);
    connect(&m_timesTimer, &QTimer::timeout, this, &SchedulerView::updateTimes);
    connect(&m_model.scheduler(), &SchedulerEngine::changed, this, &SchedulerView::updateSoon);
    connect(&m_model.dispatch(), &DispatchLedger::changed, this, &SchedulerView::updateSoon);
    connect(&m_model.selection(), &AppSelection::selectedRunIDChanged, this,
            &SchedulerView::selectionChanged);
    connect(&m_model.selection(), &AppSelection::slotEditorChanged, this, &SchedulerView::selectionChanged);
    connect(this, &SchedulerView::filterChanged, this, &SchedulerView::updateHistory);
    update();
}

void SchedulerView::updateSoon()
{
    if (!m_updateTimer.isActive())
        m_updateTimer.start();
}

void SchedulerView::update()
{
    const auto &engine = m_model.scheduler();
    m_queue.show(queueRows(engine.active(), engine.launching(), engine.queued()));
    updateTimes();
    const auto &ledger = m_model.dispatch();
    const auto taskOf = [&ledger](const QUuid &slotID) { return ledger.taskRecord(slotID); };
    if (m_historyList.update(engine.history(), taskOf, ledger.revision()))
        updateHistory();
    updateTabs();
    Q_EMIT changed();
}

void SchedulerView::updateTimes()
{
    const Date now = m_model.clock().now();
    const auto calendar = Calendar::current();
    const auto slotList = managedSlots(m_model.scheduler().slotList());
    QSet<QUuid> live;
    for (const auto &run : m_model.scheduler().active())
        live.insert(run->slot.id);
    QList<SlotEntry> rows;
    for (const SchedulerSlot &slot : slotList)
        rows.append({SlotRow::of(slot, now, calendar), live.contains(slot.id)});
    m_agents.show(rows);
    const auto agenda = Agenda::build(slotList, now, calendar);
    m_agenda.show(agenda.days);
    if (m_today != TimeTexts::monthDay(now, calendar))
        updateHistory();
    if (m_agendaCaption == agenda.caption && m_agendaIsEmpty == agenda.isEmpty)
        return;
    m_agendaCaption = agenda.caption;
    m_agendaIsEmpty = agenda.isEmpty;
    Q_EMIT changed();
}

void SchedulerView::updateHistory()
{
    const Date now = m_model.clock().now();
    const auto calendar = Calendar::current();
    m_today = TimeTexts::monthDay(now, calendar);
    QList<HistoryEntry> entries;
    for (const HistoryItem &item : m_historyList.visibleItems(m_showsHidden)) {
        const auto row = HistoryRow::of(item, calendar);
        if (isShown(item, row))
            entries.append(entryOf(item, row, now, calendar));
    }
    m_history.show(entries);
}

bool SchedulerView::isShown(const HistoryItem &item, const HistoryRow &row) const
{
    if (m_showsFailedOnly && !row.isFailure)
        return false;
    return m_searchText.isEmpty() || row.title.contains(m_searchText, Qt::CaseInsensitive) ||
           item.newest().completionMessage.value_or(QString()).contains(m_searchText, Qt::CaseInsensitive) ||
           item.newest().folder().contains(m_searchText, Qt::CaseInsensitive);
}

HistoryEntry SchedulerView::entryOf(const HistoryItem &item, const HistoryRow &row, Date now,
                                    const Calendar &calendar) const
{
    const RunRecord &newest = item.newest();
    const auto look = lookOf(newest.outcome);
    const QString message = newest.summary.value_or(newest.completionMessage.value_or(QString()));
    return {row,       item.runIDs(), dayHeading(newest.startedAt, now, calendar), message.left(messageLimit),
            look.icon, look.tone};
}

void SchedulerView::updateTabs()
{
    QVariantList list;
    for (const Tab tab : {Tab::Agents, Tab::Scheduled, Tab::Queue, Tab::History}) {
        QString badge = SchedulerListPane::badge(tab, m_historyList).value_or(QString());
        QString tone = badge.isEmpty() ? QString() : u"bad"_s;
        if (const int count = liveCount() + waitingCount(); tab == Tab::Queue && count > 0) {
            badge = QString::number(count);
            tone = u"accent"_s;
        }
        list.append(
            QVariantMap{{u"text"_s, SchedulerListPane::label(tab)}, {u"badge"_s, badge}, {u"tone"_s, tone}});
    }
    if (list == m_tabs)
        return;
    m_tabs = list;
    Q_EMIT tabsChanged();
}

int SchedulerView::liveCount() const
{
    const auto &engine = m_model.scheduler();
    return static_cast<int>(engine.active().size() + engine.launching().size());
}

int SchedulerView::waitingCount() const
{
    return static_cast<int>(m_model.scheduler().queued().size());
}

void SchedulerView::setShowsHidden(bool shows)
{
    if (std::exchange(m_showsHidden, shows) != shows)
        Q_EMIT filterChanged();
}

void SchedulerView::setShowsFailedOnly(bool only)
{
    if (std::exchange(m_showsFailedOnly, only) != only)
        Q_EMIT filterChanged();
}

void SchedulerView::setSearchText(const QString &text)
{
    if (std::exchange(m_searchText, text) != text)
        Q_EMIT filterChanged();
}

QString SchedulerView::selectedSlotID() const
{
    const auto &selection = m_model.selection();
    if (selection.selectedRunID() || selection.slotEditor().kind != SlotEditorTarget::Kind::Slot)
        return {};
    return uuidText(selection.slotEditor().id);
}

QString SchedulerView::selectedRunID() const
{
    const auto &id = m_model.selection().selectedRunID();
    return id ? uuidText(*id) : QString();
}

QString SchedulerView::emptyText(int tab) const
{
    return SchedulerListPane::emptyText(static_cast<Tab>(tab));
}

void SchedulerView::setWatched(bool watched)
{
    if (watched == m_timesTimer.isActive())
        return;
    if (!watched) {
        m_timesTimer.stop();
        return;
    }
    updateTimes();
    m_timesTimer.start();
}

void SchedulerView::selectRun(const QString &runID)
{
    m_model.selection().setSelectedRunID(uuidFromText(runID));
}

void SchedulerView::selectSlot(const QString &slotID)
{
    const auto id = uuidFromText(slotID);
    m_model.selection().setSelectedRunID(std::nullopt);
    m_model.selection().setSlotEditor(id ? SlotEditorTarget::ofSlot(*id) : SlotEditorTarget::blank());
}

void SchedulerView::newAgent()
{
    m_model.selection().setSelectedRunID(std::nullopt);
    m_model.selection().setSlotEditor(SlotEditorTarget::blank());
    Q_EMIT newAgentWanted();
}

void SchedulerView::showUsageGating()
{
    const auto *spec = SettingsCatalog::find(Setting::schedulerSessionCapPercent.name);
    m_model.selection().showSettingsPage(spec->page.value_or(SettingsPage::General));
}

void SchedulerView::toggle(const QString &slotID)
{
    if (const auto id = uuidFromText(slotID))
        m_pane.toggle(*id);
}

void SchedulerView::duplicate(const QString &slotID)
{
    const auto id = uuidFromText(slotID);
    const auto copy = id ? m_pane.duplicate(*id) : std::nullopt;
    if (copy)
        selectSlot(uuidText(*copy));
}

void SchedulerView::deleteSlot(const QString &slotID)
{
    const auto id = uuidFromText(slotID);
    if (!id)
        return;
    if (m_model.selection().slotEditor() == SlotEditorTarget::ofSlot(*id))
        m_model.selection().setSlotEditor(SlotEditorTarget::blank());
    m_pane.delete_(*id);
}

void SchedulerView::runNow(const QString &slotID)
{
    const auto id = uuidFromText(slotID);
    const auto runs = id ? m_pane.runNow(*id) : QList<QUuid>();
    if (!runs.isEmpty())
        m_model.selection().setSelectedRunID(runs.first());
}

void SchedulerView::stop(const QString &runID)
{
    if (const auto id = uuidFromText(runID))
        m_model.scheduler().stop(*id);
}

void SchedulerView::dequeue(const QString &runID)
{
    if (const auto id = uuidFromText(runID))
        m_model.scheduler().dequeue(*id);
}

QList<QUuid> SchedulerView::runIDsOf(const QString &itemID) const
{
    const auto *entry = m_history.at(m_history.indexOf(itemID));
    return entry ? entry->runIDs : QList<QUuid>();
}

void SchedulerView::setHidden(const QString &itemID, bool hidden)
{
    m_pane.setHidden(runIDsOf(itemID), hidden);
}

void SchedulerView::remove(const QString &itemID)
{
    m_pane.remove(runIDsOf(itemID));
}

void SchedulerView::clearHistory()
{
    m_model.scheduler().clearHistory();
}

QVariantMap SchedulerView::deleteQuestion(const QString &slotID) const
{
    const auto *entry = m_agents.at(m_agents.indexOf(uuidFromText(slotID).value_or(QUuid())));
    return variantOf(
        SchedulerListPane::deleteQuestion(entry ? ShownText::line(entry->row.name, 80) : QString()));
}

QVariantMap SchedulerView::clearHistoryQuestion() const
{
    return variantOf(SchedulerListPane::clearHistoryQuestion(m_historyList.runCount()));
}

} // namespace Keelhaven
