#include "App/Commands/InstallManPage.h"

#include "App/CommandHelp.h"

namespace Keelhaven::InstallManPage {

using namespace Qt::StringLiterals;

namespace {

QString entry(const OptionSpec &option)
{
    return u".TP\n\\fB%1\\fR\n%2.\n"_s.arg(escaped(CommandHelp::spelled(option)),
                                           escaped(option.help.toString()));
}

QString entry(const CommandSpec &command)
{
    QString text = u".TP\n\\fBkeelhaven %1\\fR\n%2.\n"_s.arg(escaped(CommandHelp::spelled(command)),
                                                             escaped(command.summary.toString()));
    if (!command.notes.isEmpty())
        text += escaped(command.notes.toString()) + u'\n';
    if (command.options.empty())
        return text;
    text += u".RS\n"_s;
    for (const auto &option : command.options)
        text += entry(option);
    return text + u".RE\n"_s;
}

} // namespace

QString escaped(const QString &text)
{
    QString result = text;
    result.replace(u'\\', u"\\e"_s).replace(u'-', u"\\-"_s);
    QStringList lines = result.split(u'\n');
    for (QString &line : lines) {
        if (line.startsWith(u'.') || line.startsWith(u'\''))
            line.prepend(u"\\&"_s);
    }
    return lines.join(u'\n');
}

QByteArray page(const QByteArray &frame, std::span<const CommandSpec> table, const QString &version)
{
    QString commands;
    QString notes;
    for (const auto &command : table) {
        commands += entry(command);
        if (command.groupNotes)
            notes += u".PP\n.nf\n%1.fi\n"_s.arg(escaped(command.groupNotes()));
    }
    return QString::fromUtf8(frame)
        .replace(u"@VERSION@"_s, escaped(version))
        .replace(u"@COMMANDS@\n"_s, commands + notes)
        .toUtf8();
}

} // namespace Keelhaven::InstallManPage
