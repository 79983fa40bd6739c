#include "UI/HerdrView.h"

#include "App/AppModel.h"
#include "Herdr/HerdrManager.h"
#include "UI/EngineObjects.h"
#include "UI/ShownText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

HerdrView::HerdrView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    connect(&model.herdr(), &HerdrManager::changed, this, &HerdrView::changed);
    connect(&model.scheduler(), &SchedulerEngine::changed, this, &HerdrView::changed);
}

HerdrView *HerdrView::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<HerdrView>(engine);
}

QString HerdrView::summary() const
{
    const auto &health = m_model.herdr().health();
    const auto text = health ? health->summary() : std::nullopt;
    return ShownText::line(text.value_or(QString()));
}

QString HerdrView::message() const
{
    const auto &health = m_model.herdr().health();
    const auto text = health ? health->state.message() : std::nullopt;
    return ShownText::line(text.value_or(QString()));
}

bool HerdrView::blocksRuns() const
{
    const auto &health = m_model.herdr().health();
    return health && health->state.blocksRuns();
}

QString HerdrView::installError() const
{
    return ShownText::line(m_model.herdr().installError().value_or(QString()));
}

QString HerdrView::binary() const
{
    const auto &health = m_model.herdr().health();
    const auto path = health ? health->binary : std::nullopt;
    return path ? ShownText::path(*path, m_model.paths().home) : QString();
}

bool HerdrView::busy() const
{
    return m_model.herdr().busy();
}

bool HerdrView::pendingRestart() const
{
    return m_model.herdr().pendingRestart();
}

bool HerdrView::hasRuns() const
{
    const auto &engine = m_model.scheduler();
    return !engine.active().isEmpty() || !engine.launching().isEmpty() || !engine.queued().isEmpty();
}

void HerdrView::check()
{
    m_model.tasks().spawn(m_model.herdr().refresh(), "check Herdr");
}

void HerdrView::reinstall()
{
    m_model.tasks().spawn(m_model.herdr().reinstall(), "reinstall Herdr");
}

void HerdrView::restartServer()
{
    m_model.tasks().spawn(m_model.herdr().restartServerIfIdle(), "restart Herdr");
}

} // namespace Keelhaven
