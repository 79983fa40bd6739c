#pragma once

#include "Herdr/Wire/HerdrParams.h"
#include "Herdr/Wire/HerdrRecords.h"
#include "SessionHost/ProcessReaper.h"
#include "SessionHost/PublicIDs.h"
#include "SessionHost/TmuxControl.h"

namespace Keelhaven {

/// One pane as tmux tells it; ids are tmux's own.
struct PaneRow
{
    QByteArray pane;
    QByteArray window;
    QByteArray session;
    pid_t shell = 0;     ///< its first process
    QByteArray terminal; ///< "/dev/pts/3"
    qint64 activity = 0; ///< second since 1970 of the last output in its window
    QString title;
};

/// Workspaces, tabs and panes: tmux's sessions, windows and panes without the one that keeps the connection.
/// Labels are kept as tmux user options, so a restarted host finds them again. Lives as long as the host;
/// `tmux` and `reaper` outlive it.
class Terminals
{
public:
    Terminals(TmuxControl &tmux, ProcessReaper &reaper);

    [[nodiscard]] QCoro::Task<HostResult<Herdr::WorkspaceList>> workspaces();
    [[nodiscard]] QCoro::Task<HostResult<Herdr::WorkspaceCreated>>
    createWorkspace(Herdr::WorkspaceCreateParams params);
    [[nodiscard]] QCoro::Task<HostResult<Herdr::TabList>> tabs(Herdr::TabListParams params);
    [[nodiscard]] QCoro::Task<HostResult<Herdr::TabCreated>> createTab(Herdr::TabCreateParams params);
    [[nodiscard]] QCoro::Task<HostResult<Herdr::Ack>> renameTab(Herdr::TabRenameParams params);

    /// Closes the tab and ends all that ran in its panes. The last tab takes its workspace along.
    [[nodiscard]] QCoro::Task<HostResult<Herdr::Ack>> closeTab(Herdr::TabTarget params);
    [[nodiscard]] QCoro::Task<HostResult<Herdr::Ack>> closePane(Herdr::PaneTarget params);

    /// Makes the pane the one that is seen, in each client that a person has attached.
    [[nodiscard]] QCoro::Task<HostResult<Herdr::Ack>> focusPane(Herdr::PaneTarget params);

    [[nodiscard]] QCoro::Task<HostResult<Herdr::PaneRead>> read(Herdr::PaneReadParams params);

    /// All panes of all workspaces, by one command.
    [[nodiscard]] QCoro::Task<HostResult<QList<PaneRow>>> panes();

    /// One pane by its public id, or "no_such_pane".
    [[nodiscard]] QCoro::Task<HostResult<PaneRow>> pane(QString id);

    /// Closes all there is, ends what ran in it, and the tmux server with it.
    [[nodiscard]] QCoro::Task<HostResult<void>> closeEverything();

private:
    struct Place
    {
        QByteArray session;
        QByteArray window;
        QByteArray pane;
    };

    QCoro::Task<HostResult<Place>> newSession(QString label, QByteArrayList place);
    QCoro::Task<HostResult<Place>> workspaceForTab(std::optional<QString> id);
    QCoro::Task<HostResult<QList<PaneRow>>> panesOfWindow(QByteArray window);
    QCoro::Task<HostResult<void>> bringForward(Place place);
    QCoro::Task<void> setLabel(IDKind kind, QByteArray target, QString label);
    void endProcesses(const QList<PaneRow> &rows);
    [[nodiscard]] QString id(IDKind kind, const QByteArray &tmuxID) const
    {
        return publicID(kind, tmuxID, m_tmux.epoch());
    }
    [[nodiscard]] std::optional<QByteArray> known(IDKind kind, const QString &id) const
    {
        return tmuxID(kind, id, m_tmux.epoch());
    }

    TmuxControl &m_tmux;
    ProcessReaper &m_reaper;
};

/// The error for an id that names nothing: "no_such_workspace", "no_such_tab" or "no_such_pane".
[[nodiscard]] HerdrFailure noSuch(IDKind kind, const QString &id);

/// `error` with its meaning for a command on this target: tmux's "can't find …" becomes noSuch().
[[nodiscard]] HerdrFailure targetError(const HerdrFailure &error, IDKind kind, const QString &id);

/// The rows that `panes()` asks tmux for, without those of the session `home`; a pane that shows in two
/// sessions counts once.
[[nodiscard]] QList<PaneRow> parsePaneRows(const QByteArray &output, const QByteArray &home);

} // namespace Keelhaven
