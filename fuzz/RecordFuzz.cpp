#include "Require.h"
#include "Scheduler/Model/RunRecord.h"
#include "Scheduler/Model/SchedulerSlot.h"

#include <cstddef>
#include <cstdint>

using namespace Keelhaven;

namespace {

/// A record that was read is written in a form that reads as the same record and is written the same again.
template <typename T>
void check(const JSONValue &json)
{
    const auto record = decodeRecord<T>(json);
    if (!record) {
        FUZZ_REQUIRE(!record.error().reason.isEmpty());
        return;
    }
    const JSONValue written = encodeRecord(*record);
    const auto again = decodeRecord<T>(written);
    FUZZ_REQUIRE(again.has_value());
    FUZZ_REQUIRE(JSONValue(encodeRecord(*again)) == written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto json = JSONValue::parse(QByteArrayView(data, static_cast<qsizetype>(size)));
    if (!json)
        return 0;
    check<RunRecord>(*json);
    check<SchedulerSlot>(*json);
    return 0;
}
