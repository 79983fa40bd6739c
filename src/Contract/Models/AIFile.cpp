#include "Contract/Models/AIFile.h"

#include "Contract/Models/ContractReading.h"

namespace Keelhaven {

using namespace ContractReading;

AISummary AISummary::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .text = o.string(u"text"),
            .at = o.string(u"at"),
            .headSig = o.string(u"head_sig")};
}

AIDigest AIDigest::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .narrative = o.string(u"narrative"),
            .review = strings(o, u"review"),
            .at = o.string(u"at")};
}

AIArchitecture AIArchitecture::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .text = o.string(u"text"),
            .mermaid = o.string(u"mermaid"),
            .at = o.string(u"at"),
            .head = o.string(u"head")};
}

AIPromptItem AIPromptItem::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.name = o.string(u"name"),
            .text = o.string(u"text"),
            .file = o.string(u"file"),
            .line = o.integer(u"line"),
            .dynamic = o.bool_(u"dynamic").value_or(false),
            .note = o.string(u"note")};
}

AIDataShapeItem AIDataShapeItem::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.name = o.string(u"name"),
            .kind = o.string(u"kind"),
            .fields = strings(o, u"fields"),
            .file = o.string(u"file"),
            .line = o.integer(u"line"),
            .note = o.string(u"note")};
}

template <typename Item>
AIListPanel<Item> AIListPanel<Item>::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .items = records<Item>(o, u"items"),
            .at = o.string(u"at"),
            .head = o.string(u"head")};
}

template struct AIListPanel<AIPromptItem>;
template struct AIListPanel<AISnippetItem>;
template struct AIListPanel<AIDataShapeItem>;

AISetupPanel AISetupPanel::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(), .text = o.string(u"text"), .at = o.string(u"at"), .head = o.string(u"head")};
}

AIWorkReviews AIWorkReviews::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(), .items = records<WorkUnit>(o, u"items"), .at = o.string(u"at")};
}

AIFile AIFile::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.raw = o.object(),
            .summaries = recordMap<AISummary>(o, u"summaries"),
            .digests = recordMap<AIDigest>(o, u"digests"),
            .architecture = recordMap<AIArchitecture>(o, u"architecture"),
            .prompts = recordMap<AIPromptsPanel>(o, u"prompts"),
            .setup = recordMap<AISetupPanel>(o, u"setup"),
            .snippets = recordMap<AISnippetsPanel>(o, u"snippets"),
            .dataShape = recordMap<AIDataShapePanel>(o, u"data_shape"),
            .workReviews = recordMap<AIWorkReviews>(o, u"work_reviews")};
}

} // namespace Keelhaven
