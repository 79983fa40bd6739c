#pragma once

#include "App/Commands/CommandContext.h"

/// The ready-made agents that `agents add --template` starts from.
namespace Keelhaven::TemplateCommands {

[[nodiscard]] CommandReply list(const Arguments &arguments, const LocalContext &context);
/// The value check of --template.
[[nodiscard]] std::optional<QString> checkID(QStringView text);

} // namespace Keelhaven::TemplateCommands
