#include "App/CommandLine.h"
#include "App/Commands/CommandTable.h"
#include "App/ControlWire.h"
#include "Require.h"

#include <cstddef>
#include <cstdint>

using namespace Keelhaven;

/// A stream gives the same frames however it is cut, a request that was read is written as the same bytes,
/// and any words are understood or explained.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    ControlWire::FrameReader whole;
    ControlWire::FrameReader pieces;
    whole.append(bytes);
    std::size_t given = 0;
    while (const auto frame = whole.next()) {
        auto other = pieces.next();
        while (!other && given < size) {
            pieces.append(bytes.substr(given++, 1));
            other = pieces.next();
        }
        FUZZ_REQUIRE(other && other->type == frame->type && other->payload == frame->payload);
    }

    const auto decoded = ControlWire::decodeRequest(bytes);
    if (const auto *request = std::get_if<ControlWire::Request>(&decoded)) {
        const auto written = ControlWire::encodeRequest(*request);
        const auto *payload = std::get_if<std::string>(&written);
        FUZZ_REQUIRE(payload &&
                     std::get<ControlWire::Request>(ControlWire::decodeRequest(*payload)) == *request);
    }

    const auto words = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(size)).split(u'\n');
    const auto parsed = parseCommandLine(words, commandTable());
    if (const auto *error = std::get_if<UsageError>(&parsed))
        FUZZ_REQUIRE(!error->sentence.isEmpty() && !error->help.isEmpty());
    return 0;
}
