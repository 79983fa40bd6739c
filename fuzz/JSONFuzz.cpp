#include "Contract/JSONValue.h"
#include "Require.h"

#include <cstddef>
#include <cstdint>

using namespace Keelhaven;

/// What was read and written reads back as the same value, and every look-up agrees with the walk over the
/// members.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayView bytes(data, static_cast<qsizetype>(size));
    const auto value = JSONValue::parse(bytes);
    if (!value) {
        FUZZ_REQUIRE(value.error().offset >= 0 && value.error().offset <= bytes.size());
        FUZZ_REQUIRE(!value.error().text.isEmpty());
        return 0;
    }
    const QByteArray written = value->encoded();
    FUZZ_REQUIRE(JSONValue::parse(written) == *value);
    FUZZ_REQUIRE(JSONValue::parse(written)->encoded() == written);
    FUZZ_REQUIRE(JSONValue::parse(value->serialized()) == *value);
    const auto pretty = JSONValue::parse(value->encodedPretty());
    FUZZ_REQUIRE(pretty && pretty->encodedPretty() == value->encodedPretty());
    if (const auto *object = value->objectValue()) {
        JSONObject rebuilt;
        for (const auto &[key, member] : *object) {
            FUZZ_REQUIRE(object->find(key) == &member);
            rebuilt.set(key, member);
        }
        FUZZ_REQUIRE(rebuilt == *object);
        for (const QString &key : object->keys())
            rebuilt.remove(key);
        FUZZ_REQUIRE(rebuilt.isEmpty());
    }
    return 0;
}
