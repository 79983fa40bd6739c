#include "Platform/ClaudeLocator.h"

#include "Platform/LoginShell.h"
#include "Platform/Shell.h"

#include <QFileInfo>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Without one of these there is no place to look for tools in: a shell that does not know "$PATH" prints it.
bool namesFolder(const QString &path)
{
    const auto folders = path.split(u':');
    return std::ranges::any_of(folders, [](const QString &folder) { return folder.startsWith(u'/'); });
}

} // namespace

ClaudeLocator::ClaudeLocator(ProcessRunner &processes, SettingsStore &settings, QString home,
                             std::chrono::milliseconds limit)
    : m_processes(processes)
    , m_settings(settings)
    , m_home(std::move(home))
    , m_limit(limit)
{}

QCoro::Task<std::optional<QString>> ClaudeLocator::loginShell(QString command) const
{
    ProcessSpec spec;
    spec.program = userShell();
    spec.arguments = LoginShell::arguments(spec.program, command);
    // Profiles that would decorate a terminal see that there is none.
    spec.environment.insert(u"TERM"_s, u"dumb"_s);
    spec.timeout = m_limit;
    auto &processes = m_processes;
    const ProcessResult result = co_await processes.run(spec);
    if (result.kind == ProcessResult::Kind::CannotStart || result.kind == ProcessResult::Kind::TimedOut)
        co_return std::nullopt;
    co_return LoginShell::answer(result.output);
}

QCoro::Task<std::optional<QString>> ClaudeLocator::loginShellPATH(bool forceRefresh) const
{
    if (!forceRefresh) {
        if (const auto cached = cachedPATH())
            co_return cached;
    }
    const auto answer = co_await loginShell(u"echo \"$PATH\""_s);
    m_shellAnswered = answer && namesFolder(*answer);
    if (!m_shellAnswered)
        co_return std::nullopt;
    m_settings.set(u"loginShellPATH"_s, *answer);
    co_return withUserToolDirs(*answer);
}

QCoro::Task<std::optional<QString>> ClaudeLocator::loginShellPATH(QString containing) const
{
    const auto path = co_await loginShellPATH(false);
    if (path && contains(*path, containing))
        co_return path;
    const auto fresh = co_await loginShellPATH(true);
    co_return fresh;
}

std::optional<QString> ClaudeLocator::cachedPATH() const
{
    const QString cached = m_settings.text(u"loginShellPATH"_s).trimmed();
    return cached.isEmpty() ? std::nullopt : std::optional(withUserToolDirs(cached));
}

bool ClaudeLocator::contains(const QString &path, const QString &tool)
{
    return !find(path, tool).isEmpty();
}

QString ClaudeLocator::find(const QString &path, const QString &tool)
{
    for (const QString &folder : path.split(u':', Qt::SkipEmptyParts)) {
        const QFileInfo candidate(folder + u'/' + tool);
        if (candidate.isFile() && candidate.isExecutable())
            return candidate.filePath();
    }
    return {};
}

QString ClaudeLocator::withUserToolDirs(const QString &path) const
{
    QStringList folders = path.split(u':', Qt::SkipEmptyParts);
    QString result = path;
    for (const QString &extra : {m_home + u"/.local/bin"_s, u"/opt/homebrew/bin"_s, u"/usr/local/bin"_s}) {
        if (!folders.contains(extra) && QFileInfo(extra).isDir())
            result += u':' + extra;
    }
    return result;
}

} // namespace Keelhaven
