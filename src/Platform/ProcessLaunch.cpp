#include "Platform/ProcessLaunch.h"

#include <QFileInfo>
#include <QStandardPaths>
#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

QProcessEnvironment ProcessLaunch::environment(const Environment &changes)
{
    auto result = QProcessEnvironment::systemEnvironment();
    for (const auto &[name, value] : changes.asKeyValueRange()) {
        if (value)
            result.insert(name, *value);
        else
            result.remove(name);
    }
    return result;
}

QString ProcessLaunch::executablePath(const QString &program, const Environment &changes)
{
    if (program.contains(u'/'))
        return QFileInfo(program).isExecutable() ? program : QString();
    const auto path = environment(changes).value(u"PATH"_s);
    return QStandardPaths::findExecutable(program, path.split(u':', Qt::SkipEmptyParts));
}

QString ProcessLaunch::missingProgram(const QString &program)
{
    return u"cannot start %1: no such program"_s.arg(program);
}

void ProcessLaunch::leadOwnGroup(pid_t parent)
{
    ::setsid();
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(127);
}

} // namespace Keelhaven
