#include "Platform/PythonLocator.h"

#include "Platform/Desktop.h"

#include <QFileInfo>
#include <array>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView systemPath = u"/usr/bin:/bin:/usr/sbin:/sbin";
constexpr auto versionLimit = std::chrono::seconds(15);

struct PackageManager
{
    QStringView program;
    QStringView command;
};

constexpr QStringView sudo = u"sudo ";
constexpr std::array packageManagers{
    PackageManager{u"apt-get", u"sudo apt-get install python3 git"},
    PackageManager{u"dnf", u"sudo dnf install python3 git"},
    PackageManager{u"zypper", u"sudo zypper install python3 git"},
    PackageManager{u"pacman", u"sudo pacman -S python git"},
    PackageManager{u"apk", u"sudo apk add python3 git"},
};

} // namespace

PythonLocator::PythonLocator(ProcessRunner &processes, const ClaudeLocator &locator, Desktop &desktop,
                             QString system)
    : m_processes(processes)
    , m_locator(locator)
    , m_desktop(desktop)
    , m_system(std::move(system))
{}

QCoro::Task<std::optional<QString>> PythonLocator::resolve(bool refreshPATH) const
{
    const auto shellPath = co_await m_locator.loginShellPATH(refreshPATH);
    const QString path = shellPath.value_or(systemPath.toString());
    for (const QString &folder : path.split(u':', Qt::SkipEmptyParts)) {
        const QString candidate = folder + u"/python3"_s;
        const QFileInfo info(candidate);
        if (!info.isFile() || !info.isExecutable())
            continue;
        // By whatever way: /bin is often a link to /usr/bin.
        if (info.canonicalFilePath() == QFileInfo(m_system).canonicalFilePath()) {
            const bool isReal = co_await developerToolsInstalled();
            if (!isReal)
                continue;
        }
        co_return candidate;
    }
    co_return std::nullopt;
}

QCoro::Task<bool> PythonLocator::developerToolsInstalled() const
{
    ProcessSpec spec;
    spec.program = m_system;
    spec.arguments = QStringList{u"--version"_s};
    spec.timeout = versionLimit;
    const ProcessResult result = co_await m_processes.run(spec);
    co_return result.succeeded() && !result.output.trimmed().isEmpty();
}

QString PythonLocator::installCommand()
{
    for (const auto &manager : packageManagers) {
        if (ClaudeLocator::contains(systemPath.toString(), manager.program.toString()))
            // Who may do it all needs no leave, and a bare container has no program that would give it.
            return manager.command.toString().sliced(::geteuid() == 0 ? sudo.size() : 0);
    }
    return {};
}

bool PythonLocator::installDeveloperTools() const
{
    const QString command = installCommand();
    if (command.isEmpty())
        return false;
    // The window stays, so that what the package manager said can be read.
    return m_desktop.openTerminal(
        {u"/bin/sh"_s, u"-c"_s,
         command + u"; echo; echo 'Press Enter to close this window.'; read -r answer"_s});
}

} // namespace Keelhaven
