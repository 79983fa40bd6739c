#include "Contract/Models/AnalysisResult.h"

#include "Contract/Models/ContractReading.h"

namespace Keelhaven {

using namespace ContractReading;

PromptFinding PromptFinding::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.file = o.string(u"file"),
            .line = o.integer(u"line"),
            .name = o.string(u"name"),
            .kind = o.string(u"kind"),
            .dynamic = o.bool_(u"dynamic").value_or(false),
            .text = o.string(u"text"),
            .note = o.string(u"note")};
}

DBTable DBTable::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.name = o.string(u"name"),
            .kind = o.string(u"kind"),
            .source = o.string(u"source"),
            .columns = strings(o, u"columns")};
}

StructureEntry StructureEntry::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.dir = o.string(u"dir"), .files = o.integer(u"files")};
}

AnalysisResult AnalysisResult::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    const ObjectReader stats(o.raw(u"stats"));
    return {.raw = o.object(),
            .head = o.string(u"head"),
            .analyzerVersion = o.integer(u"analyzer_version"),
            .generatedAt = o.string(u"generated_at"),
            .architecture = o.string(u"architecture"),
            .prompts = records<PromptFinding>(o, u"prompts"),
            .db = records<DBTable>(o, u"db"),
            .diagrams = map(o, u"diagrams", &JSONValue::stringValue),
            .structure = records<StructureEntry>(o, u"structure"),
            .statsFiles = stats.integer(u"files"),
            .statsByExt = map(stats, u"by_ext", &JSONValue::intValue),
            .manifestDigest = o.string(u"manifest_digest")};
}

} // namespace Keelhaven
