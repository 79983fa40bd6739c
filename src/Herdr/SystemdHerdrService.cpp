#include "Herdr/SystemdHerdrService.h"

#include "Platform/Files.h"

#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// In double quotes as a unit file takes them. "%" starts an expansion there; "$" starts none in a program's
/// path and in the environment, the two places that are quoted here.
QString unitQuoted(const QString &text)
{
    QString quoted = text;
    quoted.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s).replace(u'%', u"%%"_s).replace(u'\n', u"\\n"_s);
    return u'"' + quoted + u'"';
}

QCoro::Task<ProcessResult> systemctl(ProcessRunner *processes, QStringList arguments)
{
    ProcessSpec spec;
    spec.program = u"systemctl"_s;
    spec.arguments = QStringList{u"--user"_s} + arguments;
    const ProcessResult result = co_await processes->run(spec);
    co_return result;
}

/// Whether the unit that the manager knows by this name is the one in `file`.
QCoro::Task<bool> isLoadedFrom(ProcessRunner *processes, QString unit, QString file)
{
    const QStringList ask{u"show"_s, u"--property=FragmentPath"_s, u"--value"_s, unit};
    const ProcessResult result = co_await systemctl(processes, ask);
    const QString loaded = QString::fromUtf8(result.output).trimmed();
    co_return result.succeeded() && !loaded.isEmpty() && resolvedPath(loaded) == resolvedPath(file);
}

} // namespace

SystemdHerdrService::SystemdHerdrService(ProcessRunner &processes, const KeelhavenPaths &paths)
    : m_processes(processes)
    , m_unitFile(QFileInfo(paths.configDir).path() + u"/systemd/user/"_s + unitName.toString())
{}

QString SystemdHerdrService::unitText(const QString &binary, const QMap<QString, QString> &environment)
{
    QString text = u"[Unit]\n"
                   u"Description=Keelhaven terminal sessions\n"
                   u"\n"
                   u"[Service]\n"
                   u"Type=exec\n"
                   u"ExecStart="_s +
                   unitQuoted(binary) + u" server\n"_s;
    for (const auto &[name, value] : environment.asKeyValueRange())
        text += u"Environment="_s + unitQuoted(name + u'=' + value) + u'\n';
    // The sessions' terminals are the server's own to end or to keep.
    return text + u"Restart=no\nKillMode=process\n"_s;
}

QString SystemdHerdrService::programLine(const QString &unitText)
{
    const auto lines = unitText.split(u'\n');
    const auto line =
        std::ranges::find_if(lines, [](const QString &each) { return each.startsWith(u"ExecStart="); });
    return line == lines.end() ? QString() : *line;
}

QCoro::Task<bool> SystemdHerdrService::start(QString binary, QMap<QString, QString> environment)
{
    ProcessRunner *const processes = &m_processes;
    const QString file = m_unitFile;
    const QString unit = unitName.toString();
    // Without a user manager nothing is to be written either.
    const QStringList ask{u"show-environment"_s};
    const ProcessResult manager = co_await systemctl(processes, ask);
    if (!manager.succeeded())
        co_return false;
    const QString text = unitText(binary, environment);
    const auto known = readFile(file);
    if (known && programLine(QString::fromUtf8(*known)) != programLine(text))
        co_await stop();
    if (const auto written = writeFileAtomically(file, text.toUtf8()); !written)
        co_return false;
    const QStringList reload{u"daemon-reload"_s};
    co_await systemctl(processes, reload);
    const bool loaded = co_await isLoadedFrom(processes, unit, file);
    if (!loaded)
        co_return false;
    const QStringList begin{u"start"_s, unit};
    const ProcessResult started = co_await systemctl(processes, begin);
    co_return started.succeeded();
}

QCoro::Task<> SystemdHerdrService::stop()
{
    ProcessRunner *const processes = &m_processes;
    const QString unit = unitName.toString();
    const bool isOurs = co_await isLoadedFrom(processes, unit, m_unitFile);
    if (!isOurs)
        co_return;
    const QStringList end{u"stop"_s, unit};
    co_await systemctl(processes, end);
}

} // namespace Keelhaven
