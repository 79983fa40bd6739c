#include "App/LocalCommands.h"

#include "App/Commands/CommandTable.h"
#include "App/Machine.h"
#include "Platform/PythonLocator.h"
#include "Platform/Tasks.h"
#include "Setup/SetupChecklist.h"

#include <QCoreApplication>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

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

QCoro::Task<> answerAndQuit(const ParsedCommand *command, MachineContext context)
{
    const CommandReply reply = co_await command->command->runMachine(command->arguments, context);
    const int status = print(reply);
    // In the loop, which may not run yet.
    QMetaObject::invokeMethod(qApp, [status] { QCoreApplication::exit(status); }, Qt::QueuedConnection);
}

int runMachine(const ParsedCommand &command, const QStringList &words)
{
    Machine machine;
    const PythonLocator python(machine.processes, machine.locator, machine.desktop);
    SetupChecklist checklist(
        {machine.processes, machine.settings, machine.locator, python, machine.desktop, machine.paths.home});
    const ControlCaller caller{words, QDir::currentPath(), terminalColumns(), ::isatty(STDIN_FILENO) != 0};
    Tasks tasks;
    tasks.spawn(answerAndQuit(&command, {.caller = caller,
                                         .paths = machine.paths,
                                         .clock = machine.clock,
                                         .processes = machine.processes,
                                         .locator = machine.locator,
                                         .checklist = checklist,
                                         .programs = QCoreApplication::applicationDirPath()}),
                "command");
    return QCoreApplication::exec();
}

} // namespace

int print(const CommandReply &reply)
{
    std::fputs(reply.output.toUtf8().constData(), stdout);
    if (reply.listing) {
        for (QByteArray piece; !(piece = reply.listing()).isEmpty();)
            std::fputs(piece.constData(), stdout);
    }
    std::fputs(reply.error.toUtf8().constData(), stderr);
    return static_cast<int>(reply.exit);
}

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
    if (command.command->kind == CommandKind::Machine)
        return runMachine(command, words);
    if (command.command->kind == CommandKind::Script)
        return becomeCodexHooks(command);
    return print(
        {.exit = ExitStatus::NoInstance,
         .error =
             u"keelhaven: Keelhaven is not running; start it with \"keelhaven\" or, without a window, \"keelhaven --headless\".\n"_s});
}

} // namespace Keelhaven
