#pragma once

#include "App/Commands/CommandContext.h"
#include "App/Doctor.h"

/// The checklist of a first start, for a terminal.
namespace Keelhaven::SetupCommand {

/// Looks at the machine afresh and tells what is there and what to do next.
[[nodiscard]] QCoro::Task<CommandReply> setup(Arguments arguments, MachineContext context);

/// What the doctor says of the set-up beside the tools themselves.
[[nodiscard]] QCoro::Task<QList<DoctorCheck>> examine(ProcessRunner *processes, SettingsStore *settings,
                                                      KeelhavenPaths paths);

} // namespace Keelhaven::SetupCommand
