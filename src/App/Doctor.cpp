#include "App/Doctor.h"

#include "App/Commands/TextTable.h"
#include "Platform/FileSettingsStore.h"
#include "Platform/Files.h"
#include "Platform/Tasks.h"
#include "Platform/Text.h"
#include "Scheduler/Usage/UsageTexts.h"
#include "Store/SQLite/KeelhavenDatabase.h"

#include <algorithm>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr auto toolLimit = std::chrono::seconds(15);

DoctorCheck good(const QString &name, const QString &detail)
{
    return {name, true, detail};
}

DoctorCheck bad(const QString &name, const QString &detail)
{
    return {name, false, detail};
}

DoctorCheck fatal(const QString &name, const QString &detail)
{
    return {name, false, detail, true};
}

/// The folder, or the nearest one above it that exists: the program makes the rest.
bool canWriteIn(const QString &folder)
{
    QString path = folder;
    while (!QFileInfo::exists(path) && path != u"/"_s)
        path = QFileInfo(path).path();
    return QFileInfo(path).isDir() && ::access(QFile::encodeName(path).constData(), W_OK | X_OK) == 0;
}

DoctorCheck dataFolder(const KeelhavenPaths &paths)
{
    const QString name = u"data folder"_s;
    return canWriteIn(paths.appSupportDir)
               ? good(name, paths.appSupportDir)
               : fatal(name,
                       u"%1 cannot be written: no agent or run can be kept."_s.arg(paths.appSupportDir));
}

DoctorCheck runtimeFolder(const KeelhavenPaths &paths)
{
    const QString name = u"runtime folder"_s;
    if (!canWriteIn(paths.runtimeDir))
        return fatal(name, u"%1 cannot be written: Keelhaven cannot be called from the command line."_s.arg(
                               paths.runtimeDir));
    const QFileInfo info(paths.runtimeDir);
    if (info.exists() && info.ownerId() != ::geteuid())
        return fatal(name,
                     u"%1 belongs to somebody else: Keelhaven does not trust it and does not start."_s.arg(
                         paths.runtimeDir));
    return good(name, paths.runtimeDir);
}

QCoro::Task<DoctorCheck> database(DoctorServices services)
{
    const QString name = u"database"_s;
    const QString path = services.paths.databaseFile();
    const QString cost =
        u" (%1). Journal, tokens and questions go into a temporary database until this is cured."_s;
    if (services.instanceDatabase && *services.instanceDatabase)
        co_return bad(name, u"%1 did not open"_s.arg(path) + cost.arg(**services.instanceDatabase));
    if (!services.instanceDatabase) {
        if (!QFileInfo::exists(path))
            co_return good(name, u"%1 is made at the first start"_s.arg(path));
        if (const auto opened = KeelhavenDatabase::open(path); !opened)
            co_return bad(name, u"%1 does not open"_s.arg(path) + cost.arg(opened.error().message()));
    }
    auto work = [path] { return KeelhavenDatabase::damage(path); };
    const auto damage = co_await onPool(std::move(work));
    if (!damage)
        co_return good(name, path);
    co_return bad(name, u"%1 is damaged (%2): agents or runs may be missing, and changes of them are lost. "
                        "Quit, and put back a copy of it."_s.arg(path, *damage));
}

DoctorCheck settingsFile(const KeelhavenPaths &paths)
{
    const QString name = u"settings"_s;
    const QString path = paths.settingsFile();
    if (const auto fault = FileSettingsStore::faultOf(path))
        return bad(name, *fault + u": nothing that stands in it holds."_s);
    const QFileInfo file(resolvedPath(path));
    if (!canWriteIn(file.path()))
        return bad(name, u"%1 cannot be written: no setting can be changed."_s.arg(file.path()));
    if (const QStringList kept = FileSettingsStore::unreadableOf(path); !kept.isEmpty())
        return bad(
            name,
            u"%1 once was no JSON object, and is kept as %2: what it set is lost until you set it again. "
            "Remove that file then."_s.arg(path, kept.join(u", ")));
    return good(name,
                file.exists() ? path : u"%1 is made with the first change; the defaults hold"_s.arg(path));
}

DoctorCheck plugin(const KeelhavenPaths &paths)
{
    const auto root = paths.bundledPluginRoot();
    return root ? good(u"plugin"_s, *root)
                : bad(u"plugin"_s,
                      u"not found in %1: sessions report no events, so a run ends only by its time limit."_s
                          .arg(paths.resourcesDir));
}

QCoro::Task<ProcessResult> runTool(DoctorServices services, QString path, QString tool, QStringList arguments)
{
    ProcessSpec spec;
    spec.program = ClaudeLocator::find(path, tool);
    spec.arguments = arguments;
    spec.environment.insert(u"PATH"_s, path);
    spec.timeout = toolLimit;
    auto &processes = services.processes;
    const ProcessResult result = co_await processes.run(spec);
    co_return result;
}

/// A check that the tool is on the path and tells its version; `missing` is what its absence costs.
QCoro::Task<DoctorCheck> tool(DoctorServices services, QString path, QString name, QString versionOption,
                              QString missing)
{
    const QString program = ClaudeLocator::find(path, name);
    if (program.isEmpty())
        co_return bad(name, u"not found: "_s + missing);
    const QStringList arguments{versionOption};
    const auto result = co_await runTool(services, path, name, arguments);
    if (!result.succeeded())
        co_return bad(name, u"%1 does not run: %2"_s.arg(program, missing));
    co_return good(name,
                   u"%1 (%2)"_s.arg(firstCharacters(oneLine(QString::fromUtf8(result.output)), 60), program));
}

QCoro::Task<DoctorCheck> signedIn(DoctorServices services, QString path)
{
    const QString name = u"claude sign-in"_s;
    const QStringList arguments{u"auth"_s, u"status"_s, u"--json"_s};
    const auto result = co_await runTool(services, path, u"claude"_s, arguments);
    const auto json = JSONValue::parse(result.output);
    const JSONValue *loggedIn = json ? (*json)[u"loggedIn"] : nullptr;
    if (loggedIn && loggedIn->boolValue() == true)
        co_return good(name, u"signed in"_s);
    co_return bad(
        name,
        u"not signed in: Claude sessions stop at their sign-in screen. Run \"claude\" once and sign in."_s);
}

QCoro::Task<std::optional<UsageSnapshot>> lastMeters(DoctorServices services)
{
    if (services.usage)
        co_return std::optional<UsageSnapshot>(services.usage());
    // Claude Code's file may have tens of megabytes.
    const auto work = [path = services.paths.claudeJSON()] {
        const auto bytes = readFile(path);
        return bytes ? UsageSnapshot::parse(*bytes) : std::nullopt;
    };
    const auto snapshot = co_await onPool(work);
    co_return std::optional<UsageSnapshot>(snapshot);
}

QCoro::Task<DoctorCheck> usageMeters(DoctorServices services)
{
    const QString name = u"usage meters"_s;
    const QString cure = u" \"keelhaven usage --refresh\" asks Claude now."_s;
    const auto snapshot = co_await lastMeters(services);
    if (!snapshot)
        co_return bad(
            name,
            u"nothing is known (~/.claude.json): scheduled runs start even when a limit is near."_s + cure);
    QStringList meters;
    for (const auto &meter : snapshot->meters)
        meters.append(u"%1 %2%"_s.arg(meter.label()).arg(meter.percent));
    const Date now = services.clock.now();
    const QString known = meters.join(u", "_s);
    if (UsageTexts::notice(snapshot, now)) {
        const QString age = snapshot->fetchedAt == distantPast
                                ? u"at a time that is not known"_s
                                : UsageTexts::age(snapshot->fetchedAt, now) + u" ago"_s;
        co_return bad(name, u"%1, read %2: too old, so scheduled runs start even when a limit is near."_s.arg(
                                known, age) +
                                cure);
    }
    co_return good(name, u"%1, read %2 ago"_s.arg(known, UsageTexts::age(snapshot->fetchedAt, now)));
}

QCoro::Task<DoctorCheck> terminalHost(DoctorServices services)
{
    const QString name = u"terminal host"_s;
    const auto health = co_await services.herdr.run();
    if (!health.binary && services.hasBundledHost && !services.instanceDatabase)
        co_return good(name, u"comes with Keelhaven; the first start puts it in place"_s);
    const auto message = health.state.message();
    if (health.state.blocksRuns())
        co_return fatal(name, u"%1 No session can be started."_s.arg(message.value_or(QString())));
    co_return good(name, health.summary().value_or(message.value_or(QString())));
}

QCoro::Task<DoctorCheck> secrets(DoctorServices services)
{
    const QString name = u"secrets"_s;
    const auto place = co_await services.secrets.place();
    const QString reason = place.obstacle ? place.obstacle->message() : QString();
    if (place.isKeyring && place.obstacle)
        co_return bad(
            name,
            u"kept in the keyring, which cannot be used now (%1): messengers cannot be reached. To keep them "
            "in a file from now on: \"keelhaven settings set secretStore file\"."_s.arg(reason));
    if (place.isKeyring)
        co_return good(name,
                       place.isChosen ? u"kept in the keyring"_s : u"the keyring will keep the first one"_s);
    if (place.fileFault)
        co_return bad(name, u"kept in a file that cannot be used (%1): messengers cannot be reached."_s.arg(
                                place.fileFault->message()));
    if (place.isChosen)
        co_return good(name, u"kept in %1, which only you can read"_s.arg(place.file));
    co_return good(name, u"%1 will keep the first one, readable by you only: %2"_s.arg(place.file, reason));
}

} // namespace

QCoro::Task<QList<DoctorCheck>> Doctor::examine(DoctorServices services)
{
    const auto databaseCheck = co_await database(services);
    QList<DoctorCheck> checks{dataFolder(services.paths), runtimeFolder(services.paths), databaseCheck,
                              settingsFile(services.paths)};

    const auto loginPath = co_await services.locator.loginShellPATH(true);
    const QString path =
        loginPath ? *loginPath : services.locator.withUserToolDirs(qEnvironmentVariable("PATH"));
    checks.append(
        loginPath ? good(u"login shell PATH"_s, *loginPath)
                  : bad(u"login shell PATH"_s,
                        u"the login shell tells none: tools are looked for on Keelhaven's own PATH only."_s));

    const auto claude =
        co_await tool(services, path, u"claude"_s, u"--version"_s, u"no Claude agent can run."_s);
    checks.append(claude);
    if (claude.ok) {
        const auto session = co_await signedIn(services, path);
        checks.append(session);
    }
    const auto meters = co_await usageMeters(services);
    checks.append(meters);
    auto codex = co_await tool(services, path, u"codex"_s, u"--version"_s, u"no Codex agent can run."_s);
    codex.isEssential = !codex.ok && !claude.ok;
    checks.append(codex);
    auto tmux = co_await tool(services, path, u"tmux"_s, u"-V"_s,
                              u"the terminal host cannot open a terminal, so no session can be started."_s);
    tmux.isEssential = !tmux.ok;
    checks.append(tmux);
    const auto host = co_await terminalHost(services);
    checks.append(host);
    checks.append(plugin(services.paths));
    const auto python = co_await tool(services, path, u"python3"_s, u"--version"_s,
                                      u"the plugin's hooks cannot report what sessions do."_s);
    checks.append(python);
    const auto secretPlace = co_await secrets(services);
    checks.append(secretPlace);
    if (services.machine) {
        const auto machine = co_await services.machine();
        checks.append(machine);
    }
    co_return checks;
}

CommandReply Doctor::reply(const QList<DoctorCheck> &checks, bool asJSON, bool pretty)
{
    CommandReply reply;
    if (std::ranges::any_of(checks, [](const auto &check) { return !check.ok && check.isEssential; }))
        reply.exit = ExitStatus::Refused;
    if (asJSON) {
        const JSONValue json = JSONCodec<QList<DoctorCheck>>::encode(checks);
        reply.output = QString::fromUtf8(pretty ? json.encodedPretty() : json.encoded()).trimmed() + u'\n';
        return reply;
    }
    qsizetype width = 0;
    for (const auto &check : checks)
        width = std::max(width, check.name.size());
    for (const auto &check : checks)
        reply.output += u"%1 %2  %3\n"_s.arg(check.ok ? u"✓"_s : u"✗"_s, check.name.leftJustified(width),
                                             oneLine(check.detail));
    if (reply.exit == ExitStatus::Refused)
        reply.error = u"keelhaven: Nothing can run on this machine as it is.\n"_s;
    return reply;
}

} // namespace Keelhaven
