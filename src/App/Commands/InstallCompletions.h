#pragma once

#include "App/CommandLine.h"

/// Completion of the command line in the user's shell, made from the command table.
namespace Keelhaven::InstallCompletions {

[[nodiscard]] QByteArray bash(std::span<const CommandSpec> table);
[[nodiscard]] QByteArray zsh(std::span<const CommandSpec> table);
[[nodiscard]] QByteArray fish(std::span<const CommandSpec> table);

} // namespace Keelhaven::InstallCompletions
