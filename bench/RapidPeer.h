#pragma once

#include <cstddef>
#include <string_view>

namespace Keelhaven::Bench {

/// Reads the JSON text into a RapidJSON document and writes it again. Gives the length written.
std::size_t rapidRoundTrip(std::string_view text);

} // namespace Keelhaven::Bench
