#include "App/Commands/Lookup.h"
#include "App/Commands/RunCommands.h"
#include "App/Commands/TextTable.h"
#include "Scheduler/SchedulerEngine.h"

// What runs, waits and rests at this moment.
namespace Keelhaven::RunCommands {

using namespace Qt::StringLiterals;

namespace {

JSONValue activeJSON(const ActiveRun &run)
{
    JSONObject object{{u"record"_s, encodeRecord(run.record)},
                      {u"agentState"_s, enumText(run.agentState)},
                      {u"takenOver"_s, run.takenOver}};
    if (run.lastActivityAt)
        object.set(u"lastActivityAt"_s, isoText(*run.lastActivityAt));
    return object;
}

JSONValue queuedJSON(const QueuedRun &run)
{
    JSONObject object{{u"record"_s, encodeRecord(run.record)}, {u"firedAt"_s, isoText(run.firedAt)}};
    if (run.notBefore)
        object.set(u"notBefore"_s, isoText(*run.notBefore));
    if (run.holdReason)
        object.set(u"holdReason"_s, *run.holdReason);
    return object;
}

JSONValue statusJSON(const CommandContext &context)
{
    JSONArray active;
    for (const auto &run : context.engine.active())
        active.push_back(activeJSON(*run));
    JSONArray queued;
    for (const auto &run : context.engine.queued())
        queued.push_back(queuedJSON(run));
    JSONArray parked;
    for (const auto &session : context.engine.parked())
        parked.push_back(
            JSONObject{{u"record"_s, encodeRecord(session.record)}, {u"since"_s, isoText(session.since)}});
    JSONValue next;
    if (const auto fire = context.engine.nextFire())
        next = JSONObject{{u"slotID"_s, uuidText(fire->first.id)},
                          {u"name"_s, fire->first.name},
                          {u"date"_s, isoText(fire->second)}};
    JSONObject object{{u"active"_s, std::move(active)},
                      {u"queued"_s, std::move(queued)},
                      {u"parked"_s, std::move(parked)},
                      {u"nextFire"_s, next}};
    if (context.databaseError)
        object.set(u"databaseError"_s, *context.databaseError);
    return object;
}

QString stateText(const ActiveRun &run)
{
    if (run.takenOver)
        return u"taken over"_s;
    return run.record.stalledAt ? u"waiting for input"_s : enumText(run.agentState);
}

QString section(const QString &title, const TextTable &table, const CommandContext &context)
{
    return table.isEmpty() ? QString() : title + u'\n' + table.text(context.caller.columns) + u'\n';
}

QString liveText(const CommandContext &context)
{
    TextTable live({u"RUN"_s, u"AGENT"_s, u"STATE"_s, u"STARTED"_s, u"FOLDER"_s});
    for (const auto &run : allRuns(context)) {
        if (run.place != RunPlace::Launching && run.place != RunPlace::Ending)
            continue;
        live.addRow({shortID(run.record.id), run.record.slotName, placeText(run.place),
                     localTime(run.record.startedAt, context.calendar), run.record.folder()});
    }
    for (const auto &run : context.engine.active()) {
        live.addRow({shortID(run->record.id), run->record.slotName, stateText(*run),
                     localTime(run->record.startedAt, context.calendar), run->record.folder()});
    }
    return section(u"Live"_s, live, context);
}

QString queuedText(const CommandContext &context)
{
    TextTable queued({u"RUN"_s, u"AGENT"_s, u"FIRED"_s, u"NOT BEFORE"_s, u"HELD BECAUSE"_s});
    for (const auto &run : context.engine.queued()) {
        queued.addRow({shortID(run.record.id), run.record.slotName, localTime(run.firedAt, context.calendar),
                       run.notBefore ? localTime(*run.notBefore, context.calendar) : QString(),
                       run.holdReason.value_or(QString())});
    }
    return section(u"Waiting"_s, queued, context);
}

QString parkedText(const CommandContext &context)
{
    TextTable parked({u"RUN"_s, u"AGENT"_s, u"SINCE"_s});
    for (const auto &session : context.engine.parked())
        parked.addRow({shortID(session.record.id), session.record.slotName,
                       localTime(session.since, context.calendar)});
    return section(u"Open for follow-ups"_s, parked, context);
}

} // namespace

CommandReply status(const Arguments &arguments, const CommandContext &context)
{
    if (arguments.wantsJSON())
        return CommandReply::json(statusJSON(context), context);
    CommandReply reply;
    if (context.databaseError)
        reply.error = u"keelhaven: The database did not open (%1); a temporary one is in use.\n"_s.arg(
            oneLine(*context.databaseError));
    reply.output = liveText(context) + queuedText(context) + parkedText(context);
    if (reply.output.isEmpty())
        reply.output = u"Nothing runs or waits.\n"_s;
    const auto next = context.engine.nextFire();
    reply.output += next ? u"Next: %1 at %2.\n"_s.arg(oneLine(next->first.name),
                                                      localTime(next->second, context.calendar))
                         : u"No agent is scheduled.\n"_s;
    return reply;
}

} // namespace Keelhaven::RunCommands
