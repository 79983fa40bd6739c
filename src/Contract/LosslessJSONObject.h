#pragma once

#include "Contract/JSONValue.h"

namespace Keelhaven {

/// A record that keeps the object it was read from, so that fields this version does not know survive a
/// rewrite.
template <typename T>
concept LosslessJSONObject = requires(const T &record) {
    { record.raw } -> std::convertible_to<const JSONObject &>;
};

/// The object the record was read from, unchanged, for writing.
template <LosslessJSONObject T>
[[nodiscard]] JSONValue jsonValue(const T &record)
{
    return JSONValue(record.raw);
}

} // namespace Keelhaven
