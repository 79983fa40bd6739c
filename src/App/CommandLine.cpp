#include "App/CommandLine.h"

#include "App/CommandHelp.h"

#include <QCoreApplication>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const OptionSpec helpOption{.name = u"help", .help = u"Show this help"};
const OptionSpec jsonOption{.name = u"json", .help = u"Print JSON"};

bool isOption(const QString &word)
{
    return word.startsWith(u"--"_s) && word.size() > 2;
}

bool asksForHelp(const QString &word)
{
    return word == u"--help"_s || word == u"-h"_s;
}

} // namespace

std::optional<bool> Arguments::flag(QStringView option) const
{
    const auto found = m_values.find(option.toString());
    return found == m_values.end() ? std::nullopt : std::optional(found->value(0) != u"no"_s);
}

std::optional<QString> Arguments::value(QStringView option) const
{
    const auto found = m_values.find(option.toString());
    return found == m_values.end() ? std::nullopt : std::optional(found->value(0));
}

std::optional<int> Arguments::integer(QStringView option) const
{
    const auto text = value(option);
    bool isNumber = false;
    const int number = text ? text->toInt(&isNumber) : 0;
    return isNumber ? std::optional(number) : std::nullopt;
}

QString UsageError::message() const
{
    return u"keelhaven: %1\nTry \"%2\".\n"_s.arg(sentence, help);
}

/// Reads the words behind a command's name by its table.
class CommandLineParser
{
public:
    CommandLineParser(const CommandSpec &command, const QStringList &words)
        : m_command(command)
        , m_words(words)
    {}

    ParsedCommandLine parse()
    {
        bool onlyOperands = false;
        while (m_next < m_words.size()) {
            const QString word = m_words[m_next++];
            if (!onlyOperands && word == u"--"_s)
                onlyOperands = true;
            else if (!onlyOperands && asksForHelp(word))
                return HelpText{CommandHelp::ofCommand(m_command)};
            else if (!onlyOperands && isOption(word))
                takeOption(word.mid(2));
            else if (!onlyOperands && word.startsWith(u'-') && word.size() > 1 && word[1].isLetter())
                m_error = u"unknown option \"%1\""_s.arg(word);
            else
                takeOperand(word);
            if (m_error)
                return usage(*m_error);
        }
        if (!m_command.operand.isEmpty() && m_command.isOperandRequired && m_arguments.m_operand.isEmpty())
            return usage(u"%1 is missing"_s.arg(m_command.operand));
        if (!m_command.secondOperand.isEmpty() && !m_arguments.m_secondOperand)
            return usage(u"%1 is missing"_s.arg(m_command.secondOperand));
        if (m_command.check) {
            if (const auto wrong = m_command.check(m_arguments))
                return usage(*wrong);
        }
        return ParsedCommand{&m_command, m_arguments};
    }

private:
    [[nodiscard]] UsageError usage(const QString &sentence) const
    {
        return {sentence, u"keelhaven %1 --help"_s.arg(m_command.path)};
    }

    [[nodiscard]] const OptionSpec *find(QStringView name) const
    {
        if (name == jsonOption.name)
            return &jsonOption;
        for (const auto &option : m_command.options) {
            if (option.name == name)
                return &option;
        }
        return nullptr;
    }

    void takeOperand(const QString &word)
    {
        const bool isFirst = m_arguments.m_operand.isEmpty();
        if (!isFirst && !m_command.secondOperand.isEmpty() && !m_arguments.m_secondOperand)
            m_arguments.m_secondOperand = word;
        else if (m_command.operand.isEmpty() || !isFirst)
            m_error = u"unexpected \"%1\""_s.arg(word);
        else if (word.isEmpty())
            m_error = u"%1 is empty"_s.arg(m_command.operand);
        else
            m_arguments.m_operand = word;
    }

    void takeOption(const QString &text)
    {
        const qsizetype equals = text.indexOf(u'=');
        const QString name = text.left(equals);
        const auto attached = equals < 0 ? std::nullopt : std::optional(text.mid(equals + 1));
        const OptionSpec *option = find(name);
        bool isOff = false;
        if (!option && name.startsWith(u"no-"_s)) {
            option = find(QStringView(name).mid(3));
            isOff = option && option->form == OptionForm::Switch;
            if (!isOff)
                option = nullptr;
        }
        if (!option) {
            m_error = u"unknown option \"--%1\""_s.arg(name);
            return;
        }
        const QString key = option->name.toString();
        if (option->form != OptionForm::List && m_arguments.m_values.contains(key)) {
            m_error = u"--%1 is given twice"_s.arg(key);
        } else if (option->form == OptionForm::Flag || option->form == OptionForm::Switch) {
            if (attached)
                m_error = u"--%1 takes no value"_s.arg(name);
            m_arguments.m_values.insert(key, {isOff ? u"no"_s : u"yes"_s});
        } else {
            takeValues(*option, attached);
        }
    }

    void takeValues(const OptionSpec &option, const std::optional<QString> &attached)
    {
        QStringList values;
        if (attached)
            values.append(*attached);
        else if (option.form == OptionForm::Value && hasText())
            values.append(m_words[m_next++]);
        while (!attached && option.form == OptionForm::List && hasValue())
            values.append(m_words[m_next++]);
        if (values.isEmpty())
            m_error = u"--%1 needs %2"_s.arg(option.name, option.value);
        for (const QString &value : std::as_const(values)) {
            const auto wrong = option.check ? option.check(value) : std::nullopt;
            if (wrong && !m_error)
                m_error = u"--%1: \"%2\" %3"_s.arg(option.name, value, *wrong);
        }
        m_arguments.m_values[option.name.toString()].append(values);
    }

    /// One value may start with a dash, as prompts and negative numbers do; one that starts with two is
    /// written behind an equals sign.
    [[nodiscard]] bool hasText() const { return m_next < m_words.size() && !isOption(m_words[m_next]); }

    /// A list ends where anything with a dash begins.
    [[nodiscard]] bool hasValue() const
    {
        if (m_next >= m_words.size())
            return false;
        return !m_words[m_next].startsWith(u'-');
    }

    const CommandSpec &m_command;
    const QStringList &m_words;
    qsizetype m_next = 0;
    Arguments m_arguments;
    std::optional<QString> m_error;
};

ParsedCommandLine parseCommandLine(const QStringList &words, std::span<const CommandSpec> table)
{
    QStringList rest = words;
    if (rest.value(0) == u"help"_s) {
        rest.removeFirst();
        rest.append(u"--help"_s);
    }
    if (asksForHelp(rest.value(0)))
        return HelpText{CommandHelp::ofAll(table)};
    if (rest.value(0) == u"--version"_s)
        return HelpText{u"keelhaven %1\n"_s.arg(QCoreApplication::applicationVersion())};
    if (rest.isEmpty())
        return UsageError{u"a command is missing"_s, u"keelhaven --help"_s};

    const QString first = rest.takeFirst();
    bool isGroup = false;
    for (const auto &command : table) {
        const qsizetype blank = command.path.indexOf(u' ');
        if (blank < 0 && command.path == first)
            return CommandLineParser(command, rest).parse();
        if (blank < 0 || command.path.left(blank) != first)
            continue;
        isGroup = true;
        if (command.path.mid(blank + 1) == rest.value(0))
            return CommandLineParser(command, rest.mid(1)).parse();
    }
    if (!isGroup)
        return UsageError{u"unknown command \"%1\""_s.arg(first), u"keelhaven --help"_s};
    if (asksForHelp(rest.value(0)))
        return HelpText{CommandHelp::ofGroup(first, table)};
    const QString help = u"keelhaven %1 --help"_s.arg(first);
    return rest.isEmpty() ? UsageError{u"say what to do with %1"_s.arg(first), help}
                          : UsageError{u"unknown command \"%1 %2\""_s.arg(first, rest.first()), help};
}

std::span<const OptionSpec *const> commonOptions()
{
    static const OptionSpec *const options[] = {&jsonOption, &helpOption};
    return options;
}

} // namespace Keelhaven
