#include "SessionHost/Attach.h"

#include "SessionHost/HostClient.h"
#include "SessionHost/PaneEnvironment.h"
#include "SessionHost/TmuxControl.h"

#include <QProcess>
#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// The workspace that was brought forward last, else the one that was used last, else the home session.
QByteArray sessionToShow(const QString &tmuxSocket)
{
    QProcess list;
    list.setProcessEnvironment(paneEnvironment());
    list.start(u"tmux"_s,
               {u"-u"_s, u"-S"_s, tmuxSocket, u"-f"_s, u"/dev/null"_s, u"-N"_s, u"list-sessions"_s, u"-F"_s,
                u"#{session_id}\t#{session_activity}\t#{@keelhaven_focus}\t#{session_name}"_s});
    list.waitForFinished(5000);
    QByteArray best = "="_ba + TmuxControl::homeName;
    qint64 latest = -1;
    for (const QByteArray &line : list.readAllStandardOutput().split('\n')) {
        const auto fields = line.split('\t');
        if (fields.size() < 4 || fields[3] == TmuxControl::homeName)
            continue;
        if (fields[0] == fields[2])
            return fields[0];
        if (const qint64 used = fields[1].toLongLong(); used > latest) {
            latest = used;
            best = fields[0];
        }
    }
    return best;
}

/// Waits for the child to end. When it stops itself, this process stops too, so that the shell around gets
/// the terminal back, and wakes it on being continued.
int waitForClient(pid_t client)
{
    int status = 0;
    while (true) {
        if (::waitpid(client, &status, WUNTRACED) < 0) {
            if (errno == EINTR)
                continue;
            return 1;
        }
        if (!WIFSTOPPED(status))
            return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
        ::raise(SIGSTOP);
        ::kill(client, SIGCONT);
    }
}

} // namespace

Result<int, QString> attachHere(const HostPaths &paths)
{
    if (!::isatty(STDIN_FILENO) || !::isatty(STDOUT_FILENO))
        return failure(u"the session can only be shown in a terminal"_s);
    if (qEnvironmentVariable("TMUX").startsWith(paths.tmuxSocket + u','))
        return failure(u"this terminal is already inside the session"_s);
    if (auto host = ensureHost(paths); !host)
        return failure(host.error());
    qunsetenv("TMUX");
    qunsetenv("TMUX_PANE");
    const QByteArray socket = QFile::encodeName(paths.tmuxSocket);
    const QByteArray target = sessionToShow(paths.tmuxSocket);
    const char *const arguments[] = {"tmux", "-u",
                                     "-S",   socket.constData(),
                                     "-f",   "/dev/null",
                                     "-N",   "attach-session",
                                     "-t",   target.constData(),
                                     nullptr};
    const pid_t client = ::fork();
    if (client < 0)
        return failure(u"cannot start tmux"_s);
    if (client == 0) {
        ::execvp("tmux", const_cast<char *const *>(arguments));
        ::_exit(127);
    }
    // Keys belong to the client, which reads them raw; these arrive only from outside the terminal.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGQUIT, SIG_IGN);
    return waitForClient(client);
}

} // namespace Keelhaven
