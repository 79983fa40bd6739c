#include "App/Commands/InstallCompletions.h"

#include "App/CommandHelp.h"
#include "Contract/SettingsCatalog.h"
#include "Platform/Shell.h"
#include "Scheduler/Model/SlotTemplate.h"

#include <algorithm>

namespace Keelhaven::InstallCompletions {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView origin = u"Written by \"keelhaven install\"; the next one writes it anew.";

/// A word that may stand somewhere, and what it means.
struct Word
{
    QString text;
    QString meaning;
};

QString firstWord(const CommandSpec &command)
{
    return command.path.toString().section(u' ', 0, 0);
}

QString secondWord(const CommandSpec &command)
{
    return command.path.toString().section(u' ', 1, 1);
}

/// The groups in order, each with the second words of its commands; empty for a command without a group.
std::vector<std::pair<QString, QList<Word>>> groups(std::span<const CommandSpec> table)
{
    std::vector<std::pair<QString, QList<Word>>> groups;
    for (const auto &command : table) {
        if (groups.empty() || groups.back().first != firstWord(command))
            groups.push_back({firstWord(command), {}});
        if (const QString second = secondWord(command); !second.isEmpty())
            groups.back().second.append({second, command.summary.toString()});
    }
    return groups;
}

QList<Word> firstWords(std::span<const CommandSpec> table)
{
    QList<Word> words;
    for (const auto &[group, seconds] : groups(table)) {
        QStringList names;
        for (const auto &word : seconds)
            names.append(word.text);
        words.append({group, names.join(u", "_s)});
    }
    for (const auto &command : table) {
        for (auto &word : words) {
            if (command.path == word.text)
                word.meaning = command.summary.toString();
        }
    }
    return words;
}

/// Every spelling of the command's options, the common ones included.
QList<std::pair<QString, const OptionSpec *>> spellings(const CommandSpec &command)
{
    QList<std::pair<QString, const OptionSpec *>> list;
    for (const auto &option : command.options) {
        list.append({option.name.toString(), &option});
        if (option.form == OptionForm::Switch)
            list.append({u"no-"_s + option.name.toString(), &option});
    }
    for (const OptionSpec *option : commonOptions())
        list.append({option->name.toString(), option});
    return list;
}

bool takesValue(const OptionSpec &option)
{
    return option.form == OptionForm::Value || option.form == OptionForm::List;
}

/// What the option's value can be, where that is known beforehand.
QStringList choices(const OptionSpec &option)
{
    QStringList words;
    const auto add = [&](const auto &texts) {
        for (const auto text : texts)
            words.append(QStringView(text).toString());
    };
    if (option.name == u"provider")
        add(EnumTexts<AgentProvider>::texts);
    else if (option.name == u"workspace-mode")
        add(EnumTexts<WorkspaceMode>::texts);
    else if (option.name == u"template")
        std::ranges::transform(SlotTemplate::all(), std::back_inserter(words), &SlotTemplate::id);
    return words;
}

/// The options whose values are known beforehand, each once.
QMap<QString, QStringList> optionsWithChoices(std::span<const CommandSpec> table)
{
    QMap<QString, QStringList> found;
    for (const auto &command : table) {
        for (const auto &option : command.options) {
            if (const QStringList words = choices(option); !words.isEmpty())
                found.insert(option.name.toString(), words);
        }
    }
    return found;
}

/// What the first operand can be, where that is known beforehand.
QStringList operands(const CommandSpec &command)
{
    QStringList keys;
    if (command.operand == u"KEY") {
        for (const auto &setting : SettingsCatalog::all())
            keys.append(setting.key.toString());
    }
    return keys;
}

QString texts(const QList<Word> &words)
{
    QStringList list;
    for (const auto &word : words)
        list.append(word.text);
    return list.join(u' ');
}

/// The case of bash's script that tells what may follow the command.
QString bashCase(const CommandSpec &command)
{
    QStringList options;
    QStringList values;
    for (const auto &[name, option] : spellings(command)) {
        options.append(u"--"_s + name);
        if (takesValue(*option))
            values.append(u"--"_s + name);
    }
    const QString form = secondWord(command).isEmpty()
                             ? u"    \"%1 \"*) options='%2' values=' %3 ' words='%4' ;;\n"_s
                             : u"    \"%1\") options='%2' values=' %3 ' words='%4' ;;\n"_s;
    return form.arg(command.path, options.join(u' '), values.join(u' '), operands(command).join(u' '));
}

} // namespace

QByteArray bash(std::span<const CommandSpec> table)
{
    QString script =
        u"# bash completion for keelhaven. %1\n_keelhaven()\n{\n"
        "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
        "    local first=${COMP_WORDS[1]-} second=${COMP_WORDS[2]-} word words= options= values=\n"
        "    COMPREPLY=()\n"
        "    if ((COMP_CWORD == 1)); then\n"
        "        COMPREPLY=($(compgen -W '%2 --headless --help --version' -- \"$cur\"))\n"
        "        return\n"
        "    fi\n"
        "    case $first in\n"_s.arg(origin, texts(firstWords(table)));
    for (const auto &[group, seconds] : groups(table)) {
        if (!seconds.isEmpty())
            script += u"    %1) ((COMP_CWORD == 2)) && words='%2' ;;\n"_s.arg(group, texts(seconds));
    }
    script += u"    esac\n    if [[ $words ]]; then\n"
              "        COMPREPLY=($(compgen -W \"$words --help\" -- \"$cur\"))\n"
              "        return\n"
              "    fi\n"
              "    case \"$first $second\" in\n"_s;
    for (const auto &command : table)
        script += bashCase(command);
    script += u"    esac\n"
              "    if [[ $values == *\" $prev \"* ]]; then\n"
              "        case $prev in\n"_s;
    for (const auto &[name, words] : optionsWithChoices(table).asKeyValueRange())
        script += u"        --%1) words='%2' ;;\n"_s.arg(name, words.join(u' '));
    // Only the first operand is known; behind it comes what the user makes up.
    script += u"        *) words= ;;\n"
              "        esac\n"
              "    else\n"
              "        for word in \"${COMP_WORDS[@]:3:COMP_CWORD-3}\"; do\n"
              "            [[ $word == -* ]] || words=\n"
              "        done\n"
              "    fi\n"
              "    if [[ $cur == -* ]]; then\n"
              "        COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
              "    elif [[ $words ]]; then\n"
              "        COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
              "    else\n"
              "        compopt -o default 2>/dev/null\n"
              "    fi\n"
              "}\n"
              "complete -F _keelhaven keelhaven\n"_s;
    return script.toUtf8();
}

namespace {

/// For "word:meaning" of _describe.
QString described(const Word &word)
{
    return shellQuoted(QString(word.text).replace(u':', u"\\:"_s) + u':' + word.meaning);
}

/// Text inside the brackets of an _arguments entry.
QString bracketed(QString text)
{
    return text.replace(u'\\', u"\\\\"_s).replace(u'[', u"\\["_s).replace(u']', u"\\]"_s);
}

QString zshList(const QList<Word> &words, const QString &what, const QString &indent)
{
    QString text = indent + u"choices=(\n"_s;
    for (const auto &word : words)
        text += indent + u"  %1\n"_s.arg(described(word));
    return text + indent + u")\n"_s + indent + u"_describe %1 choices\n"_s.arg(what);
}

QString zshArguments(const CommandSpec &command, const QString &indent)
{
    QString text = indent + u"_arguments \\\n"_s;
    for (const auto &[name, option] : spellings(command)) {
        QString entry = option->form == OptionForm::List ? u"*"_s : QString();
        entry += u"--%1[%2]"_s.arg(name, bracketed(option->help.toString()));
        const QStringList words = choices(*option);
        if (takesValue(*option))
            entry += u":%1:%2"_s.arg(QString(option->value.toString()).replace(u':', u"\\:"_s),
                                     words.isEmpty() ? u"_files"_s : u"(%1)"_s.arg(words.join(u' ')));
        text += indent + u"  %1 \\\n"_s.arg(shellQuoted(entry));
    }
    const QStringList keys = operands(command);
    if (!keys.isEmpty())
        return text + indent + u"  '1:%1:(%2)' '2:VALUE:_files'\n"_s.arg(command.operand, keys.join(u' '));
    return text + indent +
           (command.operand.isEmpty() ? u"  ':'\n"_s : u"  '*:%1:_files'\n"_s.arg(command.operand));
}

QString zshCommand(const CommandSpec &command, const QString &pattern, const QString &indent)
{
    return indent + pattern + u")\n"_s + zshArguments(command, indent + u"  "_s) + indent + u"  ;;\n"_s;
}

} // namespace

QByteArray zsh(std::span<const CommandSpec> table)
{
    QString script = u"#compdef keelhaven\n# zsh completion for keelhaven. %1\n\n"
                     "local -a choices\n"
                     "if (( CURRENT == 2 )); then\n"_s.arg(origin);
    script += zshList(firstWords(table), u"command"_s, u"  "_s);
    script += u"  return\nfi\nshift words\n(( CURRENT-- ))\ncase $words[1] in\n"_s;
    for (const auto &[group, seconds] : groups(table)) {
        if (seconds.isEmpty()) {
            for (const auto &command : table) {
                if (command.path == group)
                    script += zshCommand(command, group, u"  "_s);
            }
            continue;
        }
        script += u"  %1)\n    if (( CURRENT == 2 )); then\n"_s.arg(group);
        script += zshList(seconds, u"command"_s, u"      "_s);
        script += u"      return\n    fi\n    shift words\n    (( CURRENT-- ))\n    case $words[1] in\n"_s;
        for (const auto &command : table) {
            if (firstWord(command) == group)
                script += zshCommand(command, secondWord(command), u"      "_s);
        }
        script += u"    esac\n    ;;\n"_s;
    }
    return (script + u"esac\n"_s).toUtf8();
}

QByteArray fish(std::span<const CommandSpec> table)
{
    QString script = u"# fish completion for keelhaven. %1\n\n"
                     "# The words after the program's name begin with these.\n"
                     "function __keelhaven_in\n"
                     "    set -l words (commandline -opc)\n"
                     "    set -e words[1]\n"
                     "    test (count $words) -ge (count $argv); or return 1\n"
                     "    set -l head $words[1..(count $argv)]\n"
                     "    test \"$head\" = \"$argv\"\n"
                     "end\n\n"
                     "# They are these and no more.\n"
                     "function __keelhaven_at\n"
                     "    set -l words (commandline -opc)\n"
                     "    set -e words[1]\n"
                     "    test \"$words\" = \"$argv\"\n"
                     "end\n\n"
                     "complete -c keelhaven -n __keelhaven_at -f\n"_s.arg(origin);
    const auto offer = [&](const QString &condition, const Word &word) {
        script += u"complete -c keelhaven -n %1 -f -a %2 -d %3\n"_s.arg(
            shellQuoted(condition), shellQuoted(word.text), shellQuoted(word.meaning));
    };
    for (const auto &word : firstWords(table))
        offer(u"__keelhaven_at"_s, word);
    for (const auto &[group, seconds] : groups(table)) {
        for (const auto &word : seconds)
            offer(u"__keelhaven_at "_s + group, word);
    }
    for (const auto &command : table) {
        const QString condition = shellQuoted(u"__keelhaven_in "_s + command.path.toString());
        for (const auto &[name, option] : spellings(command)) {
            const QStringList words = choices(*option);
            const QString value = words.isEmpty() ? u" -r"_s : u" -x -a "_s + shellQuoted(words.join(u' '));
            script += u"complete -c keelhaven -n %1 -l %2%3 -d %4\n"_s.arg(
                condition, name, takesValue(*option) ? value : QString(),
                shellQuoted(option->help.toString()));
        }
        if (const QStringList keys = operands(command); !keys.isEmpty())
            script += u"complete -c keelhaven -n %1 -f -a %2\n"_s.arg(
                shellQuoted(u"__keelhaven_at "_s + command.path.toString()), shellQuoted(keys.join(u' ')));
    }
    return script.toUtf8();
}

} // namespace Keelhaven::InstallCompletions
