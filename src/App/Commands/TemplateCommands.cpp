#include "App/Commands/TemplateCommands.h"

#include "App/Commands/TextTable.h"
#include "Scheduler/Model/SlotTemplate.h"

namespace Keelhaven::TemplateCommands {

using namespace Qt::StringLiterals;

std::optional<QString> checkID(QStringView text)
{
    return SlotTemplate::named(text.toString())
               ? std::nullopt
               : std::optional(u"is no template; \"keelhaven templates list\" names them"_s);
}

CommandReply list(const Arguments &arguments, const LocalContext &context)
{
    JSONArray json;
    TextTable table({u"TEMPLATE"_s, u"NAME"_s, u"WORKSPACE"_s, u"PROMPT"_s});
    for (const auto &entry : SlotTemplate::all()) {
        json.push_back(JSONObject{{u"id"_s, entry.id},
                                  {u"name"_s, entry.name},
                                  {u"prompt"_s, entry.prompt},
                                  {u"workspaceMode"_s, enumText(entry.workspaceMode)}});
        table.addRow({entry.id, entry.name, enumText(entry.workspaceMode), entry.prompt});
    }
    if (arguments.wantsJSON())
        return CommandReply::json(json, context.caller);
    return {.output = table.text(context.caller.columns)};
}

} // namespace Keelhaven::TemplateCommands
