#include "SessionHost/HostProgram.h"

#include "Platform/Files.h"
#include "Platform/SystemClock.h"
#include "Platform/SystemLog.h"
#include "SessionHost/HostMethods.h"
#include "SessionHost/HostServer.h"
#include "SessionHost/HostVersion.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

int signalSink = -1;

/// The signals that end the program, as a file to read instead of an interruption. They are caught, not
/// blocked: a blocked signal would stay blocked in every program of every pane.
int stopSignals()
{
    signalSink = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    struct sigaction action = {};
    action.sa_handler = [](int) {
        const uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(signalSink, &one, sizeof one);
    };
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    return signalSink;
}

Result<void, QString> prepareFolders(const HostPaths &paths)
{
    const QString folder = QFileInfo(paths.socket).path();
    for (const QString &each : {folder, paths.launchFolder}) {
        if (auto made = makeFolder(each); !made)
            return failure(made.error().message());
    }
    // A folder that the user chose keeps the mode that it has; the socket itself is closed to others.
    if (paths.isManaged)
        ::chmod(QFile::encodeName(folder).constData(), 0700);
    ::chmod(QFile::encodeName(paths.launchFolder).constData(), 0700);
    return {};
}

QCoro::Task<> openTerminals(TmuxControl &tmux)
{
    const auto opened = co_await tmux.open();
    if (!opened)
        systemLog(u"keelhaven-host: "_s + opened.error().message);
}

} // namespace

int runHost(const HostPaths &paths, mode_t paneMask)
{
    const QString version = hostVersion();
    if (auto prepared = prepareFolders(paths); !prepared) {
        systemLog(u"keelhaven-host: "_s + prepared.error());
        return 1;
    }
    SystemClock clock;
    TmuxControl tmux({paths.tmuxSocket, paneMask}, clock);
    ProcessReaper reaper(clock);
    Terminals terminals(tmux, reaper);
    PaneInput input(tmux, clock);
    AgentRegistry agents(paths, tmux, terminals, input, clock);
    HostMethods methods(terminals, agents, input);
    HostServer server([&](QByteArray line) { return methods.serve(std::move(line)); }, clock, {});
    if (auto listening = server.listen(paths.socket, paths.lockFile); !listening) {
        systemLog(u"keelhaven-host: "_s + listening.error());
        return 1;
    }
    Tasks tasks;
    Timer lastLook;
    Date deadline = distantPast;
    const auto stop = [&] {
        if (deadline != distantPast)
            return;
        server.stopListening();
        deadline = clock.now() + 3s;
        // Answers under way, the one to the stop among them, still go out, and what is asked to end gets its
        // grace.
        lastLook = clock.every(10ms, [&] {
            const bool isDone = server.connectionCount() == 0 && reaper.isDone();
            if (isDone || clock.now() >= deadline)
                QCoreApplication::quit();
        });
    };
    methods.onStop = stop;
    QSocketNotifier signalled(stopSignals(), QSocketNotifier::Read);
    QObject::connect(&signalled, &QSocketNotifier::activated, &server, [&] {
        signalled.setEnabled(false);
        stop();
    });
    systemLog(u"keelhaven-host %1: listening at %2"_s.arg(version, paths.socket));
    tasks.spawn(openTerminals(tmux), "open terminals");
    const int status = QCoreApplication::exec();
    clock.close();
    tmux.close();
    return status;
}

} // namespace Keelhaven
