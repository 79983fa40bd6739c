#include "App/Machine.h"

#include "App/AppModel.h"
#include "App/Commands/SetupCommand.h"

#include <QCoreApplication>

namespace Keelhaven {

using namespace Qt::StringLiterals;

QString Machine::find(const QString &name, const KeelhavenPaths &paths)
{
    for (const QString &folder : {QCoreApplication::applicationDirPath(), paths.resourcesDir}) {
        const QFileInfo program(folder + u'/' + name);
        if (program.isFile() && program.isExecutable())
            return program.filePath();
    }
    return {};
}

QStringList Machine::wakeCommand()
{
    return {QCoreApplication::applicationDirPath() + u"/keelhaven"_s, u"--wake"_s};
}

QCoro::Task<QList<DoctorCheck>> Machine::services()
{
    // Begun together: a bus that has stopped is waited for once, not by each in turn.
    auto asksJob = jobs.examine();
    auto asksHold = power.examine();
    auto asksWake = sleep.examine();
    auto asksShown = notifications.examine();
    auto asksSetup = SetupCommand::examine(&processes, &settings, paths);
    const ServiceStatus job = co_await asksJob;
    const ServiceStatus hold = co_await asksHold;
    const ServiceStatus wake = co_await asksWake;
    const ServiceStatus shown = co_await asksShown;
    const auto setup = co_await asksSetup;
    co_return QList<DoctorCheck>{{u"wake job"_s, job.ok, job.detail},
                                 {u"keep awake"_s, hold.ok, hold.detail},
                                 {u"after a sleep"_s, wake.ok, wake.detail},
                                 {u"notifications"_s, shown.ok, shown.detail}} +
        setup;
}

DoctorServices Machine::doctor(HerdrProbe &probe)
{
    return {.paths = paths,
            .settings = settings,
            .processes = processes,
            .locator = locator,
            .herdr = probe,
            .secrets = secrets,
            .clock = clock,
            .hasBundledHost = !bundledHost.isEmpty(),
            .machine = [this] { return services(); }};
}

AppEnvironment Machine::environment()
{
    return {paths, clock,   processes,   settings,    watches, jobs, power,   notifications,
            sleep, desktop, bundledHost, thumbnailer, secrets, http, children};
}

} // namespace Keelhaven
