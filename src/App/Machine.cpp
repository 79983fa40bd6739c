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
    return {QCoreApplication::applicationDirPath() + u"/keelhaven-headless"_s,
            u"keelhaven://scheduler/wake"_s};
}

QCoro::Task<QList<DoctorCheck>> Machine::services()
{
    const ServiceStatus job = co_await jobs.examine();
    const ServiceStatus hold = co_await power.examine();
    const ServiceStatus wake = co_await sleep.examine();
    const ServiceStatus shown = co_await notifications.examine();
    const auto setup = co_await SetupCommand::examine(&processes, &settings, paths);
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
