#include "UI/AppView.h"

#include "App/AppSelection.h"
#include "UI/EngineObjects.h"
#include "UI/ShownText.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QUrl>

namespace Keelhaven {

using namespace Qt::StringLiterals;

AppView::AppView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_scheduler(model)
    , m_runDetail(model)
    , m_agentEditor(model)
{
    const auto *selection = &model.selection();
    connect(selection, &AppSelection::panelChanged, this, &AppView::panelChanged);
    connect(selection, &AppSelection::showSettingsChanged, this, &AppView::showsSettingsChanged);
    connect(selection, &AppSelection::raiseRequested, this, &AppView::raiseRequested);
    connect(&m_scheduler, &SchedulerView::newAgentWanted, &m_agentEditor, &AgentEditorView::openNew);
    connect(&m_agentEditor, &AgentEditorView::quitAllowed, this, [] { QCoreApplication::exit(); });
    connect(&model, &AppModel::started, &m_scheduler, &SchedulerView::updateSoon);
    connect(&model, &AppModel::started, this, &AppView::isReadyChanged);
    connect(&model, &AppModel::lastMutationErrorChanged, this, &AppView::lastErrorChanged);
}

AppView *AppView::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<AppView>(engine);
}

QString AppView::panel() const
{
    return m_model.selection().panelName();
}

void AppView::setPanel(const QString &name)
{
    if (const auto panel = enumFromText<AppPanel>(name))
        m_model.selection().setPanel(*panel);
}

QString AppView::databaseError() const
{
    return ShownText::line(m_model.databaseError().value_or(QString()));
}

QString AppView::lastError() const
{
    return ShownText::paragraph(m_model.lastErrorText());
}

bool AppView::showsSettings() const
{
    return m_model.selection().showSettings();
}

void AppView::setShowsSettings(bool shows)
{
    m_model.selection().setShowSettings(shows);
}

QString AppView::version() const
{
    return QCoreApplication::applicationVersion();
}

QUrl AppView::screen(const QString &name) const
{
    const QString path = u"/qt/qml/Keelhaven/qml/screens/%1.qml"_s.arg(name);
    return QFile::exists(u':' + path) ? QUrl(u"qrc"_s + u':' + path) : QUrl();
}

void AppView::dismissError()
{
    m_model.setLastMutationError(std::nullopt);
}

void AppView::quit()
{
    if (m_agentEditor.mayQuit())
        QCoreApplication::exit();
    else
        m_model.selection().raiseMainWindow();
}

void AppView::openLink(const QString &link)
{
    const QUrl url(link, QUrl::StrictMode);
    const QStringList remote{u"https"_s, u"http"_s, u"mailto"_s};
    const QFileInfo file(url.toLocalFile());
    const bool isDocument =
        url.isLocalFile() && file.isFile() && !file.isExecutable() && file.suffix() != u"desktop";
    if (url.isValid() && (remote.contains(url.scheme()) || isDocument))
        QDesktopServices::openUrl(url);
}

} // namespace Keelhaven
