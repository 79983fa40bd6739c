#include "Contract/Models/ContextFile.h"

#include "Contract/Models/ContractReading.h"

namespace Keelhaven {

using namespace ContractReading;

LaunchPushback LaunchPushback::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.from = o.string(u"from"),
            .to = o.string(u"to"),
            .reason = o.string(u"reason"),
            .at = o.string(u"at")};
}

Launch Launch::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .id = identifier(o),
            .type = o.string(u"type"),
            .title = o.string(u"title"),
            .action = o.string(u"action"),
            .targetDate = o.string(u"target_date"),
            .goals = o.string(u"goals"),
            .createdAt = o.string(u"created_at"),
            .history = records<LaunchPushback>(o, u"history"),
            .status = o.string(u"status"),
            .completedAt = o.string(u"completed_at")};
}

ProjectContext ProjectContext::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .activeLaunch = record<Launch>(o, u"active_launch"),
            .pastLaunches = records<Launch>(o, u"past_launches"),
            .vision = o.string(u"vision"),
            .status = o.string(u"status"),
            .display = o.string(u"display"),
            .updatedAt = o.string(u"updated_at")};
}

ContextFile ContextFile::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(), .projects = toMap(o.objectMapSelf(decode<ProjectContext>))};
}

} // namespace Keelhaven
