#pragma once

#include <QCoroTask>
#include <QMap>
#include <QStringList>
#include <optional>
#include <span>
#include <variant>
#include <vector>

namespace Keelhaven {

/// How an option is written.
enum class OptionForm {
    Flag,   ///< --name
    Switch, ///< --name or --no-name
    Value,  ///< --name VALUE or --name=VALUE
    List    ///< --name VALUE… up to the next option; may be repeated
};

/// One row of a command's option table. The table gives parsing and --help alike.
struct OptionSpec
{
    QStringView name; ///< without the dashes
    OptionForm form = OptionForm::Flag;
    QStringView value = {}; ///< what the help calls the value
    QStringView help;
    /// What is wrong with a value, as the end of a sentence ("is no whole number"); null takes any text.
    std::optional<QString> (*check)(QStringView value) = nullptr;
};

/// The options and the operand a command was called with; all values have passed their checks.
class Arguments
{
public:
    [[nodiscard]] bool has(QStringView option) const { return m_values.contains(option.toString()); }
    /// Flag and Switch: nothing when not given, false for --no-name.
    [[nodiscard]] std::optional<bool> flag(QStringView option) const;
    [[nodiscard]] bool isSet(QStringView option) const { return flag(option).value_or(false); }
    [[nodiscard]] std::optional<QString> value(QStringView option) const;
    [[nodiscard]] std::optional<int> integer(QStringView option) const;
    [[nodiscard]] QStringList values(QStringView option) const { return m_values.value(option.toString()); }
    /// Empty when not given.
    [[nodiscard]] const QString &operand() const { return m_operand; }
    /// Nothing when not given; it may be an empty text.
    [[nodiscard]] const std::optional<QString> &secondOperand() const { return m_secondOperand; }
    [[nodiscard]] bool wantsJSON() const { return has(u"json"); }

private:
    friend class CommandLineParser;
    QMap<QString, QStringList> m_values;
    QString m_operand;
    std::optional<QString> m_secondOperand;
};

struct CommandReply;
struct CommandContext;
struct LocalContext;
struct MachineContext;

/// Where a command is carried out.
enum class CommandKind {
    Plain,   ///< one function of arguments and state
    Local,   ///< needs no more than the settings; works without a running instance
    Task,    ///< takes its time; the caller waits, the instance does not
    Doctor,  ///< looks at the machine; works without a running instance
    Machine, ///< looks at the machine or changes it, and takes its time; works without a running instance
    Watch,   ///< goes on until the caller leaves
    Script   ///< a program of the plugin, run in the caller's own terminal; never reaches the instance
};

/// One row of the command table.
struct CommandSpec
{
    QStringView path; ///< the words that name it: "agents add"
    QStringView summary;
    QStringView operand = {}; ///< what the help calls it; empty for none
    bool isOperandRequired = true;
    QStringView secondOperand = {}; ///< always required
    std::vector<OptionSpec> options;
    CommandKind kind = CommandKind::Plain;
    CommandReply (*run)(const Arguments &, const CommandContext &) = nullptr; ///< of a Plain command
    CommandReply (*runLocal)(const Arguments &, const LocalContext &) = nullptr;
    QCoro::Task<CommandReply> (*runMachine)(Arguments, MachineContext) = nullptr;
    /// Of a Task; what the context refers to outlives the task.
    QCoro::Task<CommandReply> (*runTask)(Arguments, CommandContext) = nullptr;
    /// Of a Task that reads standard input first: what a person at a terminal is told before typing, where
    /// the typed line does not show. Empty for a Task that reads none.
    QStringView inputPrompt = {};
    /// What is wrong with the options taken together, as a sentence.
    std::optional<QString> (*check)(const Arguments &) = nullptr;
    QStringView notes = {}; ///< further lines of its help
    QString (*groupNotes)() =
        nullptr; ///< further lines of the help on its group; on one command of the group
};

/// The words were understood; `command` belongs to the table.
struct ParsedCommand
{
    const CommandSpec *command = nullptr;
    Arguments arguments;
};

/// --help or --version: what to print.
struct HelpText
{
    QString text;
};

/// The words were not understood.
struct UsageError
{
    QString sentence;
    QString help; ///< the command line that explains more

    /// Two lines for standard error.
    [[nodiscard]] QString message() const;
};

using ParsedCommandLine = std::variant<ParsedCommand, HelpText, UsageError>;

/// Exit status of every command.
enum class ExitStatus : int { Done = 0, Refused = 1, WrongUsage = 2, NoInstance = 3 };

/// Reads the words after the program's name.
[[nodiscard]] ParsedCommandLine parseCommandLine(const QStringList &words,
                                                 std::span<const CommandSpec> table);

} // namespace Keelhaven
