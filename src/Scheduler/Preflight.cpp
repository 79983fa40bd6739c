#include "Scheduler/Preflight.h"

#include "Platform/Shell.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

Preflight::Preflight(ProcessRunner &processes, const ClaudeLocator &locator)
    : m_processes(processes)
    , m_locator(locator)
{}

QCoro::Task<Preflight::Result> Preflight::run(QString command, std::chrono::milliseconds timeout) const
{
    ProcessSpec spec;
    spec.program = userShell();
    spec.arguments = loginShellArguments(spec.program, command);
    spec.errors = ProcessSpec::Errors::Merge;
    spec.timeout = timeout;
    if (const auto path = m_locator.cachedPATH())
        spec.environment.insert(u"PATH"_s, *path);
    const ProcessResult process = co_await m_processes.run(spec);

    Result result;
    switch (process.kind) {
    case ProcessResult::Kind::CannotStart:
        result.output = process.error;
        break;
    case ProcessResult::Kind::TimedOut:
        result.output = u"timed out"_s;
        result.timedOut = true;
        break;
    case ProcessResult::Kind::Crashed:
        result.output = QString::fromUtf8(process.output);
        break;
    case ProcessResult::Kind::Exited:
        result.exitCode = process.exitCode;
        result.output = QString::fromUtf8(process.output);
        break;
    }
    co_return result;
}

} // namespace Keelhaven
