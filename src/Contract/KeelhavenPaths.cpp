#include "Contract/KeelhavenPaths.h"

#include "Platform/Uuid.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// XDG variables count only when they hold an absolute path.
QString xdg(const char *name, const QString &fallback)
{
    const QString value = qEnvironmentVariable(name);
    return value.startsWith(u'/') ? QDir::cleanPath(value) : fallback;
}

/// `share/keelhaven` beside the program's bin folder: the layout of a build tree and of an installed package.
QString resourcesBesideProgram()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + u"/../share/keelhaven"_s);
}

} // namespace

KeelhavenPaths KeelhavenPaths::fromEnvironment()
{
    auto paths = forHome(QDir::homePath());
    paths.appSupportDir = xdg("XDG_DATA_HOME", paths.home + u"/.local/share"_s) + u"/keelhaven"_s;
    paths.configDir = xdg("XDG_CONFIG_HOME", paths.home + u"/.config"_s) + u"/keelhaven"_s;
    const QString runtime = xdg("XDG_RUNTIME_DIR", {});
    paths.runtimeDir = runtime.isEmpty() ? paths.appSupportDir + u"/run"_s : runtime + u"/keelhaven"_s;
    const QString resources = qEnvironmentVariable("KEELHAVEN_RESOURCES");
    paths.resourcesDir = resources.isEmpty() ? resourcesBesideProgram() : resources;
    return paths;
}

KeelhavenPaths KeelhavenPaths::forHome(const QString &home)
{
    KeelhavenPaths paths;
    paths.home = home;
    paths.appSupportDir = home + u"/.local/share/keelhaven"_s;
    paths.configDir = home + u"/.config/keelhaven"_s;
    paths.runtimeDir = paths.appSupportDir + u"/run"_s;
    paths.cacheDir = home + u"/.cache/keelhaven"_s;
    paths.resourcesDir = resourcesBesideProgram();
    return paths;
}

QString KeelhavenPaths::stateFile() const
{
    return cacheDir + u"/state.json"_s;
}
QString KeelhavenPaths::aiFile() const
{
    return cacheDir + u"/ai.json"_s;
}
QString KeelhavenPaths::contextFile() const
{
    return cacheDir + u"/context.json"_s;
}
QString KeelhavenPaths::credentialsFile() const
{
    return cacheDir + u"/credentials.json"_s;
}
QString KeelhavenPaths::eventsFile() const
{
    return cacheDir + u"/events.jsonl"_s;
}
QStringList KeelhavenPaths::allFiles() const
{
    return {stateFile(), aiFile(), contextFile(), credentialsFile(), eventsFile()};
}
QString KeelhavenPaths::codexRunsDir() const
{
    return home + u"/.cache/keelhaven/codex-runs"_s;
}

QString KeelhavenPaths::schedulerDir() const
{
    return appSupportDir + u"/scheduler"_s;
}
QString KeelhavenPaths::slotsFile() const
{
    return schedulerDir() + u"/slots.json"_s;
}
QString KeelhavenPaths::runsDir() const
{
    return appSupportDir + u"/runs"_s;
}
QString KeelhavenPaths::runDir(const QUuid &id) const
{
    return runsDir() + u'/' + uuidText(id);
}
QString KeelhavenPaths::databaseFile() const
{
    return appSupportDir + u"/keelhaven.sqlite"_s;
}
QString KeelhavenPaths::assetsDir() const
{
    return appSupportDir + u"/assets"_s;
}
QString KeelhavenPaths::shipsDir() const
{
    return appSupportDir + u"/ships"_s;
}
QString KeelhavenPaths::shipDir(const QUuid &id) const
{
    return shipsDir() + u'/' + uuidText(id);
}
QString KeelhavenPaths::dispatchDir() const
{
    return appSupportDir + u"/dispatch"_s;
}
QString KeelhavenPaths::herdrRoot() const
{
    return appSupportDir + u"/herdr"_s;
}
QString KeelhavenPaths::secretsFile() const
{
    return appSupportDir + u"/secrets.json"_s;
}

QString KeelhavenPaths::settingsFile() const
{
    return configDir + u"/settings.json"_s;
}
QString KeelhavenPaths::controlSocket() const
{
    return runtimeDir + u"/control.sock"_s;
}
QString KeelhavenPaths::claudeJSON() const
{
    return home + u"/.claude.json"_s;
}
QString KeelhavenPaths::claudeDir() const
{
    return home + u"/.claude"_s;
}
QString KeelhavenPaths::claudeSignInFile() const
{
    return claudeDir() + u"/.credentials.json"_s;
}
QString KeelhavenPaths::launchAgentPlist() const
{
    return home + u"/Library/LaunchAgents/com.keelhaven.scheduler.plist"_s;
}

std::optional<QString> KeelhavenPaths::bundledPluginRoot() const
{
    const QString root = resourcesDir + u"/plugin"_s;
    return QFileInfo(root + u"/keelhaven/app.py"_s).isFile() ? std::optional(root) : std::nullopt;
}

} // namespace Keelhaven
