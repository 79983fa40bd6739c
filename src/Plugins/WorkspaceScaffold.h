#pragma once

#include "Contract/JSONValue.h"
#include "Platform/Calendar.h"
#include "Platform/Clock.h"
#include "Platform/Result.h"

#include <QCoroTask>
#include <QUuid>
#include <functional>

namespace Keelhaven {

class ClaudeLocator;

/// Why a workspace could not be written, as a sentence for the user.
struct WorkspaceError
{
    enum class Kind { UnknownMarketplace, OutsideRoot, File };

    Kind kind = Kind::File;
    QString text;

    [[nodiscard]] QString message() const { return text; }
    [[nodiscard]] static WorkspaceError unknownMarketplace(const QString &plugin, const QString &marketplace);
    [[nodiscard]] static WorkspaceError outsideRoot(const QString &path);
};

/// Writes task workspaces: folders outside every project where an agent keeps an archive between runs.
/// Everything in one but "work/" belongs to the program and is rewritten at each launch. The collaborators
/// outlive it.
class WorkspaceScaffold
{
public:
    /// What ensure() did.
    struct Result
    {
        QString dir;
        bool created = false;         ///< there was no readable workspace.json before
        QStringList pluginsToInstall; ///< those the workspace did not have before
    };

    /// What is wanted of a workspace.
    struct Plan
    {
        QString dir;
        QString slug; ///< the agent's
        QString task; ///< the workspace's name within the agent, "shared" for the only one
        QStringList plugins;
        QString brief; ///< the agent's prompt
        QStringList projectFolders;
        std::optional<QUuid> slotID;
    };

    /// Workspaces lie in "KeelhavenWork" below `home`; marketplaces are known from ".claude/plugins" there.
    /// `commands` installs plugins, and has to leave a command the time to fetch one.
    WorkspaceScaffold(Clock &clock, const ClaudeLocator &commands, const QString &home,
                      std::function<Calendar()> calendar = Calendar::current);

    [[nodiscard]] QString root() const { return m_root; }
    void setRoot(const QString &root) { m_root = root; }

    /// Creates the workspace or refreshes it. The workspace and its archive may be links to folders
    /// elsewhere; a link in the place of anything that is written gives way to a file or folder of the
    /// workspace's own.
    [[nodiscard]] Keelhaven::Result<Result, WorkspaceError> ensure(const Plan &plan) const;

    /// Deletes a workspace folder with all it holds, the agent's archive too. Only below `root`, symbolic
    /// links and ".." resolved; the root itself stays.
    [[nodiscard]] Keelhaven::Result<void, WorkspaceError> remove(const QString &dir) const;

    /// Installs plugins at project scope, one after another, by the `claude` that the user's login shell
    /// finds; waits for the calls before it, unless one of those that wait wants the same. A failure, also
    /// that there is none, only shows in `log`.
    [[nodiscard]] QCoro::Task<> installPlugins(QStringList plugins, QString dir,
                                               std::function<void(const QString &line)> log) const;

    /// "known_marketplaces.json" of the folder; empty when missing or unreadable.
    [[nodiscard]] static JSONObject loadKnownMarketplaces(const QString &pluginsDir);

private:
    struct Installs;

    [[nodiscard]] Keelhaven::Result<QByteArray, WorkspaceError> settings(const QStringList &plugins) const;
    [[nodiscard]] JSONObject record(const Plan &plan, JSONObject old) const;

    Clock &m_clock;
    const ClaudeLocator &m_commands;
    QString m_root;
    QString m_pluginsDir;
    std::function<Calendar()> m_calendar;
    std::shared_ptr<Installs> m_installs;
};

} // namespace Keelhaven
