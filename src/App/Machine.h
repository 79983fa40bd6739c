#pragma once

#include "App/Doctor.h"
#include "Herdr/HerdrLocator.h"
#include "Platform/ChosenSecretStore.h"
#include "Platform/FileSettingsStore.h"
#include "Platform/FreedesktopNotifications.h"
#include "Platform/InotifyDirectoryWatch.h"
#include "Platform/LogindPower.h"
#include "Platform/LogindSleepMonitor.h"
#include "Platform/QtChildProcess.h"
#include "Platform/QtHttpClient.h"
#include "Platform/QtProcessRunner.h"
#include "Platform/SystemClock.h"
#include "Platform/SystemdJobManager.h"
#include "Platform/XdgDesktop.h"

namespace Keelhaven {

struct AppEnvironment;

/// The operating system as this program meets it. Needs the application object.
struct Machine
{
    KeelhavenPaths paths = KeelhavenPaths::fromEnvironment();
    SystemClock clock;
    QtProcessRunner processes;
    QtChildProcessFactory children;
    QtHttpClient http;
    FileSettingsStore settings{paths.settingsFile()};
    InotifyDirectoryWatchFactory watches;
    MessageBus systemBus{BusAddress::system(), clock};
    MessageBus sessionBus{BusAddress::session(), clock};
    SystemdJobManager jobs{processes, QFileInfo(paths.configDir).path(), wakeCommand()};
    LogindPower power{systemBus, sessionBus};
    FreedesktopNotifications notifications{sessionBus};
    LogindSleepMonitor sleep{systemBus};
    XdgDesktop desktop{processes, settings};
    ClaudeLocator locator{processes, settings, paths.home};
    QString bundledHost = find(QStringLiteral("keelhaven-host"), paths);
    QString thumbnailer = find(QStringLiteral("keelhaven-thumbnailer"), paths);
    KeyringSecretStore keyring{processes, find(QStringLiteral("keelhaven-secrets"), paths)};
    FileSecretStore secretFile{paths.secretsFile()};
    ChosenSecretStore secrets{settings, keyring, secretFile};

    /// The program `name` beside the programs in a build tree, among the resources of a package; empty when
    /// there is none.
    [[nodiscard]] static QString find(const QString &name, const KeelhavenPaths &paths);
    /// Has the running instance look which agents are due, and becomes the instance where none runs.
    [[nodiscard]] static QStringList wakeCommand();

    /// What the machine's services say of themselves.
    [[nodiscard]] QCoro::Task<QList<DoctorCheck>> services();
    [[nodiscard]] DoctorServices doctor(HerdrProbe &probe);
    [[nodiscard]] AppEnvironment environment();
};

} // namespace Keelhaven
