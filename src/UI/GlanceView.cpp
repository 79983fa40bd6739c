#include "UI/GlanceView.h"

#include "App/AppModel.h"
#include "App/AppSelection.h"
#include "Contract/SettingsCatalog.h"
#include "Mirror/MirrorClient.h"
#include "Mirror/MirrorMonitor.h"
#include "Platform/Uuid.h"
#include "Scheduler/PowerAssertionController.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "Setup/UpdateChecker.h"
#include "Ships/WorkItemStore.h"
#include "UI/EngineObjects.h"
#include "UI/ShownText.h"

#include <QCoreApplication>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

GlanceView::GlanceView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    m_changeTimer.setSingleShot(true);
    connect(&m_changeTimer, &QTimer::timeout, this, [this] {
        updateTimer();
        Q_EMIT changed();
    });
    m_seconds.setInterval(1s);
    connect(&m_seconds, &QTimer::timeout, this, &GlanceView::changed);
    const auto updateSoon = [this] { m_changeTimer.start(0); };
    connect(&model.scheduler(), &SchedulerEngine::changed, this, updateSoon);
    connect(&model, &AppModel::snapshotApplied, this, updateSoon);
    connect(&model.updates(), &UpdateChecker::changed, this, updateSoon);
    connect(&model.usage(), &UsageMonitor::snapshotChanged, this, updateSoon);
    connect(&model.mirrorMonitor(), &MirrorMonitor::changed, this, updateSoon);
    connect(&model.power(), &PowerAssertionController::changed, this, &GlanceView::powerChanged);
}

GlanceView *GlanceView::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<GlanceView>(engine);
}

void GlanceView::setHasTray(bool has)
{
    if (std::exchange(m_hasTray, has) != has)
        Q_EMIT trayChanged();
}

MenuBarPanel::Mirror GlanceView::mirror() const
{
    const MirrorState &state = m_model.mirrorMonitor().state();
    switch (state.kind) {
    case MirrorState::Kind::Live:
        return state.bridge ? MenuBarPanel::Mirror::LiveBridge : MenuBarPanel::Mirror::Live;
    case MirrorState::Kind::Foreign:
        return MenuBarPanel::Mirror::Foreign;
    case MirrorState::Kind::Down:
        break;
    }
    return MenuBarPanel::Mirror::Down;
}

bool GlanceView::bridgeRunning() const
{
    const auto &isRunning = m_model.mirrorMonitor().isBridgeRunning;
    return isRunning && isRunning();
}

QString GlanceView::status() const
{
    return MenuBarPanel::statusLabel(mirror(), bridgeRunning());
}

QString GlanceView::projects() const
{
    if (!countProjects)
        return {};
    const ProjectCounts counts = countProjects();
    return MenuBarPanel::aggregateLine(counts.projects, counts.activeToday, counts.flags);
}

QString GlanceView::updateLine() const
{
    const auto &release = m_model.updates().available();
    return release ? ShownText::line(MenuBarPanel::updateLine(release->version)) : QString();
}

QVariantList GlanceView::fleet() const
{
    const auto all = ships();
    QHash<QUuid, int> needsYou;
    for (const auto &ship : all) {
        if (const auto count = m_model.workItems().openQuestions(ship.id).size())
            needsYou.insert(ship.id, static_cast<int>(count));
    }
    const auto running = MenuBarPanel::runningByShip(m_model.scheduler().active());
    QVariantList list;
    const auto lines = FleetSummary::lines(all, running, needsYou);
    for (const auto &line : lines)
        list.append(QVariantMap{{u"shipID"_s, uuidText(line.shipID)},
                                {u"text"_s, ShownText::line(line.text)},
                                {u"needsYou"_s, line.tone == FleetSummary::Tone::NeedsYou}});
    return list;
}

QVariantList GlanceView::runs() const
{
    QVariantList list;
    const auto lines = MenuBarPanel::runLines(m_model.scheduler().active(), m_model.clock().now());
    for (const auto &line : lines)
        list.append(QVariantMap{{u"runID"_s, uuidText(line.runID)}, {u"text"_s, ShownText::line(line.text)}});
    return list;
}

QString GlanceView::nextFire() const
{
    return ShownText::line(MenuBarPanel::nextFireText(m_model.scheduler().nextFire(), Calendar::current()));
}

QVariantList GlanceView::meters() const
{
    QVariantList list;
    const auto lines = MenuBarPanel::meterLines(m_model.usage().estimated(), m_model.clock().now());
    for (const auto &meter : lines)
        list.append(QVariantMap{{u"label"_s, ShownText::line(meter.label)},
                                {u"percent"_s, meter.percent},
                                {u"extra"_s, meter.estimatedExtra},
                                {u"text"_s, u"%1%"_s.arg(meter.percent)},
                                {u"caption"_s, QString()},
                                {u"help"_s, QString()},
                                {u"ahead"_s, meter.isAheadOfPace}});
    return list;
}

QString GlanceView::toolTip() const
{
    QStringList lines;
    for (const auto &run : runs())
        lines.append(run.toMap().value(u"text"_s).toString());
    return lines.isEmpty() ? nextFire() : lines.join(u'\n');
}

QString GlanceView::serviceButton() const
{
    const bool canStart = static_cast<bool>(startService);
    return m_model.mirrorMonitor().state().isLive() || canStart ? MenuBarPanel::serviceButton(mirror())
                                                                : QString();
}

bool GlanceView::keepsAwake() const
{
    return m_model.power().keepAwake();
}

void GlanceView::setKeepAwake(bool on)
{
    setFlag(Setting::keepMacAwake.name.toString(), on);
}

QString GlanceView::keepAwakeLabel() const
{
    return MenuBarPanel::keepAwakeRow(false, false).label;
}

QString GlanceView::keepAwakeHelp() const
{
    return MenuBarPanel::keepAwakeRow(false, false).help;
}

QString GlanceView::keepAwakeNote() const
{
    return MenuBarPanel::keepAwakeRow(keepsAwake(), m_model.power().isHeld()).note.value_or(QString());
}

bool GlanceView::preventsLock() const
{
    return m_model.power().preventLockScreen();
}

void GlanceView::setPreventLock(bool on)
{
    setFlag(Setting::preventMacLockScreen.name.toString(), on);
}

QString GlanceView::preventLockLabel() const
{
    return MenuBarPanel::preventLockRow().label;
}

QString GlanceView::preventLockHelp() const
{
    return MenuBarPanel::preventLockRow().help;
}

void GlanceView::setFlag(const QString &key, bool on)
{
    // By the settings, so that every place that shows the switch hears of it.
    if (!m_model.settings().set(key, on))
        m_model.setLastMutationError(u"%1 cannot be written."_s.arg(m_model.paths().settingsFile()));
    m_model.settingChanged(key);
    Q_EMIT powerChanged();
}

void GlanceView::setWatched(bool watched)
{
    m_watchers = std::max(0, m_watchers + (watched ? 1 : -1));
    updateTimer();
    if (watched)
        Q_EMIT changed();
}

void GlanceView::updateTimer()
{
    if (m_watchers == 0 || m_model.scheduler().active().isEmpty())
        m_seconds.stop();
    else if (!m_seconds.isActive())
        m_seconds.start();
}

void GlanceView::open(const QString &panel)
{
    if (const auto named = enumFromText<AppPanel>(panel))
        m_model.selection().setPanel(*named);
    m_model.selection().raiseMainWindow();
}

void GlanceView::showRun(const QString &runID)
{
    m_model.selection().showScheduler(QUuid(runID));
}

void GlanceView::showShip(const QString &shipID)
{
    m_model.selection().showBoard(QUuid(shipID), std::nullopt);
}

void GlanceView::download()
{
    if (!m_model.updates().openDownload())
        m_model.setLastMutationError(u"There is no page to download from."_s);
}

void GlanceView::useService()
{
    if (mirror() == MenuBarPanel::Mirror::Down) {
        if (startService)
            startService();
        return;
    }
    m_model.tasks().spawn(m_model.mutate(m_model.mirror().refresh()), "refresh the board");
}

void GlanceView::quit()
{
    QCoreApplication::exit();
}

} // namespace Keelhaven
