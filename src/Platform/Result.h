#pragma once

#include <expected>
#include <utility>

namespace Keelhaven {

/// Value or typed error. An error type has `QString message() const`, the sentence for the user.
template <typename T, typename E>
using Result = std::expected<T, E>;

/// Makes the error side of a Result: `return failure(SQLiteError{…});`
template <typename E>
[[nodiscard]] constexpr auto failure(E &&error)
{
    return std::unexpected(std::forward<E>(error));
}

} // namespace Keelhaven
