#include "Herdr/HerdrPrompting.h"

#include "Herdr/PromptDelivery.h"
#include "Platform/Files.h"

namespace Keelhaven::HerdrSession {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Span promptTimeout = 30s;
constexpr Span submitPoll = 500ms;
constexpr Span pasteSettle = 600ms;

const QString enter = u"\r"_s;

/// As keystrokes a carriage return is Enter, and would send the text off in pieces.
QString asKeystrokes(QString text)
{
    return text.replace(u"\r\n"_s, u"\n"_s).replace(u'\r', u'\n');
}

Outcome writeBrief(const PromptDelivery::Plan &plan)
{
    const auto *brief = std::get_if<PromptDelivery::Brief>(&plan);
    if (!brief)
        return {};
    if (auto written = writeFileAtomically(brief->file, brief->contents.toUtf8()); !written)
        return failure(HerdrError::transport(written.error().message()));
    return {};
}

} // namespace

QCoro::Task<Outcome> deliverPrompt(Context context, LaunchedRun run, QString text)
{
    const AgentProvider provider = run.provider.value_or(AgentProvider::Claude);
    const qsizetype follow = run.runDir ? PromptDelivery::briefCount(*run.runDir) : 0;
    const auto plan = PromptDelivery::plan(text, run.runDir, provider, follow);
    if (auto written = writeBrief(plan); !written)
        co_return written;
    const QString typed = PromptDelivery::typed(plan);
    const auto resting = co_await restingStates(context, run.paneID);
    const Delivery delivery{run.paneID, typed, resting, run.runID, context->clock.now()};
    const Herdr::AgentPromptParams params{run.agentName, typed};
    const auto answer =
        co_await context->client.call<Herdr::AgentResult>(Herdr::Method::agentPrompt, params, promptTimeout);
    if (!answer)
        co_return failure(answer.error());
    if (provider == AgentProvider::Claude) {
        co_await ensurePromptSubmitted(context, delivery);
        co_return {};
    }
    if (!run.runID)
        co_return {};
    const auto confirmed = co_await waitForCodexHook(context, *run.runID, u"UserPromptSubmit"_s);
    co_return confirmed;
}

QCoro::Task<QSet<AgentState>> restingStates(Context context, QString paneID)
{
    QSet<AgentState> resting{AgentState::Idle};
    const auto answer =
        co_await context->client.call<Herdr::AgentList>(Herdr::Method::agentList, Herdr::NoParams());
    const Herdr::AgentInfo *agent = answer ? answer->inPane(paneID) : nullptr;
    if (agent && agent->agentStatus == Herdr::Status::Done)
        resting.insert(AgentState::Done);
    co_return resting;
}

QCoro::Task<bool> leftIdle(Context context, Delivery delivery)
{
    const Date deadline = context->clock.now() + context->submitVerifyWindow;
    while (context->clock.now() < deadline) {
        const auto answer =
            co_await context->client.call<Herdr::AgentList>(Herdr::Method::agentList, Herdr::NoParams());
        const Herdr::AgentInfo *agent = answer ? answer->inPane(delivery.paneID) : nullptr;
        if (delivery.runID && context->promptTaken(*delivery.runID, delivery.since))
            co_return true;
        if (agent && agent->agentStatus && !delivery.resting.contains(agentState(agent->agentStatus)))
            co_return true;
        const bool slept = co_await context->clock.sleep(submitPoll);
        if (!slept)
            co_return false;
    }
    co_return false;
}

QCoro::Task<> ensurePromptSubmitted(Context context, Delivery delivery)
{
    for (int press = 0; press < 2; ++press) {
        const bool left = co_await leftIdle(context, delivery);
        if (left || context->clock.isClosed())
            co_return;
        const bool sent = co_await sendText(context, delivery.paneID, enter);
        if (!sent)
            co_return;
    }
    const bool leftAfterEnter = co_await leftIdle(context, delivery);
    if (leftAfterEnter || context->clock.isClosed())
        co_return;
    // Two presses did nothing: the text itself was lost.
    const QString keystrokes = asKeystrokes(delivery.typed);
    const bool retyped = co_await sendText(context, delivery.paneID, keystrokes);
    if (!retyped)
        co_return;
    const bool slept = co_await context->clock.sleep(pasteSettle);
    if (!slept)
        co_return;
    for (int press = 0; press < 2; ++press) {
        const bool sent = co_await sendText(context, delivery.paneID, enter);
        if (!sent)
            co_return;
        const bool left = co_await leftIdle(context, delivery);
        if (left || context->clock.isClosed())
            co_return;
    }
}

} // namespace Keelhaven::HerdrSession
