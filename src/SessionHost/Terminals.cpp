#include "SessionHost/Terminals.h"

#include "SessionHost/TmuxWords.h"

#include <QRegularExpression>
#include <QSet>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

// Two names: a window without an option of its own shows its session's.
constexpr const char *workspaceOption = "@keelhaven_workspace";
constexpr const char *tabOption = "@keelhaven_tab";
constexpr const char *placeFormat = "#{session_id}\t#{window_id}\t#{pane_id}";
constexpr const char *rowFormat =
    "#{pane_id}\t#{window_id}\t#{session_id}\t#{pane_pid}\t#{pane_tty}\t#{window_activity}\t#{pane_title}";

/// Stands for an empty label: tmux shows an empty option like one that is not set. No label is packed to it.
constexpr const char *emptyLabel = "%";

/// Options may hold anything; percent signs keep a label on one line and out of tmux's expansions.
QByteArray packed(const QString &label)
{
    return label.isEmpty() ? QByteArray(emptyLabel) : label.toUtf8().toPercentEncoding();
}

QString unpacked(const QByteArray &option, const QByteArray &fallback)
{
    if (option == emptyLabel)
        return {};
    return QString::fromUtf8(option.isEmpty() ? fallback : QByteArray::fromPercentEncoding(option));
}

HerdrFailure invalid(const QString &message)
{
    return HerdrFailure{u"invalid_request"_s, message};
}

/// tmux starts a pane elsewhere without a word when its folder is missing.
HostResult<QString> checkedFolder(const std::optional<QString> &cwd)
{
    const QString folder = cwd.value_or(QString()).isEmpty() ? QDir::homePath() : *cwd;
    if (!folder.startsWith(u'/'))
        return failure(invalid(u"cwd must be an absolute path: %1"_s.arg(folder)));
    if (!QFileInfo(folder).isDir())
        return failure(HerdrFailure{u"no_such_directory"_s, u"there is no directory %1"_s.arg(folder)});
    return folder;
}

/// "-e", "K=V" for each variable.
HostResult<QByteArrayList> environmentWords(const std::optional<QMap<QString, QString>> &environment)
{
    static const QRegularExpression name(u"^[A-Za-z_][A-Za-z0-9_]*$"_s);
    QByteArrayList words;
    if (!environment)
        return words;
    for (const auto &[key, value] : environment->asKeyValueRange()) {
        if (!name.match(key).hasMatch() || value.contains(QChar::Null))
            return failure(invalid(u"%1 is no environment variable that a program can be given"_s.arg(key)));
        words << "-e"_ba << (key + u'=' + value).toUtf8();
    }
    return words;
}

/// What is common to a new session and a new window: name, folder, environment.
HostResult<QByteArrayList> placeWords(const QString &tabLabel, const std::optional<QString> &cwd,
                                      const std::optional<QMap<QString, QString>> &environment)
{
    const auto folder = checkedFolder(cwd);
    if (!folder)
        return failure(folder.error());
    const auto variables = environmentWords(environment);
    if (!variables)
        return failure(variables.error());
    QByteArrayList words{"-P"_ba, "-F"_ba, QByteArray(placeFormat), "-n"_ba, tmuxName(tabLabel).toUtf8()};
    words << "-c"_ba << tmuxLiteral(*folder);
    return words + *variables;
}

} // namespace

HerdrFailure noSuch(IDKind kind, const QString &id)
{
    const QString what = kind == IDKind::Workspace ? u"workspace"_s
                         : kind == IDKind::Tab     ? u"tab"_s
                                                   : u"pane"_s;
    return HerdrFailure{u"no_such_"_s + what, u"there is no %1 %2"_s.arg(what, id.left(80))};
}

HerdrFailure targetError(const HerdrFailure &error, IDKind kind, const QString &id)
{
    const bool isMissing = error.code == u"terminal_error" && error.message.startsWith(u"can't find");
    return isMissing ? noSuch(kind, id) : error;
}

QList<PaneRow> parsePaneRows(const QByteArray &output, const QByteArray &home)
{
    QList<PaneRow> rows;
    QSet<QByteArray> seen;
    for (const QByteArray &line : output.split('\n')) {
        const auto fields = line.split('\t');
        if (fields.size() < 7 || fields[2] == home || seen.contains(fields[0]))
            continue;
        seen.insert(fields[0]);
        rows.append(PaneRow{fields[0], fields[1], fields[2], fields[3].toInt(), fields[4],
                            fields[5].toLongLong(), QString::fromUtf8(fields.sliced(6).join('\t'))});
    }
    return rows;
}

Terminals::Terminals(TmuxControl &tmux, ProcessReaper &reaper)
    : m_tmux(tmux)
    , m_reaper(reaper)
{}

QCoro::Task<HostResult<Herdr::WorkspaceList>> Terminals::workspaces()
{
    const QByteArrayList command{"list-sessions"_ba, "-F"_ba,
                                 "#{session_id}\t#{window_id}\t#{"_ba + workspaceOption +
                                     "}\t#{session_name}"};
    const auto output = co_await m_tmux.run(command);
    if (!output)
        co_return failure(output.error());
    Herdr::WorkspaceList list;
    for (const QByteArray &line : output->split('\n')) {
        const auto fields = line.split('\t');
        if (fields.size() < 4 || fields[0] == m_tmux.homeSession())
            continue;
        Herdr::WorkspaceInfo info;
        info.workspaceId = id(IDKind::Workspace, fields[0]);
        info.label = unpacked(fields[2], fields[3]);
        info.activeTabId = id(IDKind::Tab, fields[1]);
        list.workspaces.append(info);
    }
    co_return list;
}

QCoro::Task<HostResult<Herdr::TabList>> Terminals::tabs(Herdr::TabListParams params)
{
    const QByteArrayList command{"list-windows"_ba, "-a"_ba, "-F"_ba,
                                 "#{window_id}\t#{session_id}\t#{"_ba + tabOption + "}\t#{window_name}"};
    const auto output = co_await m_tmux.run(command);
    if (!output)
        co_return failure(output.error());
    QByteArray wanted;
    if (params.workspaceId) {
        const auto session = known(IDKind::Workspace, *params.workspaceId);
        if (!session)
            co_return failure(noSuch(IDKind::Workspace, *params.workspaceId));
        wanted = *session;
    }
    Herdr::TabList list;
    for (const QByteArray &line : output->split('\n')) {
        const auto fields = line.split('\t');
        if (fields.size() < 4 || fields[1] == m_tmux.homeSession() ||
            (!wanted.isEmpty() && fields[1] != wanted))
            continue;
        Herdr::TabInfo info;
        info.tabId = id(IDKind::Tab, fields[0]);
        info.workspaceId = id(IDKind::Workspace, fields[1]);
        info.label = unpacked(fields[2], fields[3]);
        list.tabs.append(info);
    }
    // A workspace has at least one tab, so an empty answer means that there is none of this id.
    if (!wanted.isEmpty() && list.tabs.isEmpty())
        co_return failure(noSuch(IDKind::Workspace, *params.workspaceId));
    co_return list;
}

QCoro::Task<HostResult<Herdr::WorkspaceCreated>>
Terminals::createWorkspace(Herdr::WorkspaceCreateParams params)
{
    const QString label = params.label.value_or(u"workspace"_s);
    const auto words = placeWords({}, params.cwd, params.env);
    if (!words)
        co_return failure(words.error());
    const auto place = co_await newSession(label, *words);
    if (!place)
        co_return failure(place.error());
    co_await setLabel(IDKind::Workspace, place->session, label);
    // The variables were for this one shell; tmux would give them to each later tab of the session.
    const auto variables = params.env.value_or(QMap<QString, QString>()).keys();
    for (const QString &name : variables) {
        const QByteArrayList unset{"set-environment"_ba, "-t"_ba, place->session, "-u"_ba, name.toUtf8()};
        [[maybe_unused]] const auto done = co_await m_tmux.run(unset);
    }
    if (params.focus) {
        [[maybe_unused]] const auto shown = co_await bringForward(*place);
    }
    Herdr::WorkspaceCreated created;
    created.workspace.workspaceId = id(IDKind::Workspace, place->session);
    created.workspace.label = label;
    created.workspace.activeTabId = id(IDKind::Tab, place->window);
    created.tab.tabId = id(IDKind::Tab, place->window);
    created.tab.workspaceId = created.workspace.workspaceId;
    created.tab.label = tmuxName({});
    created.rootPane.paneId = id(IDKind::Pane, place->pane);
    created.rootPane.tabId = created.tab.tabId;
    created.rootPane.workspaceId = created.workspace.workspaceId;
    created.rootPane.cwd = checkedFolder(params.cwd).value_or(QDir::homePath());
    co_return created;
}

QCoro::Task<HostResult<Terminals::Place>> Terminals::newSession(QString label, QByteArrayList place)
{
    // tmux wants session names to differ; workspaces may share a label.
    QByteArray name = tmuxName(label).toUtf8();
    if (name == TmuxControl::homeName)
        name += "-1";
    for (int attempt = 0; attempt < 3; ++attempt) {
        QByteArrayList command{"new-session"_ba, "-d"_ba, "-s"_ba, name};
        command += place;
        const auto output = co_await m_tmux.run(command);
        if (output) {
            const auto fields = output->trimmed().split('\t');
            co_return Place{fields.value(0), fields.value(1), fields.value(2)};
        }
        if (!output.error().message.startsWith(u"duplicate session"))
            co_return failure(output.error());
        name = tmuxName(label).toUtf8() + '-' + newShortID().first(4).toLatin1();
    }
    co_return failure(HerdrFailure{u"terminal_error"_s, u"no free name for the workspace %1"_s.arg(label)});
}

QCoro::Task<HostResult<Herdr::TabCreated>> Terminals::createTab(Herdr::TabCreateParams params)
{
    const auto session = co_await workspaceForTab(params.workspaceId);
    if (!session)
        co_return failure(session.error());
    const QString label = params.label.value_or(QString());
    const auto words = placeWords(label, params.cwd, params.env);
    if (!words)
        co_return failure(words.error());
    QByteArrayList command{"new-window"_ba, "-d"_ba, "-t"_ba, session->session + ':'};
    command += *words;
    const auto output = co_await m_tmux.run(command);
    if (!output)
        co_return failure(
            targetError(output.error(), IDKind::Workspace, params.workspaceId.value_or(QString())));
    const auto fields = output->trimmed().split('\t');
    const Place place{fields.value(0), fields.value(1), fields.value(2)};
    if (params.label)
        co_await setLabel(IDKind::Tab, place.window, label);
    if (params.focus) {
        [[maybe_unused]] const auto shown = co_await bringForward(place);
    }
    Herdr::TabCreated created;
    created.tab.tabId = id(IDKind::Tab, place.window);
    created.tab.workspaceId = id(IDKind::Workspace, place.session);
    created.tab.label = params.label ? label : tmuxName({});
    created.rootPane.paneId = id(IDKind::Pane, place.pane);
    created.rootPane.tabId = created.tab.tabId;
    created.rootPane.workspaceId = created.tab.workspaceId;
    created.rootPane.cwd = checkedFolder(params.cwd).value_or(QDir::homePath());
    co_return created;
}

QCoro::Task<HostResult<Terminals::Place>> Terminals::workspaceForTab(std::optional<QString> wanted)
{
    const auto list = co_await workspaces();
    if (!list)
        co_return failure(list.error());
    for (const auto &workspace : list->workspaces) {
        if (!wanted || workspace.workspaceId == *wanted)
            co_return Place{known(IDKind::Workspace, workspace.workspaceId).value_or(QByteArray()), {}, {}};
    }
    co_return failure(noSuch(IDKind::Workspace, wanted.value_or(QString())));
}

QCoro::Task<void> Terminals::setLabel(IDKind kind, QByteArray target, QString label)
{
    const bool isTab = kind == IDKind::Tab;
    const QByteArrayList command{"set-option"_ba,
                                 isTab ? "-w"_ba : "-q"_ba,
                                 "-t"_ba,
                                 target,
                                 QByteArray(isTab ? tabOption : workspaceOption),
                                 packed(label)};
    [[maybe_unused]] const auto done = co_await m_tmux.run(command);
}

QCoro::Task<HostResult<Herdr::Ack>> Terminals::renameTab(Herdr::TabRenameParams params)
{
    const auto opened = co_await m_tmux.open();
    if (!opened)
        co_return failure(opened.error());
    const auto window = known(IDKind::Tab, params.tabId);
    if (!window)
        co_return failure(noSuch(IDKind::Tab, params.tabId));
    const QByteArrayList command{"rename-window"_ba, "-t"_ba, *window, "--"_ba,
                                 tmuxName(params.label).toUtf8()};
    const auto renamed = co_await m_tmux.run(command);
    if (!renamed)
        co_return failure(targetError(renamed.error(), IDKind::Tab, params.tabId));
    co_await setLabel(IDKind::Tab, *window, params.label);
    co_return Herdr::Ack();
}

QCoro::Task<HostResult<QList<PaneRow>>> Terminals::panesOfWindow(QByteArray window)
{
    const QByteArrayList command{"list-panes"_ba, "-t"_ba, window, "-F"_ba, QByteArray(rowFormat)};
    const auto output = co_await m_tmux.run(command);
    if (!output)
        co_return failure(output.error());
    co_return parsePaneRows(*output, m_tmux.homeSession());
}

void Terminals::endProcesses(const QList<PaneRow> &rows)
{
    const auto tree = ProcessTree::now();
    for (const PaneRow &row : rows) {
        const PaneMark mark{QFile::encodeName(m_tmux.socketPath()), m_tmux.serverProcess(), row.pane,
                            row.shell};
        m_reaper.end(mark, processesOf(mark, tree));
    }
}

QCoro::Task<HostResult<Herdr::Ack>> Terminals::closeTab(Herdr::TabTarget params)
{
    const auto opened = co_await m_tmux.open();
    if (!opened)
        co_return failure(opened.error());
    const auto window = known(IDKind::Tab, params.tabId);
    if (!window)
        co_return failure(noSuch(IDKind::Tab, params.tabId));
    const auto rows = co_await panesOfWindow(*window);
    if (!rows)
        co_return failure(targetError(rows.error(), IDKind::Tab, params.tabId));
    if (rows->isEmpty())
        co_return failure(noSuch(IDKind::Tab, params.tabId));
    // Who belongs to the pane is known only while it stands.
    endProcesses(*rows);
    const QByteArrayList command{"kill-window"_ba, "-t"_ba, *window};
    const auto closed = co_await m_tmux.run(command);
    if (!closed)
        co_return failure(targetError(closed.error(), IDKind::Tab, params.tabId));
    co_return Herdr::Ack();
}

QCoro::Task<HostResult<Herdr::Ack>> Terminals::closePane(Herdr::PaneTarget params)
{
    const auto row = co_await pane(params.paneId);
    if (!row)
        co_return failure(row.error());
    const QList<PaneRow> rows{*row};
    endProcesses(rows);
    const QByteArrayList command{"kill-pane"_ba, "-t"_ba, row->pane};
    const auto closed = co_await m_tmux.run(command);
    // A shell that ended on being asked has taken its pane along.
    if (!closed && targetError(closed.error(), IDKind::Pane, params.paneId).code != u"no_such_pane")
        co_return failure(closed.error());
    co_return Herdr::Ack();
}

QCoro::Task<HostResult<Herdr::Ack>> Terminals::focusPane(Herdr::PaneTarget params)
{
    const auto row = co_await pane(params.paneId);
    if (!row)
        co_return failure(row.error());
    const Place place{row->session, row->window, row->pane};
    const auto shown = co_await bringForward(place);
    if (!shown)
        co_return failure(targetError(shown.error(), IDKind::Pane, params.paneId));
    co_return Herdr::Ack();
}

QCoro::Task<HostResult<void>> Terminals::bringForward(Place place)
{
    const QByteArrayList selectWindow{"select-window"_ba, "-t"_ba, place.window};
    const auto window = co_await m_tmux.run(selectWindow);
    if (!window)
        co_return failure(window.error());
    const QByteArrayList selectPane{"select-pane"_ba, "-t"_ba, place.pane};
    const auto chosen = co_await m_tmux.run(selectPane);
    if (!chosen)
        co_return failure(chosen.error());
    // Whoever attaches later starts here.
    const QByteArrayList remember{"set-option"_ba, "-g"_ba, "@keelhaven_focus"_ba, place.session};
    [[maybe_unused]] const auto remembered = co_await m_tmux.run(remember);
    const QByteArrayList listClients{"list-clients"_ba, "-F"_ba, "#{client_control_mode}\t#{client_name}"_ba};
    const auto clients = co_await m_tmux.run(listClients);
    if (!clients)
        co_return failure(clients.error());
    const auto lines = clients->split('\n');
    for (const QByteArray &line : lines) {
        if (!line.startsWith("0\t"))
            continue;
        const QByteArrayList change{"switch-client"_ba, "-c"_ba, line.sliced(2), "-t"_ba, place.pane};
        [[maybe_unused]] const auto changed = co_await m_tmux.run(change);
    }
    co_return {};
}

QCoro::Task<HostResult<QList<PaneRow>>> Terminals::panes()
{
    const QByteArrayList command{"list-panes"_ba, "-a"_ba, "-F"_ba, QByteArray(rowFormat)};
    const auto output = co_await m_tmux.run(command);
    if (!output)
        co_return failure(output.error());
    co_return parsePaneRows(*output, m_tmux.homeSession());
}

QCoro::Task<HostResult<PaneRow>> Terminals::pane(QString paneID)
{
    const auto opened = co_await m_tmux.open();
    if (!opened)
        co_return failure(opened.error());
    const auto target = known(IDKind::Pane, paneID);
    if (!target)
        co_return failure(noSuch(IDKind::Pane, paneID));
    // Fields are empty, without an error, when there is no such pane.
    const QByteArrayList command{"display-message"_ba, "-p"_ba, "-t"_ba, *target, "-F"_ba,
                                 QByteArray(rowFormat)};
    const auto output = co_await m_tmux.run(command);
    if (!output)
        co_return failure(targetError(output.error(), IDKind::Pane, paneID));
    const auto rows = parsePaneRows(*output, m_tmux.homeSession());
    if (rows.isEmpty() || rows.first().pane != *target)
        co_return failure(noSuch(IDKind::Pane, paneID));
    co_return rows.first();
}

QCoro::Task<HostResult<void>> Terminals::closeEverything()
{
    const auto rows = co_await panes();
    if (!rows)
        co_return failure(rows.error());
    endProcesses(*rows);
    const QByteArrayList command{"kill-server"_ba};
    // The server goes without an answer.
    [[maybe_unused]] const auto gone = co_await m_tmux.run(command);
    co_return {};
}

} // namespace Keelhaven
