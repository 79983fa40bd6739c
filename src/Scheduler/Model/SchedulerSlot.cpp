#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

void SchedulerSlot::setModelChoice(const AgentModelChoice &choice)
{
    provider = choice.provider;
    model = choice.model;
}

std::optional<Date> SchedulerSlot::nextFireDate(Date after, const Calendar &calendar) const
{
    if (!supportsScheduling(provider) || captainDecides)
        return std::nullopt;
    return schedule.nextFireDate(std::max(after, lastFiredAt.value_or(distantPast)), calendar);
}

std::optional<QString> SchedulerSlot::providerValidationError() const
{
    if (provider == AgentProvider::Claude)
        return std::nullopt;
    if (workspaceMode != WorkspaceMode::None || !plugins.isEmpty())
        return u"Codex Phase 1 runs in project folders without Keelhaven plugin workspaces."_s;
    if (command.trimmed().startsWith(u'/'))
        return u"Use a plain-language prompt for Codex; Claude slash commands are not supported."_s;
    if (keepSessionOpen)
        return u"Codex follow-ups are manual in Herdr; managed parked sessions are not supported yet."_s;
    return std::nullopt;
}

std::optional<QString>
SchedulerSlot::saveHint(const std::function<bool(const QString &)> &isForbiddenFolder) const
{
    if (name.trimmed().isEmpty())
        return u"Name the agent to save"_s;
    if (cwds.isEmpty())
        return u"Add a project folder to save"_s;
    if (command.trimmed().isEmpty())
        return u"Enter a command or prompt to save"_s;
    for (const QString &folder : cwds) {
        if (isForbiddenFolder(folder))
            return folder + u" — runs are not allowed inside ~/.claude/plugins — use a project directory"_s;
    }
    return providerValidationError();
}

void RecordTable<SchedulerSlot>::decoded(SchedulerSlot &slot, const JSONObject &object)
{
    const JSONValue *folders = object.find(u"cwds");
    const JSONValue *folder = object.find(u"cwd");
    if ((!folders || folders->isNull()) && folder) {
        if (const auto path = folder->stringValue())
            slot.cwds = QStringList{*path};
    }
    if (slot.model) {
        slot.model = slot.model->trimmed();
        if (slot.model->isEmpty())
            slot.model.reset();
    }
    if (!supportsScheduling(slot.provider))
        slot.enabled = false;
}

void RecordTable<SchedulerSlot>::encoded(const SchedulerSlot &slot, JSONObject &object)
{
    if (slot.model && slot.model->isEmpty())
        object.remove(u"model");
}

} // namespace Keelhaven
