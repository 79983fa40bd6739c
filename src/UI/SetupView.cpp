#include "UI/SetupView.h"

#include "App/AppModel.h"
#include "Contract/SettingsCatalog.h"
#include "Setup/SetupChecklist.h"
#include "Setup/UpdateChecker.h"
#include "Surfaces/Acknowledgements.h"
#include "UI/EngineObjects.h"
#include "UI/ReportBlocks.h"
#include "UI/ShownText.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QUrl>

namespace Keelhaven {

using namespace Qt::StringLiterals;

SetupView::SetupView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    connect(&model.setup(), &SetupChecklist::changed, this, &SetupView::changed);
    connect(&model.updates(), &UpdateChecker::changed, this, &SetupView::updateChanged);
    connect(&model, &AppModel::settingWritten, this, [this](const QString &key) {
        if (key == Setting::keelhavenRunDirectory.name)
            check();
    });
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, &SetupView::onActivated);
}

SetupView *SetupView::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<SetupView>(engine);
}

void SetupView::onActivated(Qt::ApplicationState state)
{
    if (state == Qt::ApplicationActive && m_watchers > 0)
        check();
}

bool SetupView::isWanted() const
{
    return m_model.setup().showsSetup();
}

bool SetupView::isDone() const
{
    return m_model.setup().done();
}

bool SetupView::allPassed() const
{
    return m_model.setup().allPassed();
}

bool SetupView::isChecking() const
{
    return m_model.setup().checking();
}

QString SetupView::title() const
{
    return SetupRows::title.toString();
}

QString SetupView::subtitle() const
{
    return SetupRows::subtitle.toString();
}

QString SetupView::checkText() const
{
    return (isChecking() ? SetupRows::checking : SetupRows::checkAgain).toString();
}

QString SetupView::skipText() const
{
    return SetupRows::skip.toString();
}

QVariantList SetupView::rows() const
{
    QVariantList list;
    const auto rows = m_model.setup().rows();
    for (const SetupRow &row : rows)
        list.append(
            QVariantMap{{u"title"_s, row.title},
                        {u"passed"_s, row.passed},
                        {u"detail"_s, ShownText::line(row.detail)},
                        // Only sentences of our own have code in them; a path is no prose.
                        {u"blocks"_s, row.detail.contains(u'`') && row.action != SetupAction::chooseFolder
                                          ? ReportBlocks::toVariants(ReportBlocks::read(row.detail))
                                          : QVariantList()},
                        {u"action"_s, enumText(row.action)},
                        {u"actionTitle"_s, row.actionTitle},
                        {u"command"_s, row.command.value_or(QString())}});
    return list;
}

QString SetupView::note() const
{
    return ShownText::line(m_model.setup().note());
}

void SetupView::setWatched(bool watched)
{
    m_watchers = std::max(0, m_watchers + (watched ? 1 : -1));
}

void SetupView::check()
{
    m_model.tasks().spawn(m_model.setup().refresh(true), "setup");
}

void SetupView::skip()
{
    m_model.setup().skip();
}

void SetupView::perform(int index)
{
    const SetupRow row = m_model.setup().rows().value(index);
    if (m_model.setup().perform(row.action))
        return;
    m_model.setLastMutationError(row.command
                                     ? u"No terminal could be opened. Run this in one: %1"_s.arg(*row.command)
                                     : u"No terminal could be opened."_s);
}

void SetupView::chooseFolder(const QUrl &folder)
{
    if (!folder.isLocalFile())
        return;
    m_model.setup().chooseRunDirectory(folder.toLocalFile());
    m_model.settingChanged(Setting::keelhavenRunDirectory.name.toString());
}

void SetupView::copy(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

QString SetupView::updateBanner() const
{
    return ShownText::line(m_model.updates().bannerText());
}

QString SetupView::updateTitle() const
{
    return m_model.updates().titleText();
}

QString SetupView::updateCheckText() const
{
    return (isUpdateChecking() ? UpdateChecker::checkingTitle : UpdateChecker::checkTitle).toString();
}

bool SetupView::isUpdateChecking() const
{
    return m_model.updates().checking();
}

bool SetupView::canCheckUpdates() const
{
    return m_model.updates().hasEndpoint();
}

QString SetupView::updateLatest() const
{
    return m_model.updates().latestText();
}

QString SetupView::updateCaption() const
{
    return m_model.updates().caption(m_model.clock().now());
}

QString SetupView::updateError() const
{
    return ShownText::line(m_model.updates().lastError().value_or(QString()));
}

QString SetupView::skipVersionText() const
{
    return UpdateChecker::skipTitle.toString();
}

QString SetupView::downloadText() const
{
    return UpdateChecker::downloadTitle.toString();
}

QVariantList SetupView::acknowledgements() const
{
    QVariantList list;
    for (const Acknowledgement &each : Keelhaven::acknowledgements)
        list.append(QVariantMap{{u"name"_s, each.name.toString()},
                                {u"use"_s, each.use.toString()},
                                {u"license"_s, each.license.toString()}});
    return list;
}

void SetupView::checkUpdates()
{
    m_model.tasks().spawn(m_model.updates().check(true), "check for updates");
}

void SetupView::skipVersion()
{
    m_model.updates().skip();
}

void SetupView::openDownload()
{
    if (!m_model.updates().openDownload())
        m_model.setLastMutationError(u"There is no page to download from."_s);
}

} // namespace Keelhaven
