#include "App/Commands/ServiceCommand.h"

#include "App/Commands/InstallDesktop.h"
#include "App/Commands/InstallManifest.h"
#include "App/Commands/TextTable.h"
#include "App/ControlAddress.h"
#include "Platform/SystemdUserManager.h"

#include <QFileInfo>
#include <unistd.h>

namespace Keelhaven::ServiceCommand {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView lingerHint =
    u"It ends when you log out. On a machine reached by SSH, let it go on with: loginctl "
    "enable-linger";
constexpr QStringView noManager =
    u"No systemd user manager answers here. On a machine reached by SSH, \"loginctl enable-linger\" starts "
    "one that stays; then log in again. Without systemd, run \"keelhaven --headless\" yourself.";

CommandReply notEnabled(const QString &unit, const ProcessResult &call)
{
    const QString reason = QString::fromLocal8Bit(call.errorOutput).trimmed();
    return CommandReply::refused(u"\"systemctl --user enable %1\" was refused%2"_s.arg(
        unit, reason.isEmpty() ? u"."_s : u": "_s + oneLine(reason)));
}

QString manifestFile(const KeelhavenPaths &paths)
{
    return paths.appSupportDir + u"/service.json"_s;
}

QString unitFile(const KeelhavenPaths &paths)
{
    return InstallDesktop::configHome(paths) + u"/systemd/user/"_s + unitName.toString();
}

/// Folders of its own that the caller uses reach the service as well.
QMap<QString, QString> callersFolders()
{
    QMap<QString, QString> environment;
    for (const char *name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "KEELHAVEN_RESOURCES"}) {
        if (const QString value = qEnvironmentVariable(name); !value.isEmpty())
            environment.insert(QString::fromLatin1(name), value);
    }
    return environment;
}

bool instanceRuns(const KeelhavenPaths &paths)
{
    const auto folder = ControlAddress::openFolder(QFile::encodeName(paths.runtimeDir).toStdString());
    return folder && ControlAddress::connectTo(folder);
}

/// The unit as systemd sees it, and whether the user's services outlive a log-out.
struct State
{
    bool hasManager = false;
    bool isEnabled = false;
    bool isActive = false;
    std::optional<bool> lingers; ///< nothing when nobody says
};

QCoro::Task<std::optional<bool>> lingers(ProcessRunner *processes)
{
    ProcessSpec spec;
    spec.program = u"loginctl"_s;
    spec.arguments =
        QStringList{u"show-user"_s, QString::number(::getuid()), u"--property=Linger"_s, u"--value"_s};
    const ProcessResult result = co_await processes->run(spec);
    const QByteArray answer = result.output.trimmed();
    if (!result.succeeded() || (answer != "yes" && answer != "no"))
        co_return std::nullopt;
    co_return answer == "yes";
}

QCoro::Task<State> look(ProcessRunner *processes, KeelhavenPaths paths)
{
    const SystemdUserManager manager(*processes, InstallDesktop::configHome(paths));
    State state;
    state.lingers = co_await lingers(processes);
    state.hasManager = co_await manager.answers();
    if (!state.hasManager)
        co_return state;
    const QString unit = unitName.toString();
    const bool isOurs = co_await manager.owns(unit);
    if (!isOurs)
        co_return state;
    const QStringList askEnabled{u"is-enabled"_s, unit};
    const ProcessResult enabled = co_await manager.call(askEnabled);
    state.isEnabled = enabled.succeeded();
    const QStringList askActive{u"is-active"_s, unit};
    const ProcessResult active = co_await manager.call(askActive);
    state.isActive = active.succeeded();
    co_return state;
}

QString sentence(const State &state, bool isInstalled)
{
    if (!isInstalled)
        return u"The service is not installed."_s;
    if (!state.hasManager)
        return u"The service is installed, but no systemd user manager answers."_s;
    const QString enabled = state.isEnabled ? u"starts with your session"_s : u"does not start by itself"_s;
    return u"The service %1 and %2."_s.arg(enabled, state.isActive ? u"runs"_s : u"does not run now"_s);
}

CommandReply reply(const Arguments &arguments, const MachineContext &context, const State &state,
                   QStringList sentences)
{
    const bool isThere = isInstalled(context.paths);
    if (isThere && state.lingers == false)
        sentences.append(lingerHint.toString());
    if (arguments.wantsJSON()) {
        JSONArray notes;
        for (const QString &each : std::as_const(sentences))
            notes.push_back(each);
        JSONObject json{{u"unit"_s, unitName.toString()}, {u"file"_s, unitFile(context.paths)},
                        {u"installed"_s, isThere},        {u"manager"_s, state.hasManager},
                        {u"enabled"_s, state.isEnabled},  {u"active"_s, state.isActive},
                        {u"notes"_s, std::move(notes)}};
        if (state.lingers)
            json.set(u"linger"_s, *state.lingers);
        return CommandReply::json(json, context.caller);
    }
    QString text;
    for (const QString &each : std::as_const(sentences))
        text += oneLine(each) + u'\n';
    return {.output = text};
}

/// Takes the unit's file away again, with what starts it.
void clear(InstallManifest &manifest, const KeelhavenPaths &paths, QStringList &sentences)
{
    const auto outcome = manifest.remove();
    for (const auto &left : outcome.left)
        sentences.append(u"%1 %2 and stays."_s.arg(left.path, left.reason));
    QFile::remove(QFileInfo(unitFile(paths)).path() + u"/default.target.wants/"_s + unitName.toString());
    if (const auto error = manifest.save())
        sentences.append(*error);
}

/// Has the manager start it, unless a Keelhaven runs already: two cannot.
QCoro::Task<QString> begin(MachineContext context, SystemdUserManager manager, bool wasActive, bool isChanged)
{
    if (wasActive)
        co_return isChanged ? u"The service is changed; what runs now takes it over at its next start."_s
                            : u"The service is installed and runs already."_s;
    if (instanceRuns(context.paths))
        co_return u"The service is installed. A Keelhaven runs already, so it starts with your next session, "
                  u"or when "
                  "that one has quit, with: systemctl --user start %1"_s.arg(unitName);
    const QStringList start{u"start"_s, unitName.toString()};
    const ProcessResult started = co_await manager.call(start);
    co_return started.succeeded()
        ? u"The service is installed and runs: Keelhaven starts with your session from now on."_s
        : u"The service is installed, but does not start; \"journalctl --user -u %1\" says why."_s.arg(
              unitName);
}

} // namespace

bool isInstalled(const KeelhavenPaths &paths)
{
    return QFileInfo::exists(manifestFile(paths)) && QFileInfo::exists(unitFile(paths));
}

QString unitText(const QString &front, const QMap<QString, QString> &environment)
{
    QString text = u"[Unit]\n"
                   "Description=Keelhaven without a window\n"
                   "Documentation=man:keelhaven(1)\n"
                   "StartLimitIntervalSec=600\n"
                   "StartLimitBurst=5\n"
                   "\n"
                   "[Service]\n"
                   "Type=exec\n"
                   "ExecStart=%1 --headless\n"_s.arg(SystemdUserManager::quoted(front));
    for (const auto &[name, value] : environment.asKeyValueRange())
        text += u"Environment="_s + SystemdUserManager::quoted(name + u'=' + value) + u'\n';
    // The terminals of sessions are the session host's to end or to keep, whatever becomes of this process.
    return text + u"Restart=on-failure\n"
                  "RestartSec=5\n"
                  "KillMode=process\n"
                  "\n"
                  "[Install]\n"
                  "WantedBy=default.target\n"_s;
}

QCoro::Task<CommandReply> install(Arguments arguments, MachineContext context)
{
    const SystemdUserManager manager(context.processes, InstallDesktop::configHome(context.paths));
    const QString unit = unitName.toString();
    const bool answers = co_await manager.answers();
    if (!answers)
        co_return CommandReply::refused(noManager.toString());
    const State before = co_await look(&context.processes, context.paths);
    const bool wasInstalled = isInstalled(context.paths);

    InstallManifest manifest(manifestFile(context.paths));
    const QByteArray text = unitText(context.programs + u"/keelhaven"_s, callersFolders()).toUtf8();
    const auto outcome = manifest.write({{.path = unitFile(context.paths), .bytes = text}});
    QStringList sentences;
    for (const auto &left : outcome.left) {
        if (left.isObstacle)
            co_return CommandReply::refused(u"%1 %2."_s.arg(left.path, left.reason));
        sentences.append(u"%1 %2 and stays as it is."_s.arg(left.path, left.reason));
    }
    if (const auto error = manifest.save())
        co_return CommandReply::refused(*error + u'.');
    const QStringList reload{u"daemon-reload"_s};
    co_await manager.call(reload);
    const bool isOurs = co_await manager.owns(unit);
    if (!isOurs) {
        clear(manifest, context.paths, sentences);
        co_await manager.call(reload);
        co_return CommandReply::refused(
            u"The systemd user manager that answers here does not read %1, so nothing was installed."_s.arg(
                manager.folder()));
    }
    const QStringList enable{u"enable"_s, unit};
    const ProcessResult enabled = co_await manager.call(enable);
    if (!enabled.succeeded()) {
        if (!wasInstalled) {
            clear(manifest, context.paths, sentences);
            co_await manager.call(reload);
        }
        co_return notEnabled(unit, enabled);
    }
    const QString started = co_await begin(context, manager, before.isActive, !outcome.written.isEmpty());
    sentences.append(started);
    const State after = co_await look(&context.processes, context.paths);
    co_return reply(arguments, context, after, sentences);
}

QCoro::Task<CommandReply> remove(Arguments arguments, MachineContext context)
{
    const SystemdUserManager manager(context.processes, InstallDesktop::configHome(context.paths));
    const QString unit = unitName.toString();
    InstallManifest manifest(manifestFile(context.paths));
    QStringList sentences;
    if (manifest.isEmpty()) {
        sentences.append(u"The service is not installed."_s);
    } else {
        const bool isOurs = co_await manager.owns(unit);
        if (isOurs) {
            const QStringList disable{u"disable"_s, u"--now"_s, unit};
            co_await manager.call(disable);
        }
        sentences.append(u"The service is removed."_s);
        clear(manifest, context.paths, sentences);
        if (isOurs) {
            const QStringList reload{u"daemon-reload"_s};
            co_await manager.call(reload);
        }
    }
    const State state = co_await look(&context.processes, context.paths);
    co_return reply(arguments, context, state, sentences);
}

QCoro::Task<CommandReply> status(Arguments arguments, MachineContext context)
{
    const State state = co_await look(&context.processes, context.paths);
    QStringList sentences{sentence(state, isInstalled(context.paths))};
    if (!state.hasManager)
        sentences.append(noManager.toString());
    co_return reply(arguments, context, state, sentences);
}

QCoro::Task<ServiceStatus> examine(ProcessRunner *processes, KeelhavenPaths paths)
{
    if (!isInstalled(paths)) {
        const SystemdUserManager manager(*processes, InstallDesktop::configHome(paths));
        const bool answers = co_await manager.answers();
        co_return ServiceStatus{
            true, answers
                      ? u"not installed; \"keelhaven service install\" starts Keelhaven with your session"_s
                      : u"not installed, and no systemd user manager answers here that could run it; "
                        "\"keelhaven --headless\" runs without a window"_s};
    }
    const State state = co_await look(processes, paths);
    const QString found = sentence(state, true);
    if (state.lingers == false)
        co_return ServiceStatus{false, found + u' ' + lingerHint.toString()};
    co_return ServiceStatus{state.isEnabled, found};
}

} // namespace Keelhaven::ServiceCommand
