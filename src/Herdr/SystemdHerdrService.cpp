#include "Herdr/SystemdHerdrService.h"

#include "Platform/Files.h"

#include <QFile>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// In double quotes as a unit file takes them; "%" and "$" start expansions there.
QString unitQuoted(const QString &text, bool isCommand)
{
    QString quoted = text;
    quoted.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s).replace(u'%', u"%%"_s).replace(u'\n', u"\\n"_s);
    if (isCommand)
        quoted.replace(u'$', u"$$"_s);
    return u'"' + quoted + u'"';
}

QCoro::Task<bool> systemctl(ProcessRunner *processes, QStringList arguments)
{
    ProcessSpec spec;
    spec.program = u"systemctl"_s;
    spec.arguments = QStringList{u"--user"_s} + arguments;
    const ProcessResult result = co_await processes->run(spec);
    co_return result.succeeded();
}

} // namespace

SystemdHerdrService::SystemdHerdrService(ProcessRunner &processes, QString unitDir)
    : m_processes(processes)
    , m_unitFile(std::move(unitDir) + u'/' + unitName.toString())
{}

QString SystemdHerdrService::unitText(const QString &binary, const QMap<QString, QString> &environment)
{
    QString text = u"[Unit]\n"
                   u"Description=Keelhaven terminal sessions\n"
                   u"\n"
                   u"[Service]\n"
                   u"Type=exec\n"
                   u"ExecStart="_s +
                   unitQuoted(binary, true) + u" server\n"_s;
    for (const auto &[name, value] : environment.asKeyValueRange())
        text += u"Environment="_s + unitQuoted(name + u'=' + value, false) + u'\n';
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
    const bool hasManager = co_await systemctl(processes, ask);
    if (!hasManager)
        co_return false;
    const QString text = unitText(binary, environment);
    const auto loaded = readFile(file);
    if (loaded && programLine(QString::fromUtf8(*loaded)) != programLine(text)) {
        const QStringList end{u"stop"_s, unit};
        co_await systemctl(processes, end);
    }
    if (const auto written = writeFileAtomically(file, text.toUtf8()); !written)
        co_return false;
    const QStringList reload{u"daemon-reload"_s};
    co_await systemctl(processes, reload);
    const QStringList begin{u"start"_s, unit};
    const bool started = co_await systemctl(processes, begin);
    co_return started;
}

QCoro::Task<> SystemdHerdrService::stop()
{
    const QStringList end{u"stop"_s, unitName.toString()};
    co_await systemctl(&m_processes, end);
}

} // namespace Keelhaven
