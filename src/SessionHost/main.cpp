#include "SessionHost/Attach.h"
#include "SessionHost/CommandLine.h"
#include "SessionHost/HostClient.h"
#include "SessionHost/HostProgram.h"
#include "SessionHost/HostVersion.h"

#include <QCoreApplication>
#include <cstdio>
#include <sys/stat.h>

using namespace Keelhaven;
using Action = HostCommand::Action;

namespace {

int say(const QString &text)
{
    std::fputs((text.endsWith(u'\n') ? text : text + u'\n').toUtf8().constData(), stdout);
    return 0;
}

int complain(const QString &text, int status)
{
    std::fputs((text + u'\n').toUtf8().constData(), stderr);
    return status;
}

int run(const HostCommand &command, mode_t userMask)
{
    const auto failed = [](const QString &why) {
        return complain(QStringLiteral("keelhaven-host: ") + why, 1);
    };
    if (command.action == Action::Help)
        return say(hostHelp());
    if (command.action == Action::Version)
        return say(hostVersion());
    const auto paths = HostPaths::fromEnvironment(command.session);
    if (!paths)
        return complain(QStringLiteral("keelhaven-host: ") + paths.error(), 2);
    if (command.action == Action::Serve)
        return runHost(*paths, userMask);
    if (command.action == Action::Status)
        return say(command.asJSON ? QString::fromUtf8(hostStatusJSON(*paths)) : hostStatusText(*paths));
    if (command.action == Action::StopServer) {
        const auto stopped = stopHost(*paths, command.closePanes);
        return stopped ? say(*stopped) : failed(stopped.error());
    }
    const auto attached = attachHere(*paths);
    return attached ? *attached : failed(attached.error());
}

} // namespace

int main(int argc, char **argv)
{
    const mode_t userMask = ::umask(077);
    QCoreApplication application(argc, argv);
    const auto command = parseHostCommand(QCoreApplication::arguments().sliced(1));
    return command ? run(*command, userMask) : complain(command.error(), 2);
}
