#include "SessionHost/AgentRegistry.h"
#include "SessionHost/ShellReadiness.h"

// Starting agents in panes and giving them prompts.
namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// How long a start waits for a shell that is just coming up. A client that is told "busy" looks again much
/// later than most shells take, and waits for the answer before it sends anything else.
constexpr Span shellPatience = 200ms;
constexpr Span shellLook = 5ms;

/// The same for the agent: one that comes up at once is there with the answer to its start.
constexpr Span agentPatience = 250ms;
constexpr Span agentLook = 10ms;

bool isKnownText(const QString &name)
{
    return !name.isEmpty() && name.size() <= 200 && std::none_of(name.begin(), name.end(), [](QChar c) {
        return c.category() == QChar::Other_Control;
    });
}

/// What a start answers while nothing is known of the agent but where it was put.
Herdr::AgentStarted pendingAgent(const Herdr::AgentStartParams &params, AgentKind kind, const PaneRow &row,
                                 const QByteArray &epoch)
{
    Herdr::AgentStarted started;
    started.argv = QStringList{rulesOf(kind).name} + rulesOf(kind).leading + params.args;
    started.agent.name = params.name;
    started.agent.paneId = params.paneId;
    started.agent.tabId = publicID(IDKind::Tab, row.window, epoch);
    started.agent.workspaceId = publicID(IDKind::Workspace, row.session, epoch);
    started.agent.agentStatus = Herdr::Status::Unknown;
    started.agent.launchPending = true;
    return started;
}

} // namespace

bool AgentRegistry::isTaken(const QByteArray &pane) const
{
    const auto present = m_entries.constFind(pane);
    return present != m_entries.constEnd() && present->record.phase != AgentPhase::Ended;
}

QCoro::Task<void> AgentRegistry::waitForShell(PaneRow row)
{
    const Date began = m_clock.now();
    while (!isTaken(row.pane) && !isShellReady(row.shell, row.terminal) &&
           m_clock.now() - began < shellPatience) {
        const bool slept = co_await m_clock.sleep(shellLook);
        if (!slept)
            co_return;
    }
}

QCoro::Task<void> AgentRegistry::waitForAgent(QString paneID)
{
    const Date began = m_clock.now();
    while (m_clock.now() - began < agentPatience) {
        const bool slept = co_await m_clock.sleep(agentLook);
        if (!slept)
            co_return;
        const auto row = co_await freshRow(paneID);
        const auto entry = row ? m_entries.constFind(row->pane) : m_entries.constEnd();
        if (entry == m_entries.constEnd() || !entry->record.isPending())
            co_return;
        // A client that starts several asks for one thing at a time: the others are not to wait for this one.
        const auto coming =
            std::ranges::count_if(m_entries, [](const Entry &each) { return each.record.isPending(); });
        if (coming > 1 && entry->record.phase != AgentPhase::Launching)
            co_return;
    }
}

std::optional<HerdrFailure> AgentRegistry::obstacle(const PaneRow &row, const QString &name) const
{
    if (isTaken(row.pane))
        return HerdrFailure{u"agent_pane_busy"_s, u"an agent is already in the pane"_s};
    if (!isShellReady(row.shell, row.terminal))
        return HerdrFailure{u"agent_pane_busy"_s, u"the shell of the pane is not ready"_s};
    const bool isNameTaken = std::ranges::any_of(m_entries, [&](const Entry &other) {
        return other.record.name == name && other.record.phase != AgentPhase::Ended;
    });
    if (isNameTaken)
        return HerdrFailure{u"agent_name_taken"_s, u"an agent named %1 is running"_s.arg(name)};
    return std::nullopt;
}

QCoro::Task<HostResult<Herdr::AgentStarted>> AgentRegistry::start(Herdr::AgentStartParams params)
{
    const auto kind = agentKindNamed(params.kind);
    if (!kind)
        co_return failure(HerdrFailure{u"agent_kind_unknown"_s,
                                       u"no agent of kind %1 is known"_s.arg(params.kind.left(80))});
    if (!isKnownText(params.name))
        co_return failure(
            HerdrFailure{u"invalid_request"_s, u"an agent's name is 1 to 200 printable characters"_s});
    const auto loaded = co_await loadRecords();
    if (!loaded)
        co_return failure(loaded.error());
    const auto row = co_await m_terminals.pane(params.paneId);
    if (!row)
        co_return failure(row.error());
    const QList<PaneRow> rows{*row};
    co_await refresh(rows);
    co_await waitForShell(*row);
    // From here to the record's entry nothing waits: two starts in one pane cannot both find it free.
    if (const auto why = obstacle(*row, params.name))
        co_return failure(*why);
    Entry entry;
    entry.record.name = params.name;
    entry.record.kind = *kind;
    entry.record.token = AgentLaunch::newToken();
    entry.record.startedAt = secondsSince1970(m_clock.now());
    entry.record.timeoutMs = std::clamp(params.timeoutMs.value_or(60000), 1000, 600000);
    entry.isUnsaved = true;
    const AgentLaunch launch(m_paths.launchFolder, entry.record.token);
    const auto prepared = launch.prepare(*kind, params.args);
    if (!prepared)
        co_return failure(prepared.error());
    m_entries.insert(row->pane, entry);
    const QByteArrayList changed{row->pane};
    co_await save(changed);
    // Ctrl-U takes away what somebody may have left on the line.
    const QByteArray typed = "\x15" + launch.line().toUtf8() + '\r';
    const auto sent = co_await m_input.type(row->pane, typed);
    if (!sent) {
        launch.forget();
        m_entries.remove(row->pane);
        co_return failure(targetError(sent.error(), IDKind::Pane, params.paneId));
    }
    auto started = pendingAgent(params, *kind, *row, m_tmux.epoch());
    co_await waitForAgent(params.paneId);
    const auto arrived = m_entries.constFind(row->pane);
    const bool isOver = arrived == m_entries.constEnd() ||
                        (arrived->record.phase == AgentPhase::Ended && arrived->record.name == params.name);
    if (isOver)
        co_return failure(
            HerdrFailure{u"agent_exited"_s, u"%1 ended as soon as it was started"_s.arg(params.kind)});
    if (const auto info = infoFor(*row))
        started.agent = *info;
    co_return started;
}

QCoro::Task<HostResult<Herdr::AgentInfo>> AgentRegistry::prompt(Herdr::AgentPromptParams params)
{
    const auto row = co_await freshRow(params.target);
    if (!row)
        co_return failure(row.error());
    auto info = infoFor(*row);
    if (info && info->isPending())
        co_return failure(
            HerdrFailure{u"agent_not_ready"_s, u"%1 is still coming up"_s.arg(params.target.left(80))});
    if (!info || !info->agent)
        co_return failure(
            HerdrFailure{u"no_such_agent"_s, u"no agent named %1 is running"_s.arg(params.target.left(80))});
    if (info->agentStatus == Herdr::Status::Blocked)
        co_return failure(HerdrFailure{u"agent_blocked"_s,
                                       u"%1 waits for an answer to a dialog"_s.arg(params.target.left(80))});
    const auto sent = co_await m_input.pasteAndEnter(row->pane, row->terminal, params.text);
    if (!sent)
        co_return failure(targetError(sent.error(), IDKind::Pane, info->paneId));
    co_return *info;
}

} // namespace Keelhaven
