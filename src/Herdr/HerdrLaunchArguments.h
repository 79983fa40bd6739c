#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Platform/Moments.h"
#include "Scheduler/Model/RunLauncher.h"

#include <QMap>

namespace Keelhaven {

/// What an agent is started with: its name, environment and command line. Pure but for the settings file.
namespace HerdrLaunchArguments {

/// A name for the terminal host: letters, digits and single dashes, at most 24 characters, and four of a new
/// UUID.
[[nodiscard]] QString agentName(const QString &name);

/// The environment of the pane's shell.
[[nodiscard]] QMap<QString, QString> environment(const RunLaunchRequest &request,
                                                 const QStringList &deniedRoots);

/// What keeps Claude from asking: permission mode and one settings document.
struct Unattended
{
    QStringList plugins;      ///< to enable
    QStringList pluginDirs;   ///< folders to load a plugin from
    QStringList writableDirs; ///< where it may write without being asked
    QStringList deniedRoots;
    std::optional<QString> guardHookCommand; ///< refuses tool calls below deniedRoots
};
[[nodiscard]] QStringList unattendedArgs(const Unattended &options);

/// The folders below appSupportDir that sessions write to.
[[nodiscard]] QStringList defaultWritableDirs(const KeelhavenPaths &paths);

/// The bundled guard script as a shell command; nothing when this build carries none.
[[nodiscard]] std::optional<QString> guardHookCommand(const KeelhavenPaths &paths);

/// The whole argument list of a session, not yet shortened.
[[nodiscard]] QStringList sessionArgs(const RunLaunchRequest &request, const KeelhavenPaths &paths,
                                      const QStringList &deniedRoots);

/// The command line is typed into a shell, whose line has a limit: above 800 characters the settings document
/// moves to a file of its own, and old ones are swept away. The list is unchanged when the file cannot be
/// written.
[[nodiscard]] QStringList shortened(const QStringList &args, const std::optional<QUuid> &runID,
                                    const KeelhavenPaths &paths, Date now);

/// Length of the command line as typed.
[[nodiscard]] qsizetype estimatedLength(const QStringList &args);

} // namespace HerdrLaunchArguments

} // namespace Keelhaven
