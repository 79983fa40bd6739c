#include "App/AppModel.h"
#include "App/Commands/CommandTable.h"
#include "App/ControlInstance.h"
#include "App/ControlServer.h"
#include "App/ControlService.h"
#include "App/Doctor.h"
#include "App/QuitSignals.h"
#include "Herdr/HerdrLocator.h"
#include "Notifications/DeepLink.h"
#include "Platform/ChosenSecretStore.h"
#include "Platform/FileSettingsStore.h"
#include "Platform/FreedesktopNotifications.h"
#include "Platform/InotifyDirectoryWatch.h"
#include "Platform/LogindPower.h"
#include "Platform/LogindSleepMonitor.h"
#include "Platform/QtProcessRunner.h"
#include "Platform/SystemClock.h"
#include "Platform/SystemdJobManager.h"
#include "Platform/XdgDesktop.h"
#include "Store/DatabaseOpening.h"

#include <QCoreApplication>
#include <QThreadPool>
#include <cstdio>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Keelhaven;
using namespace Qt::StringLiterals;

namespace {

/// The operating system as this program meets it.
struct Machine
{
    KeelhavenPaths paths = KeelhavenPaths::fromEnvironment();
    SystemClock clock;
    QtProcessRunner processes;
    FileSettingsStore settings{paths.settingsFile()};
    InotifyDirectoryWatchFactory watches;
    MessageBus systemBus{MessageBus::systemAddress(), clock};
    MessageBus sessionBus{MessageBus::sessionAddress(), clock};
    SystemdJobManager jobs{processes, QFileInfo(paths.configDir).path(), wakeCommand()};
    LogindPower power{systemBus, sessionBus};
    FreedesktopNotifications notifications{sessionBus};
    LogindSleepMonitor sleep{systemBus};
    XdgDesktop desktop{processes, settings};
    ClaudeLocator locator{processes, settings, paths.home};
    QString bundledHost = find(u"keelhaven-host"_s, paths);
    QString thumbnailer = find(u"keelhaven-thumbnailer"_s, paths);
    KeyringSecretStore keyring{processes, find(u"keelhaven-secrets"_s, paths)};
    FileSecretStore secretFile{paths.secretsFile()};
    ChosenSecretStore secrets{settings, keyring, secretFile};

    /// Beside the programs in a build tree, among the resources of a package; empty when there is none.
    static QString find(const QString &name, const KeelhavenPaths &paths)
    {
        for (const QString &folder : {QCoreApplication::applicationDirPath(), paths.resourcesDir}) {
            const QFileInfo program(folder + u'/' + name);
            if (program.isFile() && program.isExecutable())
                return program.filePath();
        }
        return {};
    }

    /// Hands the link to the running instance, and is the instance itself where none runs.
    static QStringList wakeCommand()
    {
        return {QCoreApplication::applicationDirPath() + u"/keelhaven-headless"_s,
                u"keelhaven://scheduler/wake"_s};
    }

    /// What the machine's services say of themselves.
    [[nodiscard]] QCoro::Task<QList<DoctorCheck>> services()
    {
        const ServiceStatus job = co_await jobs.examine();
        const ServiceStatus hold = co_await power.examine();
        const ServiceStatus wake = co_await sleep.examine();
        const ServiceStatus shown = co_await notifications.examine();
        co_return QList<DoctorCheck>{{u"wake job"_s, job.ok, job.detail},
                                     {u"keep awake"_s, hold.ok, hold.detail},
                                     {u"after a sleep"_s, wake.ok, wake.detail},
                                     {u"notifications"_s, shown.ok, shown.detail}};
    }

    [[nodiscard]] DoctorServices doctor(HerdrProbe &probe)
    {
        return {.paths = paths,
                .settings = settings,
                .processes = processes,
                .locator = locator,
                .herdr = probe,
                .secrets = secrets,
                .hasBundledHost = !bundledHost.isEmpty(),
                .machine = [this] { return services(); }};
    }
};

int print(const CommandReply &reply)
{
    std::fputs(reply.output.toUtf8().constData(), stdout);
    std::fputs(reply.error.toUtf8().constData(), stderr);
    return static_cast<int>(reply.exit);
}

QCoro::Task<> examineAndQuit(DoctorServices services, bool asJSON)
{
    const auto checks = co_await Doctor::examine(services);
    QCoreApplication::exit(print(Doctor::reply(checks, asJSON, ::isatty(STDOUT_FILENO) != 0)));
}

int runDoctor(bool asJSON)
{
    Machine machine;
    NoHerdrUserService service;
    const auto host = machine.bundledHost.isEmpty() ? std::nullopt : std::optional(machine.bundledHost);
    HerdrLocator locator({machine.paths, machine.settings, machine.processes, machine.locator, machine.clock,
                          service, HerdrInstaller::Layout::forPaths(machine.paths, host, std::nullopt)});
    HerdrProbe probe(locator);
    Tasks tasks;
    tasks.spawn(examineAndQuit(machine.doctor(probe), asJSON), "doctor");
    return QCoreApplication::exec();
}

/// Becomes the plugin's program for Codex's hooks: it asks on the caller's terminal.
int becomeCodexHooks(const ParsedCommand &command)
{
    const auto plugin = KeelhavenPaths::fromEnvironment().bundledPluginRoot();
    if (!plugin)
        return print(CommandReply::refused(u"this installation carries no plugin."_s));
    qputenv("PYTHONPATH", QFile::encodeName(*plugin));
    QList<QByteArray> words{"python3", "-B", "-m", "keelhaven.codex_hooks",
                            command.command->path.endsWith(u"install") ? "install" : "remove"};
    if (command.arguments.isSet(u"yes"))
        words.append("--yes");
    if (command.arguments.wantsJSON())
        words.append("--json");
    std::vector<char *> argv;
    for (QByteArray &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    ::execvp(argv[0], argv.data());
    return print(CommandReply::refused(u"cannot start python3."_s));
}

/// Width of the terminal that standard output is; 0 when it is none.
int terminalColumns()
{
    constexpr int usual = 80;
    winsize size{};
    if (!::isatty(STDOUT_FILENO))
        return 0;
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

int runLocal(const ParsedCommand &command, const QStringList &words)
{
    const auto paths = KeelhavenPaths::fromEnvironment();
    FileSettingsStore settings(paths.settingsFile());
    const ControlCaller caller{words, QDir::currentPath(), terminalColumns(), ::isatty(STDIN_FILENO) != 0};
    return print(command.command->runLocal(command.arguments,
                                           {.caller = caller, .settings = settings, .paths = paths}));
}

/// What can be answered while no instance runs.
int runWithoutInstance(const QStringList &words)
{
    const auto parsed = parseCommandLine(words, commandTable());
    if (const auto *help = std::get_if<HelpText>(&parsed))
        return print({.output = help->text});
    if (const auto *error = std::get_if<UsageError>(&parsed))
        return print({.exit = ExitStatus::WrongUsage, .error = error->message()});
    const auto &command = std::get<ParsedCommand>(parsed);
    if (command.command->kind == CommandKind::Doctor)
        return runDoctor(command.arguments.wantsJSON());
    if (command.command->kind == CommandKind::Local)
        return runLocal(command, words);
    if (command.command->kind == CommandKind::Script)
        return becomeCodexHooks(command);
    return print(
        {.exit = ExitStatus::NoInstance,
         .error =
             u"keelhaven: Keelhaven is not running; start it with \"keelhaven\" or, without a window, \"keelhaven --headless\".\n"_s});
}

/// Another process is the instance: it gets the link, by the same way that a click on one takes.
int handOver(const QString &link)
{
    const QByteArray front = QFile::encodeName(QCoreApplication::applicationDirPath() + u"/keelhaven"_s);
    const QByteArray word = link.toUtf8();
    ::execl(front.constData(), front.constData(), "open", word.constData(), nullptr);
    return print(CommandReply::refused(u"cannot start %1."_s.arg(QFile::decodeName(front))));
}

/// Is the instance until a signal ends it. `link` is what it was started with, or empty.
int runInstance(const QString &link)
{
    Machine machine;
    const auto instance = ControlInstance::claim(machine.paths);
    if (!instance) {
        if (instance.error().kind == ControlInstanceError::Kind::AlreadyRunning && !link.isEmpty())
            return handOver(link);
        return print(CommandReply::refused(instance.error().message()));
    }
    const QuitSignals signalsToQuit([] { QCoreApplication::quit(); });
    const auto model =
        AppModel::create({machine.paths, machine.clock, machine.processes, machine.settings, machine.watches,
                          machine.jobs, machine.power, machine.notifications, machine.sleep, machine.desktop,
                          machine.bundledHost, machine.thumbnailer, machine.secrets});
    if (!model)
        return print(CommandReply::refused(model.error().message()));
    ControlServer server(instance->listener(), machine.clock);
    DoctorServices doctor = machine.doctor((*model)->herdrProbe());
    doctor.instanceDatabase = (*model)->databaseError();
    ControlService service(server, **model, doctor);
    (*model)->start();
    if (!link.isEmpty())
        (*model)->handleDeepLink(link);
    const int status = QCoreApplication::exec();
    (*model)->shutdown();
    service.quit();
    // Whoever still waits is woken, sees that the program ends, and leaves before its services do.
    machine.clock.close();
    machine.processes.close();
    // What comes back from a pool thread may hand it the next piece of work, so this takes some rounds.
    for (int round = 0; round < 10 && (*model)->tasks().running() > 0; ++round) {
        QThreadPool::globalInstance()->waitForDone(200);
        QCoreApplication::sendPostedEvents();
    }
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    ::umask(077);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"keelhaven"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(KEELHAVEN_VERSION));
    QStringList words = QCoreApplication::arguments().mid(1);
    if (words.value(0) == u"--cli"_s)
        return runWithoutInstance(words.mid(1));
    if (words.isEmpty())
        return runInstance({});
    if (words.size() == 1 && DeepLink::parse(words[0]))
        return runInstance(words[0]);
    if (words[0] == u"--help"_s || words[0] == u"--version"_s)
        return runWithoutInstance(words);
    return print(
        {.exit = ExitStatus::WrongUsage,
         .error = UsageError{u"unexpected \"%1\""_s.arg(words[0]), u"keelhaven --help"_s}.message()});
}
