#pragma once

#include "App/CommandLine.h"

namespace Keelhaven {

/// Every command of `keelhaven`: parsing, help and the functions behind them come from this one table.
[[nodiscard]] std::span<const CommandSpec> commandTable();

} // namespace Keelhaven
