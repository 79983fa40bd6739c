#pragma once

#include "App/AppPanel.h"
#include "Contract/SettingsCatalog.h"

#include <QObject>

namespace Keelhaven {

/// What the agent editor is open on.
struct SlotEditorTarget
{
    enum class Kind { Template, Slot, BlankForShip, Blank };

    Kind kind = Kind::Blank;
    QString templateID; ///< Template only
    QUuid id;           ///< of the agent, or of the ship that a blank one is for

    [[nodiscard]] static SlotEditorTarget ofTemplate(const QString &id) { return {Kind::Template, id, {}}; }
    [[nodiscard]] static SlotEditorTarget ofSlot(const QUuid &id) { return {Kind::Slot, {}, id}; }
    [[nodiscard]] static SlotEditorTarget blankForShip(const QUuid &id)
    {
        return {Kind::BlankForShip, {}, id};
    }
    [[nodiscard]] static SlotEditorTarget blank() { return {}; }

    bool operator==(const SlotEditorTarget &) const = default;
};

/// What the screens have selected and opened. The panel, the project and the ship come back after a restart;
/// all else is of this process. Each setter that changes something says so once. Main loop only.
class AppSelection : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString panel READ panelName NOTIFY panelChanged)
    Q_PROPERTY(QString selectedProject READ selectedProjectText NOTIFY selectedProjectChanged)
    Q_PROPERTY(bool showSettings READ showSettings WRITE setShowSettings NOTIFY showSettingsChanged)
    Q_PROPERTY(QString settingsPage READ settingsPageName NOTIFY settingsPageChanged)
    Q_PROPERTY(
        bool showActivityFeed READ showActivityFeed WRITE setShowActivityFeed NOTIFY showActivityFeedChanged)

public:
    /// Restores what was selected last; `settings` outlives this.
    explicit AppSelection(SettingsStore &settings, QObject *parent = nullptr);

    [[nodiscard]] AppPanel panel() const { return m_panel; }
    void setPanel(AppPanel panel);
    [[nodiscard]] const std::optional<QString> &selectedProject() const { return m_selectedProject; }
    void setSelectedProject(const std::optional<QString> &name);
    [[nodiscard]] const std::optional<QUuid> &selectedShipID() const { return m_selectedShipID; }
    void setSelectedShipID(const std::optional<QUuid> &id);

    /// The run that the board shows.
    [[nodiscard]] const std::optional<QUuid> &boardSelectedRunID() const { return m_boardSelectedRunID; }
    void setBoardSelectedRunID(const std::optional<QUuid> &id);
    /// The run that the scheduler shows.
    [[nodiscard]] const std::optional<QUuid> &selectedRunID() const { return m_selectedRunID; }
    void setSelectedRunID(const std::optional<QUuid> &id);
    [[nodiscard]] const SlotEditorTarget &slotEditor() const { return m_slotEditor; }
    void setSlotEditor(const SlotEditorTarget &target);

    [[nodiscard]] bool showSettings() const { return m_showSettings; }
    void setShowSettings(bool shows);
    [[nodiscard]] SettingsPage settingsPage() const { return m_settingsPage; }
    void setSettingsPage(SettingsPage page);
    /// Opens the settings sheet on a page.
    void showSettingsPage(SettingsPage page);
    [[nodiscard]] bool showActivityFeed() const { return m_showActivityFeed; }
    void setShowActivityFeed(bool shows);

    /// Shows the scheduler and raises the window. Without a run the selection stays as it is.
    void showScheduler(const std::optional<QUuid> &runID);
    /// Shows the fleet board and raises the window. What is not given stays selected as it is.
    void showBoard(const std::optional<QUuid> &shipID, const std::optional<QUuid> &runID);
    void showPanel(AppPanel panel) { setPanel(panel); }
    /// Selects a project on the projects panel and raises the window.
    void showProject(const QString &name);
    /// Brings the main window to the front, where this program has one.
    void raiseMainWindow() { Q_EMIT raiseRequested(); }
    /// Whether anybody would hear that.
    [[nodiscard]] bool hasWindow() const;

    [[nodiscard]] QString panelName() const { return enumText(m_panel); }
    /// Empty when none is selected.
    [[nodiscard]] QString selectedProjectText() const { return m_selectedProject.value_or(QString()); }
    [[nodiscard]] QString settingsPageName() const { return settingsPageID(m_settingsPage); }

Q_SIGNALS:
    void panelChanged();
    void selectedProjectChanged();
    void selectedShipIDChanged();
    void boardSelectedRunIDChanged();
    void selectedRunIDChanged();
    void slotEditorChanged();
    void showSettingsChanged();
    void settingsPageChanged();
    void showActivityFeedChanged();
    /// The main window is to come to the front.
    void raiseRequested();

private:
    template <typename T>
    bool change(T &member, const T &value, void (AppSelection::*changed)());
    void store(const SettingKey<QStringView> &key, const std::optional<QString> &text);

    SettingsStore &m_settings;
    AppPanel m_panel = AppPanel::Keelhaven;
    std::optional<QString> m_selectedProject;
    std::optional<QUuid> m_selectedShipID;
    std::optional<QUuid> m_boardSelectedRunID;
    std::optional<QUuid> m_selectedRunID;
    SlotEditorTarget m_slotEditor;
    SettingsPage m_settingsPage = SettingsPage::General;
    bool m_showSettings = false;
    bool m_showActivityFeed = false;
};

} // namespace Keelhaven
