#include "Plugins/TaskWorkspace.h"

#include "Contract/ObjectReader.h"

namespace Keelhaven {

WorkspaceSlot WorkspaceSlot::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .id = o.string(u"id"),
            .name = o.string(u"name"),
            .prompt = o.string(u"prompt"),
            .timeoutMinutes = o.integer(u"timeout_minutes"),
            .enabled = o.bool_(u"enabled").value_or(false),
            .summary = o.string(u"summary"),
            .nextFire = o.string(u"next_fire")};
}

std::optional<ScheduleSpec> WorkspaceSlot::schedule() const
{
    const JSONValue *json = raw.find(u"schedule");
    const auto spec = json ? JSONCodec<ScheduleSpec>::decode(*json) : failure(DecodeError{});
    return spec ? std::optional(*spec) : std::nullopt;
}

std::optional<TaskWorkspace> TaskWorkspace::fromJSON(const JSONValue &json, const QString &folder)
{
    const ObjectReader o(json);
    const JSONValue *slot = o.raw(u"slot");
    TaskWorkspace workspace{.raw = o.object(),
                            .id = o.string(u"id").value_or(QString()),
                            .project = o.string(u"project").value_or(QStringLiteral("?")),
                            .task = o.string(u"task").value_or(QStringLiteral("?")),
                            .createdAt = o.string(u"created_at"),
                            .plugins = o.stringArray(u"plugins").value_or(QStringList()),
                            .brief = o.string(u"brief").value_or(QString()),
                            .slotID = o.string(u"slot_id"),
                            .path = o.string(u"path").value_or(folder),
                            .slot = {}};
    if (slot && slot->objectValue())
        workspace.slot = WorkspaceSlot::fromJSON(*slot);
    if (workspace.id.isEmpty() || workspace.path.isEmpty())
        return std::nullopt;
    return workspace;
}

} // namespace Keelhaven
