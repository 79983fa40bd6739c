#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Keelhaven::Front {

/// Whether an instance takes calls.
[[nodiscard]] bool instanceListens();

/// Hands the command to the instance and passes on what it says. Gives the exit status; nothing when no
/// instance runs. May become another program instead, when the instance wants that.
[[nodiscard]] std::optional<int> askInstance(const std::vector<std::string> &arguments);

} // namespace Keelhaven::Front
