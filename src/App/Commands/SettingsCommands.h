#pragma once

#include "App/Commands/CommandContext.h"

/// The commands on the user's settings. They need no running instance.
namespace Keelhaven::SettingsCommands {

[[nodiscard]] CommandReply list(const Arguments &arguments, const LocalContext &context);
[[nodiscard]] CommandReply get(const Arguments &arguments, const LocalContext &context);
[[nodiscard]] CommandReply set(const Arguments &arguments, const LocalContext &context);
[[nodiscard]] CommandReply unset(const Arguments &arguments, const LocalContext &context);

/// Every key with its type, range, default and meaning, for --help.
[[nodiscard]] QString catalogueText();

} // namespace Keelhaven::SettingsCommands
