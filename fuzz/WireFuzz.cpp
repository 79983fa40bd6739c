#include "Herdr/Wire/HerdrEnvelope.h"
#include "Herdr/Wire/HerdrParams.h"
#include "Herdr/Wire/HerdrRecords.h"
#include "Herdr/Wire/HerdrStatusJSON.h"
#include "Require.h"

#include <cstddef>
#include <cstdint>

using namespace Keelhaven;

namespace {

/// What one side of the socket reads it writes in a form that the other side reads as the same.
template <typename T>
void check(const JSONValue &json)
{
    const auto record = decodeRecord<T>(json);
    if (!record)
        return;
    const auto line = JSONValue(encodeRecord(*record)).encoded();
    FUZZ_REQUIRE(!line.contains('\n'));
    const auto again = decodeRecordBytes<T>(line);
    FUZZ_REQUIRE(again.has_value());
    FUZZ_REQUIRE(*again == *record);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto json = JSONValue::parse(QByteArrayView(data, static_cast<qsizetype>(size)));
    if (!json)
        return 0;
    check<HerdrEnvelope<Herdr::AgentList>>(*json);
    check<HerdrEnvelope<Herdr::WorkspaceCreated>>(*json);
    check<HerdrEnvelope<Herdr::PaneRead>>(*json);
    check<HerdrRequest<JSONValue>>(*json);
    check<HerdrRequest<Herdr::AgentStartParams>>(*json);
    check<HerdrRequest<Herdr::WorkspaceCreateParams>>(*json);
    check<HerdrStatusJSON>(*json);
    return 0;
}
