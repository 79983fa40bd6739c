#include "Scheduler/LaunchctlJobManager.h"

#include "Platform/Files.h"
#include "Scheduler/LaunchdManager.h"

#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

LaunchctlJobManager::LaunchctlJobManager(ProcessRunner &processes, QString folder)
    : m_processes(processes)
    , m_folder(std::move(folder))
{}

QCoro::Task<> LaunchctlJobManager::call(QStringList words) const
{
    auto &processes = m_processes;
    ProcessSpec spec;
    spec.program = u"/bin/launchctl"_s;
    spec.arguments = words;
    co_await processes.run(spec);
}

QCoro::Task<> LaunchctlJobManager::schedule(QString label, QList<CalendarEntry> entries)
{
    const QString file = m_folder + u'/' + label + u".plist"_s;
    const QString domain = u"gui/"_s + QString::number(::getuid());
    const QStringList bootout{u"bootout"_s, domain + u'/' + label};
    const QStringList bootstrap{u"bootstrap"_s, domain, file};
    const auto data = LaunchdManager::plistData(label, entries);
    if (data && !writeFileAtomically(file, *data))
        co_return;
    co_await call(bootout);
    if (data)
        co_await call(bootstrap);
    else
        QFile::remove(file);
}

} // namespace Keelhaven
