#pragma once

#include "Platform/Result.h"
#include "SessionHost/HostPaths.h"

#include <QByteArray>
#include <chrono>

namespace Keelhaven {

/// One exchange with the host that listens at `socket`, for the program's own sub-commands; blocks up to
/// `timeout` as a whole. The error is a sentence.
[[nodiscard]] Result<QByteArray, QString> askHost(const QString &socket, const QByteArray &line,
                                                  std::chrono::milliseconds timeout);

/// What `status --json` prints, on one line.
[[nodiscard]] QByteArray hostStatusJSON(const HostPaths &paths);

/// The same for a person, one line.
[[nodiscard]] QString hostStatusText(const HostPaths &paths);

/// Ends the running host and waits until it is gone. The panes stay, and the next host finds them, unless
/// `closePanes`. Gives the sentence to print.
[[nodiscard]] Result<QString, QString> stopHost(const HostPaths &paths, bool closePanes);

/// Starts a host in the background unless one answers, and waits until its terminals are there.
[[nodiscard]] Result<void, QString> ensureHost(const HostPaths &paths);

} // namespace Keelhaven
