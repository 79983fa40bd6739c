#pragma once

#include "App/Commands/CommandContext.h"
#include "Platform/ServiceStatus.h"

/// The commands on the systemd user service that keeps Keelhaven running without a window.
namespace Keelhaven::ServiceCommand {

inline constexpr QStringView unitName = u"com.keelhaven.headless.service";

[[nodiscard]] QCoro::Task<CommandReply> install(Arguments arguments, MachineContext context);
[[nodiscard]] QCoro::Task<CommandReply> remove(Arguments arguments, MachineContext context);
[[nodiscard]] QCoro::Task<CommandReply> status(Arguments arguments, MachineContext context);

/// The unit that runs `front`, the program's path, with these variables over the manager's.
[[nodiscard]] QString unitText(const QString &front, const QMap<QString, QString> &environment);

/// Whether "service install" has put the unit where it is.
[[nodiscard]] bool isInstalled(const KeelhavenPaths &paths);

/// For the doctor; not installed is no fault.
[[nodiscard]] QCoro::Task<ServiceStatus> examine(ProcessRunner *processes, KeelhavenPaths paths);

} // namespace Keelhaven::ServiceCommand
