#pragma once

#include "Scheduler/Model/AgentModelCatalog.h"
#include "Scheduler/Model/SchedulerSlot.h"

#include <span>

namespace Keelhaven {

/// An agent while a person edits it: every field that may be set, as the form holds it. Kinds of schedule
/// that are not chosen keep what was typed for them. A value; nothing is stored until toSlot().
struct AgentDraft
{
    enum class ScheduleKind { Daily, Weekly, EveryHours, Once };

    QString name;
    AgentModelChoice model;
    QStringList cwds;
    QString command;

    ScheduleKind scheduleKind = ScheduleKind::Daily;
    QList<ScheduleSpec::HourMinute> times{{2, 0}}; ///< of Daily and Weekly
    std::set<int> days{2, 3, 4, 5, 6};             ///< of Weekly; 1 = Sunday … 7 = Saturday
    int interval = 1;                              ///< hours, of EveryHours
    bool hasWindow = false;
    ScheduleSpec::DayWindow window{9, 17};
    Date once{};

    bool captainDecides = false;
    std::optional<QUuid> shipID;
    QString preflight;
    int priority = 0;
    int timeoutMinutes = 90;
    int stallMinutes = 10;
    bool keepAwake = true;
    bool enabled = false;
    std::optional<int> maxUsagePercent; ///< nothing uses the default of all agents
    bool runOnlyIfChanged = false;
    WorkspaceMode workspaceMode = WorkspaceMode::None;
    QStringList plugins;
    bool closeFinishedTab = true;
    bool keepSessionOpen = false;
    QStringList addDirs;

    /// What the form does not show and an edit must not lose: identity, what past runs left, what the agent
    /// belongs to.
    SchedulerSlot base;

    bool operator==(const AgentDraft &) const = default;

    /// A ship as far as the form needs it.
    struct ShipChoice
    {
        QUuid id;
        QString name;
        bool hasCaptain = false;
    };

    /// A new agent on the provider and model that the settings name, on the ship of the last saved agent.
    /// `now` presets the moment of a single run: the next full hour.
    [[nodiscard]] static AgentDraft blank(const SettingsStore &settings, Date now, const Calendar &calendar);
    [[nodiscard]] static AgentDraft fromSlot(const SchedulerSlot &slot, Date now, const Calendar &calendar);

    /// The agent as it would be stored: blanks around texts, empty folders and repeated ones are gone, and
    /// one that cannot be scheduled is not enabled.
    [[nodiscard]] SchedulerSlot toSlot() const;
    [[nodiscard]] ScheduleSpec schedule() const;

    /// Another provider starts on its own default model.
    void setProvider(AgentProvider provider);

    /// What keeps the draft from being saved, as a sentence; nothing when it can be.
    [[nodiscard]] std::optional<QString>
    saveHint(const std::function<bool(const QString &)> &isForbiddenFolder) const;
    /// Why the captain would not run it; says nothing about saving.
    [[nodiscard]] std::optional<QString> captainWarning(const QList<ShipChoice> &ships) const;
    /// The next firings of the schedule, as texts; none while the agent does not fire by itself.
    [[nodiscard]] QStringList nextDates(Date now, const Calendar &calendar, int count = 5) const;
};

/// "Daily", "Weekly", "Every few hours", "Once"
[[nodiscard]] QString label(AgentDraft::ScheduleKind kind);

/// The words of the agent editor's fields.
namespace AgentEditor {

/// The control that a field wants.
enum class Control {
    Text,
    LongText,
    Folders,
    Model,
    Schedule,
    Ship,
    Number,
    Switch,
    Percent,
    Workspace,
    Plugins
};

struct FieldSpec
{
    QStringView key; ///< the slot's field name
    QStringView label;
    QStringView help;
    Control control = Control::Text;
    int least = 0; ///< numbers only
    int most = 0;
    int step = 1;
};

/// In the order of the form.
[[nodiscard]] std::span<const FieldSpec> fields();
/// Null for an unknown key.
[[nodiscard]] const FieldSpec *field(QStringView key);

} // namespace AgentEditor

} // namespace Keelhaven
