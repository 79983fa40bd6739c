#include "App/CommandHelp.h"

#include <algorithm>

namespace Keelhaven::CommandHelp {

using namespace Qt::StringLiterals;

namespace {

struct Line
{
    QString left;
    QString right;
};

QString aligned(const std::vector<Line> &lines)
{
    qsizetype width = 0;
    for (const auto &line : lines)
        width = std::max(width, line.left.size());
    QString text;
    for (const auto &line : lines)
        text += u"  %1  %2\n"_s.arg(line.left, static_cast<int>(-width)).arg(line.right);
    return text;
}

QString commands(std::span<const CommandSpec> table, const QString &prefix)
{
    std::vector<Line> lines;
    for (const auto &command : table) {
        if (command.path.startsWith(prefix))
            lines.push_back({spelled(command), command.summary.toString()});
    }
    return aligned(lines);
}

} // namespace

QString spelled(const OptionSpec &option)
{
    const QString name = option.name.toString();
    switch (option.form) {
    case OptionForm::Flag:
        return u"--"_s + name;
    case OptionForm::Switch:
        return u"--[no-]"_s + name;
    case OptionForm::Value:
        return u"--%1 %2"_s.arg(name, option.value);
    case OptionForm::List:
        return u"--%1 %2…"_s.arg(name, option.value);
    }
    return name;
}

QString spelled(const CommandSpec &command)
{
    if (command.operand.isEmpty())
        return command.path.toString();
    const QString first =
        (command.isOperandRequired ? u"%1 %2"_s : u"%1 [%2]"_s).arg(command.path, command.operand);
    return command.secondOperand.isEmpty() ? first : u"%1 %2"_s.arg(first, command.secondOperand);
}

QString ofAll(std::span<const CommandSpec> table)
{
    return u"Keelhaven schedules, starts and supervises unattended coding-agent sessions.\n\n"
           "Usage:\n"
           "  keelhaven                      Open the window\n"
           "  keelhaven --headless           Run without a window until SIGTERM or SIGINT\n"
           "  keelhaven COMMAND [OPTION…]    Talk to the running Keelhaven\n\n"
           "Commands:\n"_s +
           commands(table, {}) +
           u"\nAGENT and RUN are a full id, the first four or more characters of one, or an agent's exact "
           u"name.\n"
           "Every command takes --json and --help. Exit status: 0 done, 1 refused, 2 wrong usage, 3 "
           "Keelhaven is "
           "not running.\n"_s;
}

QString ofGroup(const QString &group, std::span<const CommandSpec> table)
{
    QString notes;
    for (const auto &command : table) {
        if (command.groupNotes && command.path.startsWith(group + u' '))
            notes += u'\n' + command.groupNotes();
    }
    return u"Usage: keelhaven %1 COMMAND [OPTION…]\n\nCommands:\n"_s.arg(group) +
           commands(table, group + u' ') +
           u"\n\"keelhaven %1 COMMAND --help\" tells the options of one.\n"_s.arg(group) + notes;
}

QString ofCommand(const CommandSpec &command)
{
    std::vector<Line> lines;
    for (const auto &option : command.options)
        lines.push_back({spelled(option), option.help.toString()});
    for (const OptionSpec *option : commonOptions())
        lines.push_back({spelled(*option), option->help.toString()});
    const QString notes = command.notes.isEmpty() ? QString() : u"\n%1\n"_s.arg(command.notes);
    return u"Usage: keelhaven %1 [OPTION…]\n\n%2.\n\nOptions:\n"_s.arg(spelled(command), command.summary) +
           aligned(lines) + notes;
}

} // namespace Keelhaven::CommandHelp
