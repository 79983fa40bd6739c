#include "SessionHost/PaneEnvironment.h"

#include "Platform/Shell.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

QProcessEnvironment paneEnvironment()
{
    static const QStringList marks{u"TMUX"_s,
                                   u"TMUX_PANE"_s,
                                   u"CLAUDECODE"_s,
                                   u"CLAUDE_CODE_ENTRYPOINT"_s,
                                   u"CLAUDE_CODE_SSE_PORT"_s,
                                   u"CLAUDE_CODE_SESSION_ID"_s,
                                   u"CLAUDE_PID"_s,
                                   u"CLAUDE_PROJECT_DIR"_s,
                                   u"CLAUDE_PLUGIN_ROOT"_s,
                                   u"CLAUDE_PLUGIN_DATA"_s,
                                   u"NOTIFY_SOCKET"_s,
                                   u"INVOCATION_ID"_s,
                                   u"JOURNAL_STREAM"_s,
                                   u"MANAGERPID"_s,
                                   u"KEELHAVEN_RUN_ID"_s,
                                   u"KEELHAVEN_RUN_DIR"_s,
                                   u"KEELHAVEN_PROTECTED_ROOTS"_s,
                                   u"KEELHAVEN_PROTECTED_ROOTS_JSON"_s,
                                   u"KEELHAVEN_NO_BROWSER"_s,
                                   u"OLDPWD"_s,
                                   u"SHLVL"_s,
                                   u"COLUMNS"_s,
                                   u"LINES"_s};
    auto environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name : environment.keys()) {
        if (marks.contains(name) || name.startsWith(u"HERDR_"))
            environment.remove(name);
    }
    environment.insert(u"SHELL"_s, userShell());
    if (!environment.contains(u"TERM"_s))
        environment.insert(u"TERM"_s, u"xterm-256color"_s);
    // Programs that draw boxes need a UTF-8 locale; services often start without any.
    if (!environment.contains(u"LANG"_s) && !environment.contains(u"LC_ALL"_s))
        environment.insert(u"LANG"_s, u"C.UTF-8"_s);
    return environment;
}

} // namespace Keelhaven
