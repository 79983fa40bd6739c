#include "Contract/Models/WorkUnit.h"

#include "Contract/Models/ContractReading.h"

namespace Keelhaven {

using namespace ContractReading;

AISnippetItem AISnippetItem::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.title = o.string(u"title"),
            .file = o.string(u"file"),
            .line = o.integer(u"line"),
            .code = o.string(u"code"),
            .note = o.string(u"note")};
}

WorkDecision WorkDecision::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.text = o.string(u"text"), .file = o.string(u"file"), .line = o.integer(u"line")};
}

WorkSurfaceItem WorkSurfaceItem::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.kind = o.string(u"kind"),
            .name = o.string(u"name"),
            .detail = o.string(u"detail"),
            .file = o.string(u"file"),
            .line = o.integer(u"line")};
}

WorkUnit WorkUnit::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    const ObjectReader period(o.raw(u"period"));
    return {.raw = o.object(),
            .id = identifier(o),
            .title = o.string(u"title"),
            .summary = o.string(u"summary"),
            .repos = strings(o, u"repos"),
            .source = o.string(u"source"),
            .periodFrom = period.string(u"from"),
            .periodTo = period.string(u"to"),
            .commits = strings(o, u"commits"),
            .decisions = records<WorkDecision>(o, u"decisions"),
            .surface = records<WorkSurfaceItem>(o, u"surface"),
            .snippets = records<AISnippetItem>(o, u"snippets"),
            .mermaid = o.string(u"mermaid"),
            .at = o.string(u"at")};
}

} // namespace Keelhaven
