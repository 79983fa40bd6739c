#include "Herdr/HerdrSession.h"

#include "Scheduler/Model/CodexEvents.h"
#include "Scheduler/Model/RunMatcher.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

HerdrContext::HerdrContext(HerdrClient host, Clock &time, KeelhavenPaths places)
    : client(std::move(host))
    , clock(time)
    , paths(std::move(places))
    , codexEvents(
          [folder = paths.codexRunsDir()](const QUuid &runID) { return CodexEvents::read(runID, folder); })
{}

namespace HerdrSession {

namespace {

constexpr int dialogRounds = 3;
constexpr Span redrawLimit = 1500ms;
constexpr Span settleLimit = 12s;

const QString stillLaunching = u"still launching"_s;

bool isResting(AgentState state)
{
    return state == AgentState::Idle || state == AgentState::Done;
}

bool isReady(const Herdr::AgentInfo &agent, AgentProvider provider)
{
    if (agent.isPending())
        return false;
    if (provider == AgentProvider::Claude)
        return true;
    return agent.agent == u"codex" && agent.interactiveReady.value_or(false) &&
           isResting(agentState(agent.agentStatus));
}

bool isCodexHook(const EventRecord &event, const QString &type)
{
    const JSONValue *source = event.raw.find(u"source");
    return event.type == type && source && source->stringValue() == u"codex"_s;
}

AgentProvider providerOf(const LaunchedRun &run)
{
    return run.provider.value_or(AgentProvider::Claude);
}

} // namespace

AgentState agentState(std::optional<Herdr::Status> status)
{
    static_assert(static_cast<int>(AgentState::Unknown) == static_cast<int>(Herdr::Status::Unknown) &&
                  EnumTexts<AgentState>::texts == EnumTexts<Herdr::Status>::texts);
    return static_cast<AgentState>(status.value_or(Herdr::Status::Unknown));
}

QCoro::Task<std::optional<QString>> transcript(Context context, QString paneID, int lines)
{
    Herdr::PaneReadParams params;
    params.paneId = paneID;
    params.lines = lines;
    const auto answer = co_await context->client.call<Herdr::PaneRead>(Herdr::Method::paneRead, params);
    if (!answer)
        co_return std::nullopt;
    if (answer->read.truncated)
        co_return u"…earlier output truncated…\n"_s + answer->read.text;
    co_return answer->read.text;
}

QCoro::Task<bool> sendText(Context context, QString paneID, QString text)
{
    const Herdr::PaneSendTextParams params{paneID, text};
    const auto answer = co_await context->client.call<Herdr::Ack>(Herdr::Method::paneSendText, params);
    co_return answer.has_value();
}

QCoro::Task<> closePane(Context context, QString paneID)
{
    context->unclosedPanes.insert(paneID);
    const Herdr::PaneTarget target{paneID};
    const auto closed = co_await context->client.call<Herdr::Ack>(Herdr::Method::paneClose, target);
    // A refusal is an answer too: the pane is gone already.
    if (closed || closed.error().kind == HerdrError::Kind::Api)
        context->unclosedPanes.remove(paneID);
}

QCoro::Task<> closeUnclosedPanes(Context context)
{
    const QSet<QString> panes = context->unclosedPanes;
    for (const QString &pane : panes)
        co_await closePane(context, pane);
}

QCoro::Task<Outcome> waitUntilPromptable(Context context, LaunchedRun run, Span timeout)
{
    const AgentProvider provider = providerOf(run);
    const Date deadline = context->clock.now() + timeout;
    const Herdr::AgentTarget target{run.agentName};
    QString reason = u"no agent yet"_s;
    while (context->clock.now() < deadline) {
        const auto answer =
            co_await context->client.call<Herdr::AgentResult>(Herdr::Method::agentGet, target);
        if (answer) {
            const Herdr::AgentInfo &agent = answer->agent;
            if (!agent.agent) {
                reason = u"no agent in the pane"_s;
            } else if (isReady(agent, provider)) {
                co_return {};
            } else if (isBlocked(agentState(agent.agentStatus))) {
                if (provider == AgentProvider::Claude)
                    co_await acceptTrustDialog(context, run.paneID);
                reason = stillLaunching + u", blocked at a startup dialog"_s;
            } else {
                reason = stillLaunching;
            }
        }
        const bool slept = co_await context->clock.sleep(pollInterval);
        if (!slept)
            break;
    }
    const auto wholeSeconds = std::chrono::duration_cast<std::chrono::seconds>(timeout).count();
    co_return failure(HerdrError::api(
        u"agent_not_ready"_s, u"%1 was not ready to take a prompt after %2s — %3"_s.arg(label(provider))
                                  .arg(wholeSeconds)
                                  .arg(reason)));
}

QCoro::Task<> acceptTrustDialog(Context context, QString paneID)
{
    for (int round = 0; round < dialogRounds; ++round) {
        const auto screen = co_await transcript(context, paneID, dialogLines);
        const auto answer = screen ? RunMatcher::trustPromptResponse(*screen) : std::nullopt;
        if (!answer)
            co_return;
        const bool sent = co_await sendText(context, paneID, *answer);
        if (!sent)
            co_return;
        co_await waitForRedraw(context, paneID, *screen);
    }
}

QCoro::Task<> waitForRedraw(Context context, QString paneID, QString before)
{
    const Date deadline = context->clock.now() + redrawLimit;
    while (context->clock.now() < deadline) {
        const auto screen = co_await transcript(context, paneID, dialogLines);
        if (screen && *screen != before)
            co_return;
        const bool slept = co_await context->clock.sleep(pollInterval);
        if (!slept)
            co_return;
    }
}

QCoro::Task<> waitUntilSettled(Context context, LaunchedRun run)
{
    const Date deadline = context->clock.now() + settleLimit;
    const Herdr::AgentTarget target{run.agentName};
    std::optional<QString> lastScreen;
    Date firstSeen{};
    while (context->clock.now() < deadline) {
        const auto answer =
            co_await context->client.call<Herdr::AgentResult>(Herdr::Method::agentGet, target);
        const AgentState state = agentState(answer ? answer->agent.agentStatus : std::nullopt);
        if (isBlocked(state)) {
            co_await acceptTrustDialog(context, run.paneID);
            lastScreen.reset();
        }
        const auto screen = co_await transcript(context, run.paneID, dialogLines);
        const Date now = context->clock.now();
        if (!screen || !isResting(state)) {
            lastScreen.reset();
        } else if (screen != lastScreen) {
            lastScreen = screen;
            firstSeen = now;
        } else if (now - firstSeen >= context->settleDwell) {
            co_return;
        }
        const bool slept = co_await context->clock.sleep(pollInterval);
        if (!slept)
            co_return;
    }
}

QCoro::Task<Outcome> waitForCodexHook(Context context, QUuid runID, QString type)
{
    const Date deadline = context->clock.now() + context->readyTimeout;
    while (context->clock.now() < deadline) {
        const auto events = context->codexEvents(runID);
        if (std::ranges::any_of(events,
                                [&type](const EventRecord &event) { return isCodexHook(event, type); }))
            co_return {};
        const bool slept = co_await context->clock.sleep(pollInterval);
        if (!slept)
            break;
    }
    co_return failure(HerdrError::api(
        u"codex_hooks_missing"_s,
        u"Codex did not report %1. Install Keelhaven's Codex hooks, enable and trust them with /hooks, then "
        u"retry. "
        u"Check ChatGPT login and folder trust in Codex first. See README → Codex Phase 1."_s.arg(type)));
}

} // namespace HerdrSession

} // namespace Keelhaven
