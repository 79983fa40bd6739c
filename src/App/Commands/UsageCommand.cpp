#include "App/Commands/UsageCommand.h"

#include "App/AppModel.h"
#include "App/Commands/CodexUsageCommand.h"
#include "App/Commands/TextTable.h"
#include "Platform/Uuid.h"
#include "Scheduler/SchedulerEngine.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "Scheduler/Usage/UsageTexts.h"
#include "Scheduler/UsageGatedAdmission.h"

namespace Keelhaven::UsageCommand {

using namespace Qt::StringLiterals;
using Meter = UsageSnapshot::Meter;

namespace {

/// What the gate would say now to a scheduled run of an agent.
struct AgentAdmission
{
    SchedulerSlot agent;
    Admission admission;
};

/// All that the answer tells.
struct UsageView
{
    std::optional<UsageSnapshot> estimated;
    Date now{};
    std::optional<int> sessionCap;
    std::optional<int> paceSlack;
    Admission usual;              ///< of an agent without a cap of its own
    QList<AgentAdmission> others; ///< agents for which the answer is another
    std::optional<QString> refreshError;

    [[nodiscard]] static UsageView look(const CommandContext &context);
};

UsageView UsageView::look(const CommandContext &context)
{
    const auto &monitor = *context.usage;
    const auto gate = UsageGatedAdmission::fromSettings(context.settings);
    UsageView view{.estimated = monitor.estimated(),
                   .now = context.now,
                   .sessionCap = gate.sessionCapDefault(),
                   .paceSlack = gate.paceSlackPoints(),
                   .usual = {},
                   .others = {},
                   .refreshError = monitor.lastRefreshError()};
    const AdmissionContext scheduled{view.estimated, view.now, RunTrigger::Scheduled};
    view.usual = gate.admit(SchedulerSlot(), scheduled);
    for (const auto &agent : context.engine.slotList()) {
        const auto admission = gate.admit(agent, scheduled);
        if (agent.enabled && agent.provider == AgentProvider::Claude && admission != view.usual)
            view.others.append({agent, admission});
    }
    return view;
}

QString kindText(const Meter::Kind &kind)
{
    switch (kind.type) {
    case Meter::Kind::Type::Session:
        return u"session"_s;
    case Meter::Kind::Type::WeeklyAll:
        return u"weeklyAll"_s;
    case Meter::Kind::Type::WeeklyModel:
        break;
    }
    return u"weeklyModel"_s;
}

JSONValue meterJSON(const Meter &meter, Date now)
{
    JSONObject object{
        {u"kind"_s, kindText(meter.kind)}, {u"label"_s, meter.label()},
        {u"percent"_s, meter.percent},     {u"estimatedExtra"_s, meter.estimatedExtra},
        {u"isActive"_s, meter.isActive},   {u"aheadOfPace"_s, UsageTexts::aheadOfPace(meter, now)}};
    if (meter.resetsAt)
        object.set(u"resetsAt"_s, isoText(*meter.resetsAt));
    return object;
}

JSONObject admissionJSON(const Admission &admission)
{
    const bool isHeld = admission.kind == Admission::Kind::Defer;
    JSONObject object{{u"held"_s, isHeld}};
    if (isHeld) {
        object.set(u"until"_s, isoText(admission.until));
        object.set(u"reason"_s, admission.reason);
    }
    return object;
}

JSONValue json(const UsageView &view)
{
    JSONArray meters;
    JSONObject object;
    if (view.estimated) {
        if (view.estimated->fetchedAt != distantPast)
            object.set(u"fetchedAt"_s, isoText(view.estimated->fetchedAt));
        for (const auto &meter : view.estimated->meters)
            meters.push_back(meterJSON(meter, view.now));
    }
    object.set(u"meters"_s, std::move(meters));
    if (const auto notice = UsageTexts::notice(view.estimated, view.now))
        object.set(u"notice"_s, *notice);
    if (view.refreshError)
        object.set(u"lastRefreshError"_s, *view.refreshError);
    if (view.sessionCap)
        object.set(u"sessionCapPercent"_s, *view.sessionCap);
    if (view.paceSlack)
        object.set(u"paceSlack"_s, *view.paceSlack);
    object.set(u"scheduledRuns"_s, admissionJSON(view.usual));
    JSONArray agents;
    for (const auto &other : view.others) {
        JSONObject agent = admissionJSON(other.admission);
        agent.set(u"slotID"_s, uuidText(other.agent.id));
        agent.set(u"name"_s, other.agent.name);
        agents.push_back(std::move(agent));
    }
    object.set(u"agentsOtherwise"_s, std::move(agents));
    return object;
}

QString metersText(const UsageSnapshot &snapshot, Date now, const CommandContext &context)
{
    TextTable table({u"METER"_s, u"USED"_s, u"ESTIMATED SINCE"_s, u"RESETS"_s, u"PACE"_s});
    for (const auto &meter : snapshot.meters) {
        const QString extra = meter.estimatedExtra == 0 ? QString() : u"≈ +%1%"_s.arg(meter.estimatedExtra);
        const QString resets = meter.resetsAt
                                   ? u"%1, %2"_s.arg(localTime(*meter.resetsAt, context.calendar),
                                                     UsageTexts::relativeTime(*meter.resetsAt, now))
                                   : QString();
        table.addRow({meter.label(), u"%1%"_s.arg(meter.percent), extra, resets,
                      UsageTexts::aheadOfPace(meter, now) ? u"ahead"_s : QString()});
    }
    return table.text(context.caller.columns);
}

QString admissionText(const Admission &admission, const CommandContext &context)
{
    if (admission.kind != Admission::Kind::Defer)
        return u"may start"_s;
    return u"wait until %1 at least: %2"_s.arg(localTime(admission.until, context.calendar),
                                               oneLine(admission.reason));
}

QString rulesText(const UsageView &view)
{
    const QString cap = view.sessionCap ? u"session cap %1%"_s.arg(*view.sessionCap) : u"no session cap"_s;
    const QString pace = view.paceSlack ? u"weekly pace guard with +%1 points"_s.arg(*view.paceSlack)
                                        : u"no weekly pace guard"_s;
    return cap + u", "_s + pace;
}

QString text(const UsageView &view, const CommandContext &context)
{
    QString text;
    if (view.estimated) {
        text = metersText(*view.estimated, view.now, context);
        if (view.estimated->fetchedAt != distantPast)
            text += u"Read %1 ago.\n"_s.arg(UsageTexts::age(view.estimated->fetchedAt, view.now));
    }
    if (const auto notice = UsageTexts::notice(view.estimated, view.now))
        return text + *notice + u'\n';
    text += u"Scheduled runs %1 (%2).\n"_s.arg(admissionText(view.usual, context), rulesText(view));
    for (const auto &other : view.others)
        text += u"Runs of %1 %2.\n"_s.arg(oneLine(other.agent.name), admissionText(other.admission, context));
    return text;
}

} // namespace

QCoro::Task<CommandReply> usage(Arguments arguments, CommandContext context)
{
    if (arguments.isSet(u"codex")) {
        auto &model = *context.model;
        const auto reply = co_await CodexUsageCommand::usage(arguments.wantsJSON(), &model.codexUsage(),
                                                             &model.clock(), context);
        co_return reply;
    }
    const QPointer<UsageMonitor> monitor(context.usage);
    if (arguments.isSet(u"refresh")) {
        if (monitor->refreshing())
            co_return CommandReply::refused(u"a refresh is already under way."_s);
        co_await monitor->refreshLive();
    } else {
        const auto measured = co_await monitor->fileSnapshot();
        if (monitor)
            monitor->adopt(measured);
    }
    if (!monitor)
        co_return CommandReply::refused(u"Keelhaven is going down."_s);
    const auto view = UsageView::look(context);
    CommandReply reply = arguments.wantsJSON() ? CommandReply::json(json(view), context)
                                               : CommandReply{.output = text(view, context)};
    if (arguments.isSet(u"refresh") && view.refreshError) {
        reply.exit = ExitStatus::Refused;
        reply.error = u"keelhaven: "_s + *view.refreshError + u'\n';
    }
    co_return reply;
}

} // namespace Keelhaven::UsageCommand
