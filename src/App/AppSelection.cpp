#include "App/AppSelection.h"

#include "Platform/Uuid.h"

#include <QMetaMethod>

namespace Keelhaven {

AppSelection::AppSelection(SettingsStore &settings, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
{
    const QString project = settings.text(Setting::selectedProject.name.toString());
    if (!project.isEmpty())
        m_selectedProject = project;
    m_selectedShipID = Setting::shipID(settings, Setting::selectedShipID);
    const PanelRestore restored = PanelRestore::from(settings);
    restored.applyTo(settings);
    m_panel = restored.panel;
}

template <typename T>
bool AppSelection::change(T &member, const T &value, void (AppSelection::*changed)())
{
    if (member == value)
        return false;
    member = value;
    Q_EMIT(this->*changed)();
    return true;
}

void AppSelection::store(const SettingKey<QStringView> &key, const std::optional<QString> &text)
{
    // Swallowed: what cannot be stored is selected all the same, and the next change stores it along.
    if (text)
        static_cast<void>(m_settings.set(key.name.toString(), *text));
    else
        static_cast<void>(m_settings.remove(key.name.toString()));
}

void AppSelection::setPanel(AppPanel panel)
{
    if (change(m_panel, panel, &AppSelection::panelChanged))
        store(Setting::appPanel, enumText(panel));
}

void AppSelection::setSelectedProject(const std::optional<QString> &name)
{
    if (change(m_selectedProject, name, &AppSelection::selectedProjectChanged))
        store(Setting::selectedProject, name);
}

void AppSelection::setSelectedShipID(const std::optional<QUuid> &id)
{
    if (change(m_selectedShipID, id, &AppSelection::selectedShipIDChanged))
        store(Setting::selectedShipID, id ? std::optional(uuidText(*id)) : std::nullopt);
}

void AppSelection::setBoardSelectedRunID(const std::optional<QUuid> &id)
{
    change(m_boardSelectedRunID, id, &AppSelection::boardSelectedRunIDChanged);
}

void AppSelection::setSelectedRunID(const std::optional<QUuid> &id)
{
    change(m_selectedRunID, id, &AppSelection::selectedRunIDChanged);
}

void AppSelection::setSlotEditor(const SlotEditorTarget &target)
{
    change(m_slotEditor, target, &AppSelection::slotEditorChanged);
}

void AppSelection::setShowSettings(bool shows)
{
    change(m_showSettings, shows, &AppSelection::showSettingsChanged);
}

void AppSelection::setSettingsPage(SettingsPage page)
{
    change(m_settingsPage, page, &AppSelection::settingsPageChanged);
}

void AppSelection::showSettingsPage(SettingsPage page)
{
    setSettingsPage(page);
    setShowSettings(true);
}

void AppSelection::setShowActivityFeed(bool shows)
{
    change(m_showActivityFeed, shows, &AppSelection::showActivityFeedChanged);
}

void AppSelection::showScheduler(const std::optional<QUuid> &runID)
{
    if (runID)
        setSelectedRunID(runID);
    setPanel(AppPanel::Scheduler);
    raiseMainWindow();
}

void AppSelection::showBoard(const std::optional<QUuid> &shipID, const std::optional<QUuid> &runID)
{
    if (shipID)
        setSelectedShipID(shipID);
    if (runID)
        setBoardSelectedRunID(runID);
    setPanel(AppPanel::Keelhaven);
    raiseMainWindow();
}

bool AppSelection::hasWindow() const
{
    return isSignalConnected(QMetaMethod::fromSignal(&AppSelection::raiseRequested));
}

void AppSelection::showProject(const QString &name)
{
    setSelectedProject(name);
    setPanel(AppPanel::Projects);
    raiseMainWindow();
}

} // namespace Keelhaven
