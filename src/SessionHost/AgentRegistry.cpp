#include "SessionHost/AgentRegistry.h"

#include "Platform/SystemLog.h"
#include "SessionHost/CodexHookLine.h"
#include "SessionHost/ShellReadiness.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr const char *agentOption = "@keelhaven_agent";

/// A session file this old settles the arrival, should a release draw an input box that no rule knows.
constexpr double settledSession = 5;

/// How long an answer of list() is given again when nothing is known to have changed: tmux does not tell of a
/// pane that a person makes, nor of a title or of text on a screen.
constexpr Span longestLife = 1s;
constexpr Span screenLife = 100ms;

double secondsNow(const Clock &clock)
{
    return secondsSince1970(clock.now());
}

} // namespace

AgentRegistry::AgentRegistry(HostPaths paths, TmuxControl &tmux, Terminals &terminals, PaneInput &input,
                             Clock &clock)
    : m_paths(std::move(paths))
    , m_tmux(tmux)
    , m_terminals(terminals)
    , m_input(input)
    , m_clock(clock)
{}

QCoro::Task<HostResult<void>> AgentRegistry::loadRecords()
{
    const auto opened = co_await m_tmux.open();
    if (!opened)
        co_return failure(opened.error());
    const int generation = m_tmux.generation();
    if (generation == m_generation)
        co_return {};
    const QByteArrayList command{"list-panes"_ba, "-a"_ba, "-F"_ba, "#{pane_id}\t#{"_ba + agentOption + '}'};
    const auto output = co_await m_tmux.run(command);
    if (!output)
        co_return failure(output.error());
    // Somebody else may have read them during the wait, and changed them since.
    if (generation == m_generation)
        co_return {};
    m_generation = generation;
    m_entries.clear();
    QStringList launching;
    for (const QByteArray &line : output->split('\n')) {
        const auto fields = line.split('\t');
        if (fields.size() < 2 || fields[1].isEmpty())
            continue;
        const auto record = decodeRecordBytes<AgentRecord>(QByteArray::fromPercentEncoding(fields[1]));
        if (!record)
            continue;
        Entry entry;
        entry.record = *record;
        if (entry.record.phase == AgentPhase::Launching)
            launching.append(entry.record.token);
        m_entries.insert(fields[0], entry);
    }
    AgentLaunch::sweep(m_paths.launchFolder, launching);
    co_return {};
}

QCoro::Task<void> AgentRegistry::save(QByteArrayList panes)
{
    for (const QByteArray &pane : panes) {
        const auto entry = m_entries.find(pane);
        if (entry == m_entries.end() || !entry->isUnsaved)
            continue;
        entry->isUnsaved = false;
        const QByteArray value = JSONValue(encodeRecord(entry->record)).encoded().toPercentEncoding();
        const QByteArrayList command{"set-option"_ba, "-p"_ba, "-t"_ba, pane, QByteArray(agentOption), value};
        // A pane that is gone needs no record.
        [[maybe_unused]] const auto saved = co_await m_tmux.run(command);
    }
}

QCoro::Task<HostResult<QList<PaneRow>>> AgentRegistry::rows()
{
    const auto loaded = co_await loadRecords();
    if (!loaded)
        co_return failure(loaded.error());
    auto rows = co_await m_terminals.panes();
    if (!rows)
        co_return failure(rows.error());
    QSet<QByteArray> present;
    for (const PaneRow &row : *rows)
        present.insert(row.pane);
    m_entries.removeIf(
        [&](QHash<QByteArray, Entry>::iterator entry) { return !present.contains(entry.key()); });
    if (m_foreground.size() > 4 * rows->size() + 64)
        m_foreground.clear();
    co_return rows;
}

QCoro::Task<HostResult<EncodedResult>> AgentRegistry::list()
{
    const bool hasNews = m_watch.takeNews();
    if (hasNews || !isCurrent(m_listing))
        m_listing.reset();
    if (m_listing)
        co_return EncodedResult(m_listing->answer);
    // What changes from here on makes the next call look again.
    const quint64 changes = m_tmux.changes();
    const Date began = m_clock.now();
    const auto found = co_await rows();
    if (!found)
        co_return failure(found.error());
    co_await refresh(*found);
    Herdr::AgentList list;
    for (const PaneRow &row : *found) {
        if (const auto info = infoFor(row))
            list.agents.append(*info);
    }
    const EncodedResult answer(list);
    if (const auto life = listingLife())
        m_listing = Listing{answer, m_tmux.generation(), changes, began + *life};
    co_return answer;
}

bool AgentRegistry::isCurrent(const std::optional<Listing> &listing) const
{
    return listing && listing->generation == m_tmux.generation() && listing->changes == m_tmux.changes() &&
           m_clock.now() < listing->expires;
}

std::optional<Span> AgentRegistry::listingLife()
{
    Span life = longestLife;
    for (const Entry &entry : std::as_const(m_entries)) {
        if (entry.record.isPending())
            return std::nullopt;
        if (!entry.record.isPresent())
            continue;
        const bool tellsOfItself =
            entry.tellsOfItself && m_watch.watchFolder(entry.configFolder + "/sessions");
        if (!tellsOfItself || !m_watch.watchProcess(entry.record.process()))
            life = screenLife;
    }
    return life;
}

QCoro::Task<HostResult<PaneRow>> AgentRegistry::freshRow(QString target)
{
    const auto loaded = co_await loadRecords();
    if (!loaded)
        co_return failure(loaded.error());
    const auto pane = paneOf(target);
    if (!pane)
        co_return failure(
            HerdrFailure{u"no_such_agent"_s, u"there is no agent named %1"_s.arg(target.left(80))});
    const QString id = publicID(IDKind::Pane, *pane, m_tmux.epoch());
    const auto row = co_await m_terminals.pane(id);
    if (!row) {
        m_entries.remove(*pane);
        co_return failure(
            HerdrFailure{u"no_such_agent"_s, u"the pane of agent %1 is closed"_s.arg(target.left(80))});
    }
    const QList<PaneRow> rows{*row};
    co_await refresh(rows);
    co_return *row;
}

QCoro::Task<HostResult<Herdr::AgentInfo>> AgentRegistry::get(QString target)
{
    const auto row = co_await freshRow(target);
    if (!row)
        co_return failure(row.error());
    const auto info = infoFor(*row);
    if (!info)
        co_return failure(
            HerdrFailure{u"no_such_agent"_s, u"there is no agent named %1"_s.arg(target.left(80))});
    co_return *info;
}

std::optional<QByteArray> AgentRegistry::paneOf(const QString &target) const
{
    std::optional<QByteArray> found;
    for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
        if (entry->record.name != target)
            continue;
        // An ended agent may have left its name to a new one.
        if (!found || entry->record.phase != AgentPhase::Ended)
            found = entry.key();
    }
    return found ? found : tmuxID(IDKind::Pane, target, m_tmux.epoch());
}

QCoro::Task<void> AgentRegistry::refresh(QList<PaneRow> rows)
{
    struct Capture
    {
        const PaneRow *row;
        QCoro::Task<HostResult<TmuxOutput>> output;
    };
    std::vector<Capture> captures;
    const auto takenAt = static_cast<qint64>(secondsNow(m_clock));
    m_watch.look();
    QByteArrayList unsaved;
    for (const PaneRow &row : rows) {
        findByHand(row);
        const auto entry = m_entries.find(row.pane);
        if (entry == m_entries.end())
            continue;
        advance(*entry, row);
        if (entry->record.isPresent() && needsScreen(*entry, row)) {
            const QByteArrayList command{"capture-pane"_ba, "-p"_ba, "-t"_ba, row.pane};
            captures.push_back(Capture{&row, m_tmux.run(command)});
        }
    }
    for (Capture &capture : captures) {
        const auto output = co_await capture.output;
        const auto entry = m_entries.find(capture.row->pane);
        if (!output || entry == m_entries.end() || !entry->record.isPresent())
            continue;
        entry->screenActivity = capture.row->activity;
        entry->screenTakenAt = takenAt;
        applyScreen(*entry, readScreen(entry->record.kind, QString::fromUtf8(*output), capture.row->title));
    }
    for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
        if (entry->isUnsaved)
            unsaved.append(entry.key());
    }
    co_await save(unsaved);
}

void AgentRegistry::advance(Entry &entry, const PaneRow &row)
{
    const AgentRecord before = entry.record;
    if (entry.record.phase == AgentPhase::Launching)
        finishLaunching(entry, row);
    if (entry.record.isPresent()) {
        const bool isLate =
            entry.record.phase == AgentPhase::Arriving &&
            secondsNow(m_clock) - entry.record.startedAt > static_cast<double>(entry.record.timeoutMs) / 1000;
        if (!m_watch.isRunning(entry.record.process()) && !isAlive(entry.record.process()))
            entry.record.phase = AgentPhase::Ended;
        else if (isLate)
            entry.record.phase = AgentPhase::Running;
    }
    entry.isUnsaved = entry.isUnsaved || (entry.record != before && !entry.isFound);
}

void AgentRegistry::finishLaunching(Entry &entry, const PaneRow &row)
{
    using Stage = AgentLaunch::Progress::Stage;
    const AgentLaunch launch(m_paths.launchFolder, entry.record.token);
    const auto progress = launch.progress(row.shell);
    const double waited = secondsNow(m_clock) - entry.record.startedAt;
    const bool isLate = waited > static_cast<double>(entry.record.timeoutMs) / 1000;
    if (progress.stage == Stage::Started) {
        entry.record.phase = AgentPhase::Arriving;
        entry.record.pid = progress.process.pid;
        entry.record.startTime = progress.process.startTime;
    } else if (progress.stage == Stage::Gone || isLate ||
               (progress.stage == Stage::Taken && isShellReady(row.shell, row.terminal))) {
        // Taken, and the shell is back: the program was not found, and the pane shows the words for it.
        entry.record.phase = AgentPhase::Ended;
    }
    if (entry.record.phase != AgentPhase::Launching)
        launch.forget();
}

void AgentRegistry::findByHand(const PaneRow &row)
{
    const auto known = m_entries.constFind(row.pane);
    if (known != m_entries.constEnd() && known->record.phase != AgentPhase::Ended)
        return;
    const auto shell = processInfo(row.shell);
    if (!shell || shell->terminalGroup == shell->group || shell->terminalGroup <= 0)
        return;
    const auto process = processInfo(shell->terminalGroup);
    if (!process)
        return;
    auto &remembered = m_foreground[process->id.pid];
    // A process may still become an agent under the same number, so only a find is remembered.
    if (remembered.first != process->id.startTime || !remembered.second)
        remembered = {process->id.startTime, agentKindOf(processArguments(process->id.pid))};
    if (!remembered.second)
        return;
    Entry entry;
    entry.isFound = true;
    entry.record.name = known == m_entries.constEnd() ? QString() : known->record.name;
    entry.record.kind = *remembered.second;
    entry.record.phase = AgentPhase::Running;
    entry.record.pid = process->id.pid;
    entry.record.startTime = process->id.startTime;
    m_entries.insert(row.pane, entry);
}

void AgentRegistry::readAgentEnvironment(Entry &entry)
{
    if (!entry.configFolder.isEmpty())
        return;
    const auto environment = processEnvironment(entry.record.pid);
    const QByteArray home = environment.value("HOME");
    entry.configFolder = environment.value("CLAUDE_CONFIG_DIR");
    if (entry.configFolder.isEmpty())
        entry.configFolder = home.isEmpty() ? QFile::encodeName(m_paths.claudeFolder) : home + "/.claude";
    entry.runID = QString::fromUtf8(environment.value("KEELHAVEN_RUN_ID"));
}

void AgentRegistry::followWrapper(Entry &entry)
{
    if (entry.session.read(entry.configFolder, entry.record.process()))
        return;
    for (const pid_t child : childrenOf(entry.record.pid)) {
        const auto info = processInfo(child);
        ClaudeSessionFile file;
        if (!info || agentKindOf(processArguments(child)) != AgentKind::Claude ||
            !file.read(entry.configFolder, info->id))
            continue;
        entry.record.pid = child;
        entry.record.startTime = info->id.startTime;
        entry.isUnsaved = !entry.isFound;
        return;
    }
}

bool AgentRegistry::needsScreen(Entry &entry, const PaneRow &row)
{
    readAgentEnvironment(entry);
    entry.tellsOfItself = false;
    if (entry.record.kind == AgentKind::Claude) {
        if (entry.record.phase == AgentPhase::Arriving)
            followWrapper(entry);
        if (const auto session = entry.session.read(entry.configFolder, entry.record.process())) {
            entry.status = session->status;
            entry.tellsOfItself = true;
            const bool isSettled =
                secondsNow(m_clock) - static_cast<double>(session->changedAt) > settledSession;
            if (entry.record.phase == AgentPhase::Arriving && isSettled) {
                entry.record.phase = AgentPhase::Running;
                entry.isUnsaved = true;
            }
            return entry.record.phase == AgentPhase::Arriving;
        }
    }
    if (const auto reading = readTitle(entry.record.kind, row.title)) {
        applyScreen(entry, *reading);
        return false;
    }
    // Output within the second of the capture may have come after it.
    const bool isFresh = entry.screenActivity == row.activity && entry.screenTakenAt > row.activity;
    if (isFresh)
        entry.status = entry.screen.status;
    return !isFresh;
}

void AgentRegistry::applyScreen(Entry &entry, ScreenReading reading)
{
    const AgentRecord before = entry.record;
    entry.screen = reading;
    const bool sessionRules = entry.record.kind == AgentKind::Claude &&
                              entry.session.read(entry.configFolder, entry.record.process()).has_value();
    if (!sessionRules)
        entry.status = reading.status;
    if (reading.hasArrived && entry.record.phase == AgentPhase::Arriving)
        entry.record.phase = AgentPhase::Running;
    if (reading.takesInput && entry.record.kind == AgentKind::Codex && !entry.record.isReady) {
        entry.record.isReady = true;
        if (!entry.runID.isEmpty()) {
            const auto told = appendCodexSessionStart(m_paths.codexRuns, entry.runID, m_clock.now());
            if (!told)
                systemLog(u"keelhaven-host: "_s + told.error().message());
        }
    }
    entry.isUnsaved = entry.isUnsaved || (entry.record != before && !entry.isFound);
}

std::optional<Herdr::AgentInfo> AgentRegistry::infoFor(const PaneRow &row) const
{
    const auto entry = m_entries.constFind(row.pane);
    if (entry == m_entries.constEnd() || (entry->isFound && !entry->record.isPresent()))
        return std::nullopt;
    const AgentRecord &record = entry->record;
    Herdr::AgentInfo info;
    if (!record.name.isEmpty())
        info.name = record.name;
    info.paneId = publicID(IDKind::Pane, row.pane, m_tmux.epoch());
    info.tabId = publicID(IDKind::Tab, row.window, m_tmux.epoch());
    info.workspaceId = publicID(IDKind::Workspace, row.session, m_tmux.epoch());
    info.launchPending = record.isPending();
    if (record.isPresent()) {
        info.agent = rulesOf(record.kind).name;
        info.agentStatus = entry->status;
        if (record.kind == AgentKind::Codex)
            info.interactiveReady = record.isReady;
    } else if (record.isPending()) {
        info.agentStatus = Herdr::Status::Unknown;
    }
    return info;
}

} // namespace Keelhaven
