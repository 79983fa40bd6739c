#include "UI/RunDetailView.h"

#include "App/AppSelection.h"
#include "Assets/AssetStore.h"
#include "Dispatch/DispatchLedger.h"
#include "Platform/Clock.h"
#include "Platform/Uuid.h"
#include "Scheduler/RunResume.h"
#include "Store/Scrollback.h"
#include "Surfaces/TimeTexts.h"
#include "UI/ReportBlocks.h"
#include "UI/ShownText.h"

#include <QClipboard>
#include <QCoroTask>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QUrl>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto updateDelay = 16ms;
constexpr auto screenInterval = 2s; ///< between two looks at a live terminal
constexpr int screenLines = 60;
constexpr qsizetype promptLimit = 2'000;

QVariant variantOf(const std::optional<RunDetail::Action> &action)
{
    if (!action)
        return {};
    return QVariantMap{{u"title"_s, action->title},
                       {u"help"_s, ShownText::line(action->help)},
                       {u"enabled"_s, action->isEnabled}};
}

QVariantMap variantOf(const RunDetail::RunHeader &header)
{
    return {{u"title"_s, ShownText::line(header.title)}, {u"subtitle"_s, ShownText::line(header.subtitle)},
            {u"isFailure"_s, header.isFailure},          {u"resume"_s, variantOf(header.resume)},
            {u"stop"_s, variantOf(header.stop)},         {u"delete"_s, variantOf(header.delete_)},
            {u"back"_s, variantOf(header.back)},         {u"dequeue"_s, variantOf(header.dequeue)}};
}

QVariantMap fact(const QString &label, const QString &value, bool isCode = false)
{
    return {{u"label"_s, label}, {u"value"_s, value}, {u"isCode"_s, isCode}};
}

QVariantMap variantOf(const RunDetail::Report &report)
{
    const auto blocks =
        report.isMarkdown ? ReportBlocks::toVariants(ReportBlocks::read(report.message)) : QVariantList();
    return {{u"blocks"_s, blocks},
            {u"sentence"_s, report.isMarkdown ? QString() : report.message},
            {u"failure"_s, ShownText::paragraph(report.failureDetail.value_or(QString()))}};
}

QString sizeText(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat);
}

} // namespace

RunDetailView::RunDetailView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    m_updateTimer.setSingleShot(true);
    m_updateTimer.setInterval(updateDelay);
    m_screenTimer.setInterval(screenInterval);
    connect(&m_screenTimer, &QTimer::timeout, this, &RunDetailView::lookAtScreen);
    const auto soon = [this] {
        if (!m_updateTimer.isActive())
            m_updateTimer.start();
    };
    connect(&m_updateTimer, &QTimer::timeout, this, &RunDetailView::update);
    connect(&m_model.scheduler(), &SchedulerEngine::changed, this, soon);
    connect(&m_model.dispatch(), &DispatchLedger::changed, this, soon);
    connect(&m_model.assets(), &AssetStore::changed, this, soon);
    connect(&m_model, &AppModel::happened, this, &RunDetailView::hear);
    connect(&m_model.selection(), &AppSelection::selectedRunIDChanged, this, &RunDetailView::update);
    update();
}

QString RunDetailView::runID() const
{
    return m_runID ? uuidText(*m_runID) : QString();
}

QString RunDetailView::card() const
{
    switch (m_selection.card) {
    case RunDetail::Selection::Card::Nothing:
        return m_waiting ? u"waiting"_s : u"nothing"_s;
    case RunDetail::Selection::Card::Task:
        return u"task"_s;
    case RunDetail::Selection::Card::Live:
        return u"live"_s;
    case RunDetail::Selection::Card::Finished:
        return u"finished"_s;
    }
    return {};
}

void RunDetailView::update()
{
    const auto &engine = m_model.scheduler();
    const auto selected = m_model.selection().selectedRunID();
    if (selected != m_runID) {
        m_runID = selected;
        setShowsRawOutput(false);
        m_liveScreen.close();
    }
    const auto taskOf = [this](const QUuid &slotID) { return m_model.dispatch().taskRecord(slotID); };
    m_selection = RunDetail::select(m_runID, engine.active(), engine.history(), taskOf);
    m_waiting.reset();
    if (m_selection.card == RunDetail::Selection::Card::Nothing && m_runID)
        m_waiting = RunDetail::waitingRun(*m_runID, engine.launching(), engine.queued());
    if (m_waiting)
        show(partsOf(*m_waiting));
    else if (m_selection.task)
        show(partsOf(*m_selection.task));
    else if (m_selection.active)
        show(partsOf(*m_selection.active));
    else if (m_selection.record)
        show(partsOf(*m_selection.record));
    else
        show({});
    Q_EMIT changed();
    if (m_screenTimer.isActive() && m_liveScreen.rowCount() == 0)
        lookAtScreen();
}

void RunDetailView::setWatched(bool watched)
{
    if (watched == m_screenTimer.isActive())
        return;
    if (!watched) {
        m_screenTimer.stop();
        return;
    }
    m_screenTimer.start();
    lookAtScreen();
}

void RunDetailView::lookAtScreen()
{
    if (!m_selection.active || m_isLooking)
        return;
    m_isLooking = true;
    QCoro::connect(m_model.launcher().transcript(m_selection.active->launched, screenLines), this,
                   [this, id = m_runID](const std::optional<QString> &screen) {
                       m_isLooking = false;
                       if (screen && id == m_runID && m_selection.active)
                           m_liveScreen.setText(*screen);
                   });
}

void RunDetailView::show(const Parts &parts)
{
    const auto take = [this](auto &shown, const auto &wanted, void (RunDetailView::*told)()) {
        if (shown == wanted)
            return;
        shown = wanted;
        Q_EMIT(this->*told)();
    };
    take(m_parts.live, parts.live, &RunDetailView::liveChanged);
    take(m_parts.finished, parts.finished, &RunDetailView::finishedChanged);
    take(m_parts.task, parts.task, &RunDetailView::taskChanged);
    take(m_parts.header, parts.header, &RunDetailView::headerChanged);
    take(m_parts.facts, parts.facts, &RunDetailView::factsChanged);
    take(m_parts.deliverables, parts.deliverables, &RunDetailView::deliverablesChanged);
}

RunDetailView::Parts RunDetailView::partsOf(const RunDetail::WaitingRun &run)
{
    Parts parts;
    parts.header = variantOf(run.header);
    return parts;
}

RunDetailView::Parts RunDetailView::partsOf(const ActiveRun &run) const
{
    const auto card = RunDetail::liveCard(run);
    QVariantList rows;
    for (const auto &row : card.rows) {
        const bool isPath = row.label == u"Folder" && row.value.startsWith(u'/');
        rows.append(fact(row.label, isPath ? ShownText::path(row.value, m_model.paths().home)
                                           : ShownText::paragraph(row.value, promptLimit)));
    }
    Parts parts;
    parts.header = variantOf(RunDetail::liveHeader(run));
    parts.live = {{u"rows"_s, rows},
                  {u"blocked"_s, card.blockedCallout.value_or(QString())},
                  {u"takenOver"_s, card.takenOverCallout.value_or(QString())},
                  {u"open"_s, variantOf(std::optional(card.openInHerdr))}};
    parts.deliverables = variantsOf(m_model.assets().assetsForRun(run.record.id));
    return parts;
}

RunDetailView::Parts RunDetailView::partsOf(const RunRecord &record) const
{
    const auto card = RunDetail::finishedCard(record, Calendar::current());
    Parts parts;
    parts.header = variantOf(RunDetail::finishedHeader(record, RunResume::blockedReason(record)));
    parts.finished = {{u"report"_s, variantOf(card.report)},
                      {u"timing"_s, card.timing},
                      {u"hasRawOutput"_s, card.hasRawOutput}};
    parts.facts = factsOf(record);
    parts.deliverables = variantsOf(m_model.assets().assetsForRun(record.id));
    return parts;
}

QVariantList RunDetailView::factsOf(const RunRecord &record) const
{
    const QString home = m_model.paths().home;
    QVariantList facts{fact(u"Folder"_s, ShownText::path(record.folder(), home))};
    if (record.projectDir && *record.projectDir != record.cwd)
        facts.append(fact(u"Workspace"_s, ShownText::path(record.cwd, home)));
    facts.append(fact(u"Command"_s, ShownText::paragraph(record.command, promptLimit)));
    if (record.model)
        facts.append(fact(u"Model"_s, ShownText::line(*record.model)));
    if (record.usage)
        facts.append(fact(u"Tokens"_s, QLocale(QLocale::English).toString(record.usage->workTokens())));
    if (record.sessionID)
        facts.append(fact(u"Session"_s, ShownText::line(*record.sessionID), true));
    return facts;
}

RunDetailView::Parts RunDetailView::partsOf(const DispatchRecord &task) const
{
    const auto &engine = m_model.scheduler();
    const auto runs = DispatchLedger::taskRuns(task, engine.history(), engine.active());
    const auto calendar = Calendar::current();
    const auto slot = m_model.scheduler().slot(task.taskSlotID.value_or(QUuid()));
    const bool isScheduled = slot && slot->enabled && slot->nextFireDate(m_model.clock().now(), calendar);
    const auto card =
        DispatchTaskCard::build(task, runs, m_model.scheduler().active(), isScheduled, calendar);
    QVariantList turns;
    for (const TurnView &turn : card.turns) {
        turns.append(QVariantMap{{u"heading"_s, turn.heading.value_or(QString())},
                                 {u"request"_s, ShownText::paragraph(turn.request, promptLimit)},
                                 {u"state"_s, turn.state},
                                 {u"isLive"_s, turn.isLive},
                                 {u"isFailure"_s, turn.isFailure},
                                 {u"answer"_s, turn.answer ? variantOf(*turn.answer) : QVariantMap()},
                                 {u"blocked"_s, turn.blockedCallout.value_or(QString())},
                                 {u"timing"_s, turn.timing}});
    }
    Parts parts;
    parts.task = {{u"title"_s, ShownText::line(card.title)},
                  {u"facts"_s, card.facts},
                  {u"note"_s, ShownText::paragraph(card.note.value_or(QString()))},
                  {u"turns"_s, turns}};
    if (m_selection.active) {
        const Parts live = partsOf(*m_selection.active);
        parts.header = live.header;
        parts.live = live.live;
    } else if (const auto &record = m_selection.record) {
        parts.header = variantOf(RunDetail::finishedHeader(*record, RunResume::blockedReason(*record)));
    }
    parts.deliverables = variantsOf(card.deliverables);
    return parts;
}

QVariantList RunDetailView::variantsOf(const QList<Asset> &assets) const
{
    QVariantList list;
    for (const Asset &asset : assets) {
        const auto &thumbnail = asset.thumbnailPath;
        list.append(QVariantMap{{u"name"_s, ShownText::line(asset.fileName())},
                                {u"caption"_s, ShownText::line(asset.caption.value_or(QString()))},
                                {u"kind"_s, enumText(asset.kind)},
                                {u"size"_s, asset.bytes ? sizeText(*asset.bytes) : QString()},
                                {u"path"_s, asset.displayPath()},
                                {u"thumbnail"_s, thumbnail ? QUrl::fromLocalFile(*thumbnail) : QUrl()}});
    }
    return list;
}

void RunDetailView::hear(const EngineEvent &event)
{
    if (event.kind == EngineEvent::Kind::Finished)
        m_progress.remove(event.record.id);
    else if (event.kind == EngineEvent::Kind::Progress)
        m_progress.insert(event.record.id, ShownText::line(event.text));
    if (m_runID == event.record.id)
        Q_EMIT changed();
}

void RunDetailView::setShowsRawOutput(bool shows)
{
    if (std::exchange(m_showsRawOutput, shows) == shows)
        return;
    if (shows && m_runID)
        // Beside the run's folder, which lies elsewhere while the database cannot be used.
        m_rawOutput.open(Scrollback::file(QFileInfo(m_model.scheduler().runDir(*m_runID)).path(), *m_runID));
    else
        m_rawOutput.close();
    Q_EMIT rawOutputChanged();
}

QString RunDetailView::elapsed() const
{
    const auto &run = m_selection.active;
    return run ? TimeTexts::elapsed(m_model.clock().now() - run->record.startedAt) : QString();
}

void RunDetailView::resume()
{
    if (m_runID)
        m_model.resumeRun(*m_runID);
}

void RunDetailView::stop()
{
    if (m_runID)
        m_model.scheduler().stop(*m_runID);
}

void RunDetailView::dequeue()
{
    if (!m_runID)
        return;
    const QUuid id = *m_runID;
    back();
    m_model.scheduler().dequeue(id);
}

void RunDetailView::remove()
{
    if (!m_runID)
        return;
    const QUuid id = *m_runID;
    back();
    m_model.scheduler().remove(id);
}

void RunDetailView::takeOver()
{
    if (m_runID)
        m_model.scheduler().takeOver(*m_runID);
}

void RunDetailView::openInHerdr()
{
    m_model.scheduler().openHerdr(m_runID);
}

void RunDetailView::back()
{
    m_model.selection().setSelectedRunID(std::nullopt);
}

void RunDetailView::openFile(const QString &path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

void RunDetailView::copyText(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

} // namespace Keelhaven
