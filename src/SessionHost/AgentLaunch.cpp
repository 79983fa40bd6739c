#include "SessionHost/AgentLaunch.h"

#include "Platform/Files.h"
#include "Platform/Shell.h"
#include "Platform/Uuid.h"

#include <QDir>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Linux takes no single argument above this many bytes, the terminating NUL included.
constexpr qsizetype longestArgument = 128 * 1024 - 1;

} // namespace

AgentLaunch::AgentLaunch(QString folder, QString token)
    : m_folder(std::move(folder))
    , m_token(std::move(token))
{}

QString AgentLaunch::newToken()
{
    return newShortID();
}

QByteArray launchScript(AgentKind kind, const QStringList &arguments, const QString &pidFile)
{
    const AgentKindRules &rules = rulesOf(kind);
    QString script = u"rm -f -- \"$0\"\n"_s;
    script += u"agent=$(command -v %1) || agent=\n"_s.arg(rules.name);
    if (!rules.installHint.isEmpty())
        script +=
            u"[ -n \"$agent\" ] || { [ -x \"$HOME/%1\" ] && agent=\"$HOME/%1\"; }\n"_s.arg(rules.installHint);
    script +=
        u"[ -n \"$agent\" ] || { printf '%s\\n' '%1: command not found on the PATH of this shell' >&2; exit 127; }\n"_s
            .arg(rules.name);
    script += u"printf '%s\\n' \"$$\" > %1\n"_s.arg(shellQuoted(pidFile));
    script += u"exec \"$agent\""_s;
    for (const QString &argument : rules.leading + arguments)
        script += u" \\\n  "_s + shellQuoted(argument);
    return (script + u'\n').toUtf8();
}

HostResult<void> AgentLaunch::prepare(AgentKind kind, const QStringList &arguments) const
{
    for (const QString &argument : arguments) {
        if (argument.contains(QChar::Null))
            return failure(HerdrFailure{u"invalid_request"_s, u"an argument holds a NUL character"_s});
        if (argument.toUtf8().size() > longestArgument)
            return failure(
                HerdrFailure{u"invalid_request"_s, u"an argument is longer than a program can be given"_s});
    }
    const auto written = writeFileAtomically(script(), launchScript(kind, arguments, pidFile()));
    if (!written)
        return failure(HerdrFailure{u"launch_failed"_s, written.error().message()});
    return {};
}

QString AgentLaunch::line() const
{
    return u" /bin/sh "_s + shellQuoted(script());
}

AgentLaunch::Progress AgentLaunch::progress(pid_t shell) const
{
    using Stage = Progress::Stage;
    const auto text = readFile(pidFile());
    // The line feed comes last: without it the number is still being written.
    if (text && text->endsWith('\n')) {
        const auto info = processInfo(text->trimmed().toInt());
        if (info && info->session == shell && info->isRunning())
            return {Stage::Started, info->id};
        return {Stage::Gone, {}};
    }
    return {QFile::exists(script()) ? Stage::Waiting : Stage::Taken, {}};
}

void AgentLaunch::forget() const
{
    QFile::remove(script());
    QFile::remove(pidFile());
}

void AgentLaunch::sweep(const QString &folder, const QStringList &keeping)
{
    QDir dir(folder);
    for (const QString &name : dir.entryList(QDir::Files)) {
        if (!keeping.contains(name.first(std::min<qsizetype>(name.size(), 8))))
            dir.remove(name);
    }
}

QString AgentLaunch::script() const
{
    return m_folder + u'/' + m_token;
}

QString AgentLaunch::pidFile() const
{
    return m_folder + u'/' + m_token + u".pid"_s;
}

} // namespace Keelhaven
