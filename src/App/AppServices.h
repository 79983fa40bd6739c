#pragma once

#include "App/AppModel.h"
#include "App/AppSelection.h"
#include "Assets/AssetStore.h"
#include "Dispatch/DispatchLedger.h"
#include "Herdr/HerdrLauncher.h"
#include "Herdr/HerdrLocator.h"
#include "Herdr/HerdrManager.h"
#include "Herdr/SystemdHerdrService.h"
#include "Journal/JournalIngestor.h"
#include "Mirror/MirrorClient.h"
#include "Mirror/MirrorMonitor.h"
#include "Notifications/NotificationManager.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/KeychainStore.h"
#include "Platform/PythonLocator.h"
#include "Platform/TimeZoneWatch.h"
#include "Plugins/OwnSessionTracking.h"
#include "Plugins/PluginInventoryStore.h"
#include "Plugins/WorkspaceScaffold.h"
#include "Plugins/WorkspaceStore.h"
#include "Scheduler/LaunchdManager.h"
#include "Scheduler/PowerAssertionController.h"
#include "Scheduler/SchedulerEngine.h"
#include "Scheduler/SweepRunner.h"
#include "Scheduler/Usage/ClaudeUsageAPI.h"
#include "Scheduler/Usage/CodexUsageMonitor.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "Setup/SetupChecklist.h"
#include "Setup/UpdateChecker.h"
#include "Ships/WorkItemStore.h"
#include "Store/DatabaseOpening.h"
#include "Store/SharedFileHub.h"

namespace Keelhaven {

/// Every service once, in the order in which they are built; destruction goes the other way.
struct AppModel::Services
{
    Services(const AppEnvironment &env, std::unique_ptr<KeelhavenDatabase> openedDatabase);

    AppEnvironment environment;
    Tasks tasks;
    AppSelection selection;
    KeychainStore keychain;
    SharedFileHub hub;
    MirrorClient mirror;
    MirrorMonitor mirrorMonitor;
    TimeZoneWatch zone;
    NotificationManager notifications;
    PowerAssertionController power;
    ClaudeSignIn claudeSignIn;
    ClaudeUsageAPI claudeUsage;
    UsageMonitor usage;
    ClaudeLocator locator;
    CodexUsageMonitor codexUsage;
    ClaudeLocator pluginCommands; ///< waits for what goes over the network
    PluginInventoryStore pluginInventory;
    OwnSessionTracking ownSessions;
    WorkspaceScaffold workspaces;
    WorkspaceStore workspaceStore;
    URLSessionUpdateTransport updateTransport;
    UpdateChecker updates;
    SystemdHerdrService herdrService;
    HerdrLocator herdrLocator;
    HerdrProbe herdrProbe;
    HerdrManager herdr;
    PythonLocator python;
    SetupChecklist setup;
    TemporaryDatabase temporaryDatabase; ///< where the program's own did not open
    std::unique_ptr<KeelhavenDatabase> database;
    std::unique_ptr<RunPersistence> runStore;
    WorkItemStore workItems;
    AssetStore assets;
    JournalIngestor journal;
    LaunchdManager launchd;
    HerdrLauncher launcher;
    std::unique_ptr<SchedulerEngine> scheduler;
    DispatchLedger dispatch;
    std::unique_ptr<SweepRunner> sweep;
    SharedFileHub::Subscription snapshots;
};

} // namespace Keelhaven
