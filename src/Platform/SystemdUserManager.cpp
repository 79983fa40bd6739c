#include "Platform/SystemdUserManager.h"

#include "Platform/Files.h"

#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

SystemdUserManager::SystemdUserManager(ProcessRunner &processes, const QString &configHome)
    : m_processes(&processes)
    , m_folder(configHome + u"/systemd/user"_s)
{}

QCoro::Task<ProcessResult> SystemdUserManager::call(QStringList words) const
{
    ProcessRunner *const processes = m_processes;
    ProcessSpec spec;
    spec.program = u"systemctl"_s;
    spec.arguments = QStringList{u"--user"_s} + words;
    const ProcessResult result = co_await processes->run(spec);
    co_return result;
}

QCoro::Task<bool> SystemdUserManager::answers() const
{
    ProcessRunner *const processes = m_processes;
    ProcessSpec spec;
    spec.program = u"systemctl"_s;
    spec.arguments = QStringList{u"--user"_s, u"show-environment"_s};
    // One that has stopped would be waited for by whoever asks how things are.
    spec.timeout = std::chrono::seconds(10);
    const ProcessResult result = co_await processes->run(spec);
    co_return result.succeeded();
}

QCoro::Task<std::optional<bool>> SystemdUserManager::lingers() const
{
    ProcessRunner *const processes = m_processes;
    ProcessSpec spec;
    spec.program = u"loginctl"_s;
    spec.arguments = QStringList{u"show-user"_s, QString::number(::getuid()), u"--property=Linger"_s};
    const ProcessResult result = co_await processes->run(spec);
    const QByteArray answer = result.output.trimmed();
    if (!result.succeeded() || (answer != "Linger=yes" && answer != "Linger=no"))
        co_return std::nullopt;
    co_return answer == "Linger=yes";
}

QCoro::Task<bool> SystemdUserManager::owns(QString unit) const
{
    const QString file = unitFile(unit);
    const QStringList words{u"show"_s, u"--property=FragmentPath"_s, u"--value"_s, unit};
    const ProcessResult result = co_await call(words);
    const QString loaded = QString::fromUtf8(result.output).trimmed();
    co_return result.succeeded() && !loaded.isEmpty() && resolvedPath(loaded) == resolvedPath(file);
}

QString SystemdUserManager::quoted(const QString &text)
{
    QString quoted = text;
    quoted.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s).replace(u'%', u"%%"_s).replace(u'\n', u"\\n"_s);
    return u'"' + quoted + u'"';
}

QString SystemdUserManager::quotedArgument(const QString &text)
{
    return quoted(text).replace(u'$', u"$$"_s);
}

} // namespace Keelhaven
