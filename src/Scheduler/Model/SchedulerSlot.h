#pragma once

#include "Scheduler/Model/AgentProvider.h"
#include "Scheduler/Model/ScheduleSpec.h"

namespace Keelhaven {

/// One configured agent: a prompt, project folders, a provider and model, a schedule and the gates of its
/// runs.
struct SchedulerSlot
{
    QUuid id = QUuid::createUuid();
    QString name;
    AgentProvider provider = AgentProvider::Claude;
    std::optional<QString> model; ///< nothing or blank is the provider default
    QStringList cwds;             ///< project folders; one run for each, in this order
    QString command;              ///< the prompt
    ScheduleSpec schedule;
    bool captainDecides = false;      ///< the ship's captain runs it; the schedule is then ignored
    std::optional<QString> preflight; ///< a shell command that must succeed before launch
    int priority = 0;                 ///< higher goes first in the queue
    int timeoutMinutes = 90;
    int stallMinutes = 10; ///< silence before a run counts as waiting
    bool keepAwake = true; ///< hold the machine awake from enqueue to finish
    bool enabled = false;
    std::optional<int>
        maxUsagePercent; ///< session usage cap of scheduled runs; nothing uses the global default
    bool runOnlyIfChanged = false;
    std::optional<QMap<QString, QString>> lastRunHeads; ///< git head at the last successful run, by folder
    std::optional<Date> lastFiredAt;                    ///< last scheduled firing
    WorkspaceMode workspaceMode = WorkspaceMode::None;
    QStringList plugins; ///< plugin ids switched on for this agent's sessions only
    std::optional<QString> workspaceSlug;
    bool closeFinishedTab = true;          ///< close the tab on a clean finish; failures stay open
    std::optional<QString> herdrWorkspace; ///< workspace label override; never persisted
    bool keepSessionOpen = false;          ///< park the finished session for follow-ups
    QStringList addDirs;                   ///< extra directories the session may reach
    std::optional<QUuid> shipID;
    SlotKind kind = SlotKind::Scheduled;
    std::optional<QString> workItemID;
    std::optional<QString> dispatchID;
    std::optional<QUuid> captainRunID; ///< the captain run that ordered it; never persisted

    bool operator==(const SchedulerSlot &) const = default;

    /// The first project folder, or empty.
    [[nodiscard]] QString cwd() const { return cwds.value(0); }
    [[nodiscard]] bool usesWorkspace() const { return workspaceMode != WorkspaceMode::None; }
    [[nodiscard]] AgentModelChoice modelChoice() const { return {provider, model}; }
    void setModelChoice(const AgentModelChoice &choice);

    /// Next firing strictly after the later of `after` and lastFiredAt. Nothing for a provider that cannot be
    /// scheduled and for an agent that its captain runs.
    [[nodiscard]] std::optional<Date> nextFireDate(Date after, const Calendar &calendar) const;

    /// Why this provider cannot run the slot as configured, as a sentence for the user.
    [[nodiscard]] std::optional<QString> providerValidationError() const;

    /// The first thing that keeps the slot from being saved: no name, no folder, no command, a folder inside
    /// the plugin cache (as `isForbiddenFolder` tells), then providerValidationError.
    [[nodiscard]] std::optional<QString>
    saveHint(const std::function<bool(const QString &)> &isForbiddenFolder) const;
};

template <>
struct RecordTable<SchedulerSlot>
{
    static auto fields()
    {
        using S = SchedulerSlot;
        return std::tuple{
            defaulted(u"id", &S::id),
            defaulted(u"name", &S::name),
            defaulted(u"provider", &S::provider),
            optional(u"model", &S::model),
            defaulted(u"cwds", &S::cwds),
            derived<S>(u"cwd", [](const S &slot) -> std::optional<JSONValue> { return slot.cwd(); }),
            required(u"command", &S::command),
            required(u"schedule", &S::schedule),
            defaulted(u"captainDecides", &S::captainDecides).omitDefault(),
            optional(u"preflight", &S::preflight),
            defaulted(u"priority", &S::priority),
            defaulted(u"timeoutMinutes", &S::timeoutMinutes),
            defaulted(u"stallMinutes", &S::stallMinutes),
            defaulted(u"keepAwake", &S::keepAwake),
            defaulted(u"enabled", &S::enabled),
            optional(u"maxUsagePercent", &S::maxUsagePercent),
            defaulted(u"runOnlyIfChanged", &S::runOnlyIfChanged),
            optional(u"lastRunHeads", &S::lastRunHeads),
            optional(u"lastFiredAt", &S::lastFiredAt),
            defaulted(u"workspaceMode", &S::workspaceMode),
            defaulted(u"plugins", &S::plugins).orKey(u"workspacePlugins"),
            derived<S>(u"workspacePlugins",
                       [](const S &slot) -> std::optional<JSONValue> {
                           if (slot.plugins.isEmpty())
                               return std::nullopt;
                           return JSONCodec<QStringList>::encode(slot.plugins);
                       }),
            optional(u"workspaceSlug", &S::workspaceSlug),
            defaulted(u"closeFinishedTab", &S::closeFinishedTab),
            defaulted(u"keepSessionOpen", &S::keepSessionOpen).omitDefault(),
            defaulted(u"addDirs", &S::addDirs).omitDefault(),
            optional(u"shipID", &S::shipID),
            defaulted(u"kind", &S::kind).omitDefault(),
            optional(u"workItemID", &S::workItemID),
            optional(u"dispatchID", &S::dispatchID),
        };
    }

    /// Older files name a single folder under "cwd", and may hold a Codex agent that was switched on.
    static void decoded(SchedulerSlot &slot, const JSONObject &object);

    /// A blank model is written as none.
    static void encoded(const SchedulerSlot &slot, JSONObject &object);
};

} // namespace Keelhaven
