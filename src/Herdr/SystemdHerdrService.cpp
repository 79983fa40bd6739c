#include "Herdr/SystemdHerdrService.h"

#include "Platform/Files.h"

#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

SystemdHerdrService::SystemdHerdrService(ProcessRunner &processes, const KeelhavenPaths &paths)
    : m_manager(processes, QFileInfo(paths.configDir).path())
{}

QString SystemdHerdrService::unitText(const QString &binary, const QMap<QString, QString> &environment)
{
    QString text = u"[Unit]\n"
                   u"Description=Keelhaven terminal sessions\n"
                   u"\n"
                   u"[Service]\n"
                   u"Type=exec\n"
                   u"ExecStart="_s +
                   SystemdUserManager::quoted(binary) + u" server\n"_s;
    for (const auto &[name, value] : environment.asKeyValueRange())
        text += u"Environment="_s + SystemdUserManager::quoted(name + u'=' + value) + u'\n';
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
    const QString unit = unitName.toString();
    const QString file = m_manager.unitFile(unit);
    // Without a user manager nothing is to be written either.
    const bool answers = co_await m_manager.answers();
    if (!answers)
        co_return false;
    const QString text = unitText(binary, environment);
    const auto known = readFile(file);
    if (known && programLine(QString::fromUtf8(*known)) != programLine(text))
        co_await stop();
    if (const auto written = writeFileAtomically(file, text.toUtf8()); !written)
        co_return false;
    const QStringList reload{u"daemon-reload"_s};
    co_await m_manager.call(reload);
    const bool loaded = co_await m_manager.owns(unit);
    if (!loaded)
        co_return false;
    const QStringList begin{u"start"_s, unit};
    const ProcessResult started = co_await m_manager.call(begin);
    co_return started.succeeded();
}

QCoro::Task<> SystemdHerdrService::stop()
{
    const QString unit = unitName.toString();
    const bool isOurs = co_await m_manager.owns(unit);
    if (!isOurs)
        co_return;
    const QStringList end{u"stop"_s, unit};
    co_await m_manager.call(end);
}

} // namespace Keelhaven
