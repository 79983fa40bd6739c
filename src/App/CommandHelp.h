#pragma once

#include "App/CommandLine.h"

namespace Keelhaven {

/// The options that every command has.
[[nodiscard]] std::span<const OptionSpec *const> commonOptions();

/// The help texts, made from the command table.
namespace CommandHelp {

[[nodiscard]] QString ofAll(std::span<const CommandSpec> table);
/// `group` is the first word of its commands.
[[nodiscard]] QString ofGroup(const QString &group, std::span<const CommandSpec> table);
[[nodiscard]] QString ofCommand(const CommandSpec &command);

/// An option and a command as they are written, with what they take.
[[nodiscard]] QString spelled(const OptionSpec &option);
[[nodiscard]] QString spelled(const CommandSpec &command);

} // namespace CommandHelp

} // namespace Keelhaven
