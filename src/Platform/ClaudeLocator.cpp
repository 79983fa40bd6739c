#include "Platform/ClaudeLocator.h"

#include "Platform/Shell.h"

#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr auto shellTimeout = std::chrono::seconds(5);

QString lastNonEmptyLine(const QByteArray &output)
{
    const auto lines = QString::fromUtf8(output).split(u'\n');
    for (auto line = lines.crbegin(); line != lines.crend(); ++line) {
        if (const QString text = line->trimmed(); !text.isEmpty())
            return text;
    }
    return {};
}

} // namespace

ClaudeLocator::ClaudeLocator(ProcessRunner &processes, SettingsStore &settings, QString home)
    : m_processes(processes)
    , m_settings(settings)
    , m_home(std::move(home))
{}

QCoro::Task<std::optional<QString>> ClaudeLocator::loginShell(QString command) const
{
    ProcessSpec spec;
    spec.program = userShell();
    spec.arguments = QStringList{u"-lc"_s, command};
    spec.timeout = shellTimeout;
    auto &processes = m_processes;
    const ProcessResult result = co_await processes.run(spec);
    if (result.kind == ProcessResult::Kind::CannotStart || result.kind == ProcessResult::Kind::TimedOut)
        co_return std::nullopt;
    co_return lastNonEmptyLine(result.output);
}

QCoro::Task<std::optional<QString>> ClaudeLocator::loginShellPATH(bool forceRefresh) const
{
    if (!forceRefresh) {
        if (const auto cached = cachedPATH())
            co_return cached;
    }
    // Quoted, because fish prints the list with blanks otherwise.
    const auto answer = co_await loginShell(u"echo \"$PATH\""_s);
    if (!answer || answer->isEmpty())
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
