#include "UI/SweepView.h"

#include "App/AppModel.h"
#include "App/AppSelection.h"
#include "Platform/Uuid.h"
#include "Scheduler/SweepRunner.h"
#include "UI/EngineObjects.h"
#include "UI/ReportBlocks.h"
#include "UI/ShownText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QVariantList lineMaps(const QList<MorningReportCard::Line> &lines)
{
    QVariantList list;
    for (const auto &line : lines)
        list.append(QVariantMap{{u"runID"_s, uuidText(line.runID)},
                                {u"when"_s, line.when},
                                {u"summary"_s, ShownText::line(ShownText::plain(line.summary))}});
    return list;
}

} // namespace

SweepView::SweepView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    m_updateTimer.setSingleShot(true);
    connect(&m_updateTimer, &QTimer::timeout, this, &SweepView::update);
    m_seconds.setInterval(1s);
    connect(&m_seconds, &QTimer::timeout, this, &SweepView::update);
    const auto updateSoon = [this] { m_updateTimer.start(0); };
    connect(&model.scheduler(), &SchedulerEngine::changed, this, updateSoon);
    connect(&model.sweep(), &SweepRunner::sweepResumeRequestedAtChanged, this, updateSoon);
    connect(&model, &AppModel::settingWritten, this, updateSoon);
    update();
}

SweepView *SweepView::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<SweepView>(engine);
}

void SweepView::update()
{
    m_updateTimer.stop();
    auto &sweep = m_model.sweep();
    const MorningReportCard::Present present{.live = sweep.liveSweep(),
                                             .isQueued = sweep.queuedSweep() || sweep.launchingSweep(),
                                             .isResuming = sweep.sweepResumePending(),
                                             .blocked = sweep.sweepBlockedReason()};
    const auto card = MorningReportCard::from(MorningReport::from(m_model.scheduler().history()), present,
                                              m_model.clock().now(), Calendar::current());
    // Seconds count only where somebody sees them, and only while something is going on.
    if (m_isWatched && !card.state.isEmpty())
        m_seconds.start();
    else
        m_seconds.stop();
    if (card == m_card)
        return;
    if (card.message != m_card.message)
        m_blocks = ReportBlocks::toVariants(ReportBlocks::read(card.message));
    m_card = card;
    Q_EMIT changed();
}

QString SweepView::notice() const
{
    return ShownText::paragraph(m_card.notice);
}

QString SweepView::state() const
{
    return ShownText::line(m_card.state);
}

QString SweepView::runBlocked() const
{
    return ShownText::line(m_card.runBlocked);
}

QString SweepView::resumeBlocked() const
{
    return ShownText::line(m_card.resumeBlocked);
}

QString SweepView::runID() const
{
    return m_card.runID ? uuidText(*m_card.runID) : QString();
}

QString SweepView::liveRunID() const
{
    return m_card.liveRunID ? uuidText(*m_card.liveRunID) : QString();
}

QVariantList SweepView::followUps() const
{
    return lineMaps(m_card.followUps);
}

QVariantList SweepView::earlier() const
{
    return lineMaps(m_card.earlier);
}

void SweepView::run()
{
    m_model.sweep().runKeelhavenSweep(true);
}

void SweepView::resume()
{
    static_cast<void>(m_model.sweep().resumeLatestSweep());
    update();
}

void SweepView::show(const QString &runID)
{
    m_model.selection().showScheduler(QUuid(runID));
}

void SweepView::setWatched(bool watched)
{
    m_isWatched = watched;
    update();
}

} // namespace Keelhaven
