#include "SessionHost/CommandLine.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Action = HostCommand::Action;

namespace {

QString wrongUsage(const QString &what)
{
    return u"keelhaven-host: %1; see keelhaven-host --help"_s.arg(what);
}

std::optional<Action> actionOf(const QStringList &words)
{
    if (words.isEmpty())
        return Action::Attach;
    if (words == QStringList{u"server"_s})
        return Action::Serve;
    if (words == QStringList{u"server"_s, u"stop"_s})
        return Action::StopServer;
    if (words == QStringList{u"status"_s})
        return Action::Status;
    return std::nullopt;
}

} // namespace

Result<HostCommand, QString> parseHostCommand(const QStringList &arguments)
{
    HostCommand command;
    QStringList words;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (argument == u"--help" || argument == u"-h") {
            command.action = Action::Help;
            return command;
        }
        if (argument == u"--version") {
            command.action = Action::Version;
            return command;
        }
        if (argument == u"--session") {
            if (i + 1 == arguments.size() || arguments[i + 1].isEmpty())
                return failure(wrongUsage(u"--session needs a name"_s));
            command.session = arguments[++i];
        } else if (argument == u"--json") {
            command.asJSON = true;
        } else if (argument == u"--panes") {
            command.closePanes = true;
        } else if (argument.startsWith(u'-')) {
            return failure(wrongUsage(u"unknown option %1"_s.arg(argument)));
        } else {
            words.append(argument);
        }
    }
    const auto action = actionOf(words);
    if (!action)
        return failure(wrongUsage(u"unknown command %1"_s.arg(words.join(u' '))));
    if (command.asJSON && *action != Action::Status)
        return failure(wrongUsage(u"--json belongs to status"_s));
    if (command.closePanes && *action != Action::StopServer)
        return failure(wrongUsage(u"--panes belongs to server stop"_s));
    command.action = *action;
    return command;
}

QString hostHelp()
{
    return uR"(keelhaven-host keeps terminal sessions with coding agents in them.

  keelhaven-host                      show the session in this terminal
  keelhaven-host --session NAME       show the session of that name
  keelhaven-host server               serve until SIGTERM or "server stop"
  keelhaven-host server stop          end the server; its panes go on, and the next server finds them
  keelhaven-host server stop --panes  end the server and everything in its panes
  keelhaven-host status [--json]      tell versions, and whether a server answers

The session is "keelhaven" unless --session or HERDR_SESSION names another. The server listens at
~/.config/herdr/sessions/{session}/herdr.sock, or where HERDR_SOCKET_PATH says.
)"_s;
}

} // namespace Keelhaven
