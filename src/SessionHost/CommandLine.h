#pragma once

#include "Platform/Result.h"

#include <QStringList>

namespace Keelhaven {

/// What the program was called for.
struct HostCommand
{
    enum class Action { Attach, Serve, StopServer, Status, Help, Version };

    Action action = Action::Attach;
    QString session = {};    ///< empty: as the environment says
    bool asJSON = false;     ///< status
    bool closePanes = false; ///< server stop
    bool operator==(const HostCommand &) const = default;
};

/// Reads the arguments without the program's name. The error is the one line for wrong usage.
[[nodiscard]] Result<HostCommand, QString> parseHostCommand(const QStringList &arguments);

/// The text of --help.
[[nodiscard]] QString hostHelp();

} // namespace Keelhaven
