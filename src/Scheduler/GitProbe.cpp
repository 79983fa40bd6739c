#include "Scheduler/GitProbe.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

GitProbe::GitProbe(ProcessRunner &processes, const ClaudeLocator &locator)
    : m_processes(processes)
    , m_locator(locator)
{}

QCoro::Task<std::optional<QString>> GitProbe::head(QString cwd, std::chrono::milliseconds timeout) const
{
    const QString path = m_locator.cachedPATH().value_or(qEnvironmentVariable("PATH"));
    ProcessSpec spec;
    spec.program = ClaudeLocator::find(path, u"git"_s);
    if (spec.program.isEmpty())
        co_return std::nullopt;
    spec.arguments = QStringList{u"-C"_s, cwd, u"rev-parse"_s, u"HEAD"_s};
    spec.timeout = timeout;
    // Whoever has one repository in the environment, as a hook or a shell for dotfiles does, would have git
    // look at that one whatever the folder.
    for (const QString &variable :
         {u"GIT_DIR"_s, u"GIT_WORK_TREE"_s, u"GIT_COMMON_DIR"_s, u"GIT_NAMESPACE"_s})
        spec.environment.insert(variable, std::nullopt);
    const ProcessResult result = co_await m_processes.run(spec);
    const QString head = QString::fromUtf8(result.output).trimmed();
    if (!result.succeeded() || head.isEmpty())
        co_return std::nullopt;
    co_return head;
}

bool GitProbe::shouldSkip(const std::optional<QString> &head, const std::optional<QString> &lastHead)
{
    return head && lastHead && *head == *lastHead;
}

} // namespace Keelhaven
