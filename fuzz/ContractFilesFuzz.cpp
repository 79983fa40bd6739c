#include "Contract/Models/Snapshot.h"
#include "Platform/Uuid.h"
#include "Require.h"

#include <cstddef>
#include <cstdint>

using namespace Keelhaven;

namespace {

JSONObject objectOf(const JSONValue &json)
{
    const JSONObject *object = json.objectValue();
    return object ? *object : JSONObject();
}

/// Every JSON reads as a record, and what `raw` keeps reads as the same one. With UUIDs made up for what has
/// none, only the shape is the same twice.
template <typename T>
T check(const JSONValue &json)
{
    const T record = T::fromJSON(json);
    FUZZ_REQUIRE(record.raw == objectOf(json));
    return record;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto json = JSONValue::parse(QByteArrayView(data, static_cast<qsizetype>(size)));
    if (!json)
        return 0;

    const auto state = check<StateFile>(*json);
    FUZZ_REQUIRE(state == StateFile::fromJSON(state.raw));
    FUZZ_REQUIRE(!state.hasUnknownSchema() || state.schemaVersion);
    FUZZ_REQUIRE(state.raw.find(u"projects") || state.projects.isEmpty());

    const auto ai = check<AIFile>(*json);
    for (const auto &reviews : ai.workReviews) {
        for (const auto &unit : reviews.items)
            FUZZ_REQUIRE(unit.raw.find(u"id") || uuidFromText(unit.id));
    }
    FUZZ_REQUIRE(ai.agentHasRun() == AIFile::fromJSON(ai.raw).agentHasRun());

    const auto context = check<ContextFile>(*json);
    FUZZ_REQUIRE(context.projects.size() == context.raw.size());

    const auto peek = CredentialsPeek::fromJSON(*json);
    FUZZ_REQUIRE(peek == CredentialsPeek::fromJSON(state.raw));
    return 0;
}
