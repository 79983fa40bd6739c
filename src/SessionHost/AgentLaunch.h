#pragma once

#include "SessionHost/AgentRules.h"
#include "SessionHost/ProcessTree.h"
#include "SessionHost/TmuxControl.h"

namespace Keelhaven {

/// The start of one agent, through a file: a command line of any length and content reaches the program as it
/// stands, and only a short line is typed. The script takes itself away when it runs, and leaves the number
/// of its process, which becomes the agent's.
class AgentLaunch
{
public:
    /// `folder` holds the scripts; `token` names one start.
    AgentLaunch(QString folder, QString token);

    [[nodiscard]] static QString newToken();

    /// Writes the script (0600). The error is "invalid_request" for arguments that no program can be given
    /// and "launch_failed" when the file cannot be written.
    [[nodiscard]] HostResult<void> prepare(AgentKind kind, const QStringList &arguments) const;

    /// What to type into the shell, without Enter. A shell without history markers ignores the leading blank.
    [[nodiscard]] QString line() const;

    /// How far the start has come. `shell` is the pane's first process, whose terminal session the agent
    /// belongs to.
    struct Progress
    {
        enum class Stage {
            Waiting, ///< the script has not been read
            Taken,   ///< it runs, or has ended before it came to the agent
            Started, ///< `process` is the agent
            Gone,    ///< the agent has been there and has ended
        };
        Stage stage = Stage::Waiting;
        ProcessID process;
    };
    [[nodiscard]] Progress progress(pid_t shell) const;

    /// Removes what the start left behind.
    void forget() const;

    /// Removes the files of all starts but those under way.
    static void sweep(const QString &folder, const QStringList &keeping);

private:
    [[nodiscard]] QString script() const;
    [[nodiscard]] QString pidFile() const;

    QString m_folder;
    QString m_token;
};

/// The text of the script.
[[nodiscard]] QByteArray launchScript(AgentKind kind, const QStringList &arguments, const QString &pidFile);

} // namespace Keelhaven
