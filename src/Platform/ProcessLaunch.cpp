#include "Platform/ProcessLaunch.h"

#include <QFileInfo>
#include <QStandardPaths>
#include <csignal>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// What this process had; unset while it still has it.
std::optional<rlimit> withheldCoreLimit;

/// A system call and nothing else.
void limitCoreFiles(rlim_t bytes)
{
    const rlimit limit{bytes, withheldCoreLimit->rlim_max};
    ::setrlimit(RLIMIT_CORE, &limit);
}

} // namespace

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

void ProcessLaunch::withholdCoreFiles()
{
    rlimit limit = {};
    if (withheldCoreLimit || ::getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    withheldCoreLimit = limit;
    limitCoreFiles(0);
}

ProcessLaunch::CoreLimitGivenBack::CoreLimitGivenBack()
{
    if (withheldCoreLimit)
        limitCoreFiles(withheldCoreLimit->rlim_cur);
}

ProcessLaunch::CoreLimitGivenBack::~CoreLimitGivenBack()
{
    if (withheldCoreLimit)
        limitCoreFiles(0);
}

void ProcessLaunch::leadOwnGroup(pid_t parent)
{
    if (withheldCoreLimit)
        limitCoreFiles(withheldCoreLimit->rlim_cur);
    ::setsid();
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(127);
}

} // namespace Keelhaven
