#pragma once

#include "Platform/Result.h"

#include <QString>

namespace Keelhaven {

/// Where one session of the host lives. All that belongs to a socket lies beside it under names derived from
/// it, so two hosts with different sockets share nothing, not even their terminals.
struct HostPaths
{
    QString session;      ///< name of the session, "keelhaven" by default
    QString socket;       ///< what the host listens on
    QString tmuxSocket;   ///< the private tmux server's; below 108 bytes whenever `socket` fits a client
    QString lockFile;     ///< held for the life of a server
    QString launchFolder; ///< start scripts of agents, 0700
    QString codexRuns;    ///< where Codex hook lines are read from
    QString claudeFolder; ///< ~/.claude, where Claude Code keeps what it does now
    bool isManaged =
        true; ///< the socket lies in the folder of the host's own, not where HERDR_SOCKET_PATH says

    /// From HOME, HERDR_SESSION and HERDR_SOCKET_PATH of this process. `session` overrides HERDR_SESSION when
    /// it is not empty. The error is a sentence: the session name is unfit for a path, or the socket path is
    /// too long.
    [[nodiscard]] static Result<HostPaths, QString> fromEnvironment(const QString &session = {});
};

} // namespace Keelhaven
