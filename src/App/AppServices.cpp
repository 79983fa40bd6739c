#include "App/AppServices.h"

#include <QCoreApplication>

// How the services are built, and how others reach them.
namespace Keelhaven {

namespace {

HerdrInstaller::Layout herdrLayout(const AppEnvironment &environment)
{
    const auto binary =
        environment.bundledHost.isEmpty() ? std::nullopt : std::optional(environment.bundledHost);
    return HerdrInstaller::Layout::forPaths(environment.paths, binary, std::nullopt);
}

} // namespace

AppModel::Services::Services(const AppEnvironment &env, std::unique_ptr<KeelhavenDatabase> openedDatabase)
    : environment(env)
    , selection(env.settings)
    , keychain(env.secrets)
    , hub(env.paths, env.clock, env.watches, tasks)
    , mirror(env.http)
    , mirrorMonitor(MirrorProbe(env.http, mirror.baseURL()), env.clock, tasks)
    , zone(env.watches)
    , notifications(env.clock, env.settings, env.notifications, Calendar::current)
    , power(env.power, env.settings)
    , claudeSignIn(keychain, env.clock, env.paths.claudeSignInFile())
    , claudeUsage(env.http, claudeSignIn, env.clock)
    , usage(env.clock, tasks, env.paths.claudeJSON())
    , locator(env.processes, env.settings, env.paths.home)
    , codexUsage(locator, env.children, env.clock, tasks)
    , pluginCommands(env.processes, env.settings, env.paths.home, std::chrono::minutes(5))
    , pluginInventory(env.paths.claudeDir(), env.clock, env.watches, tasks)
    , ownSessions(pluginCommands, env.clock)
    , workspaces(env.clock, pluginCommands, env.paths.home)
    , workspaceStore(workspaces.root(), env.clock, env.watches, tasks)
    , updateTransport(env.http)
    , updates({updateTransport, env.settings, env.clock, tasks,
               env.updateEndpoint.value_or(UpdatePlaces::endpoint())},
              QCoreApplication::applicationVersion())
    , herdrService(env.processes, env.paths)
    , herdrLocator(
          {env.paths, env.settings, env.processes, locator, env.clock, herdrService, herdrLayout(env)})
    , herdrProbe(herdrLocator)
    , herdr({herdrLocator, herdrProbe, env.processes, env.clock, tasks, herdrLayout(env)})
    , python(env.processes, locator, env.desktop)
    , setup({env.processes, env.settings, locator, python, env.desktop, env.paths.home})
    , database(std::move(openedDatabase))
    , workItems(*database, env.clock)
    , assets({*database,
              env.clock,
              env.settings,
              tasks,
              {&env.processes, env.thumbnailer},
              env.paths.assetsDir()})
    , journal(*database, env.clock, tasks, env.paths.home, &assets, &workItems)
    , launchd(env.jobs)
    , launcher(herdrLocator.client(std::chrono::seconds(15)), herdrLocator, herdrProbe, env.clock, env.paths)
    , dispatch(DispatchStore(env.paths.dispatchDir()))
{}

AppSelection &AppModel::selection()
{
    return m_services->selection;
}
const SchedulerEngine &AppModel::scheduler() const
{
    return *m_services->scheduler;
}
SweepRunner &AppModel::sweep()
{
    return *m_services->sweep;
}
SchedulerEngine &AppModel::scheduler()
{
    return *m_services->scheduler;
}
JournalIngestor &AppModel::journal()
{
    return m_services->journal;
}
WorkItemStore &AppModel::workItems()
{
    return m_services->workItems;
}
DispatchLedger &AppModel::dispatch()
{
    return m_services->dispatch;
}
AssetStore &AppModel::assets()
{
    return m_services->assets;
}
SharedFileHub &AppModel::hub()
{
    return m_services->hub;
}
HerdrManager &AppModel::herdr()
{
    return m_services->herdr;
}
HerdrProbe &AppModel::herdrProbe()
{
    return m_services->herdrProbe;
}
HerdrLocator &AppModel::herdrLocator()
{
    return m_services->herdrLocator;
}
RunLauncher &AppModel::launcher()
{
    auto *standIn = m_services->environment.launcher;
    return standIn ? *standIn : m_services->launcher;
}
SetupChecklist &AppModel::setup()
{
    return m_services->setup;
}
UpdateChecker &AppModel::updates()
{
    return m_services->updates;
}
KeychainStore &AppModel::keychain()
{
    return m_services->keychain;
}
NotificationManager &AppModel::notifications()
{
    return m_services->notifications;
}
PowerAssertionController &AppModel::power()
{
    return m_services->power;
}
UsageMonitor &AppModel::usage()
{
    return m_services->usage;
}
CodexUsageMonitor &AppModel::codexUsage()
{
    return m_services->codexUsage;
}
SettingsStore &AppModel::settings()
{
    return m_services->environment.settings;
}
ClaudeLocator &AppModel::locator()
{
    return m_services->locator;
}
ChildProcessFactory &AppModel::children()
{
    return m_services->environment.children;
}
Clock &AppModel::clock()
{
    return m_services->environment.clock;
}
Tasks &AppModel::tasks()
{
    return m_services->tasks;
}
const KeelhavenPaths &AppModel::paths() const
{
    return m_services->environment.paths;
}

} // namespace Keelhaven
