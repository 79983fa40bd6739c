#include "Herdr/HerdrTabs.h"

namespace Keelhaven::HerdrSession {

namespace {

bool isCandidate(const Herdr::TabInfo &tab, const QString &label, const QSet<QString> &keeping)
{
    return tab.label == label && !keeping.contains(tab.tabId);
}

/// All tabs of the server; nothing when it does not list its workspaces.
QCoro::Task<std::optional<QList<Herdr::TabInfo>>> allTabs(Context context)
{
    const auto workspaces =
        co_await context->client.call<Herdr::WorkspaceList>(Herdr::Method::workspaceList, Herdr::NoParams());
    if (!workspaces)
        co_return std::nullopt;
    QList<Herdr::TabInfo> tabs;
    for (const Herdr::WorkspaceInfo &workspace : workspaces->workspaces) {
        const Herdr::TabListParams params{workspace.workspaceId};
        const auto answer = co_await context->client.call<Herdr::TabList>(Herdr::Method::tabList, params);
        if (answer)
            tabs += answer->tabs;
    }
    co_return tabs;
}

} // namespace

FinishedTabs finishedTabs(const QList<Herdr::TabInfo> &tabs, const QList<Herdr::AgentInfo> &agents,
                          const QString &label, const QSet<QString> &keeping)
{
    QSet<QString> occupied;
    QSet<QString> busy;
    for (const Herdr::AgentInfo &agent : agents) {
        if (!agent.agent && !agent.isPending())
            continue;
        occupied.insert(agent.tabId);
        const AgentState state = agentState(agent.agentStatus);
        if (agent.isPending() || state == AgentState::Working || isBlocked(state))
            busy.insert(agent.tabId);
    }
    FinishedTabs result;
    for (const Herdr::TabInfo &tab : tabs) {
        if (!isCandidate(tab, label, keeping))
            continue;
        if (busy.contains(tab.tabId))
            result.anyBusy = true;
        else if (!occupied.contains(tab.tabId))
            result.closable.append(tab.tabId);
    }
    return result;
}

QCoro::Task<bool> reconcileFinishedTabs(Context context, QString label, QSet<QString> keeping)
{
    const auto tabs = co_await allTabs(context);
    if (!tabs || std::ranges::none_of(
                     *tabs, [&](const Herdr::TabInfo &tab) { return isCandidate(tab, label, keeping); }))
        co_return false;
    const auto agents =
        co_await context->client.call<Herdr::AgentList>(Herdr::Method::agentList, Herdr::NoParams());
    const auto finished =
        finishedTabs(*tabs, agents ? agents->agents : QList<Herdr::AgentInfo>(), label, keeping);
    for (const QString &tabID : finished.closable) {
        const Herdr::TabTarget target{tabID};
        [[maybe_unused]] const auto closed =
            co_await context->client.call<Herdr::Ack>(Herdr::Method::tabClose, target);
    }
    co_return finished.anyBusy;
}

} // namespace Keelhaven::HerdrSession
