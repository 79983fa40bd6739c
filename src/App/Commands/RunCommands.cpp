#include "App/Commands/RunCommands.h"

#include "App/AppModel.h"
#include "App/AppSelection.h"
#include "App/Commands/Lookup.h"
#include "App/Commands/TextTable.h"
#include "Notifications/DeepLink.h"
#include "Scheduler/SchedulerEngine.h"

namespace Keelhaven::RunCommands {

using namespace Qt::StringLiterals;

namespace {

constexpr int defaultLimit = 20;

/// Without an id: the host shows the session that was handed over, also when its record has closed since.
const QString joins = u"; \"keelhaven attach\" joins it."_s;

QString outcomeText(const RunRecord &record)
{
    return record.outcome ? record.outcome->label() : QString();
}

QString minutesText(const RunRecord &record)
{
    const auto minutes = record.minutes();
    return minutes ? QString::number(*minutes, 'f', 1) : QString();
}

/// What a person wants to know of a finished run first.
QString gist(const RunRecord &record)
{
    if (record.outcome && !record.outcome->text.isEmpty())
        return record.outcome->text;
    return record.summary.value_or(record.completionMessage.value_or(QString()));
}

QString described(const RunRecord &record)
{
    return u"run %1 of \"%2\""_s.arg(shortID(record.id), oneLine(record.slotName));
}

/// Why the run has no session that a person could be given, now or again.
std::optional<QString> notResumable(const FoundRun &run)
{
    switch (run.place) {
    case RunPlace::Queued:
        return u"The %1 has not started yet."_s.arg(described(run.record));
    case RunPlace::Launching:
        return u"The %1 is just being launched; try again once it is live."_s.arg(described(run.record));
    case RunPlace::Ending:
        return u"The %1 is just ending; try again once it has."_s.arg(described(run.record));
    case RunPlace::Live:
    case RunPlace::Finished:
        break;
    }
    return std::nullopt;
}

/// The run that carries on the conversation of `run`: itself, or one that is live or on its way.
FoundRun carrierOf(const FoundRun &run, const CommandContext &context)
{
    if (run.place == RunPlace::Live)
        return run;
    const auto session = run.record.sessionID;
    for (const auto &other : allRuns(context)) {
        const bool isOver = other.place == RunPlace::Finished || other.place == RunPlace::Ending;
        if (!isOver && (other.record.sessionID == session || other.record.resumeSessionID == session))
            return other;
    }
    return run;
}

CommandReply setHidden(const Arguments &arguments, const CommandContext &context, bool isHidden)
{
    const auto run = findRun(context, arguments.operand());
    if (!run)
        return CommandReply::refused(run.error());
    if (run->place != RunPlace::Finished)
        return CommandReply::refused(
            u"The %1 has not ended; only finished runs can be hidden."_s.arg(described(run->record)));
    context.engine.setHidden(run->record.id, isHidden);
    if (arguments.wantsJSON()) {
        const auto now = findRun(context, uuidText(run->record.id));
        return CommandReply::json(encodeRecord(now ? now->record : run->record), context);
    }
    const QString what = isHidden ? u"Hid the %1; \"keelhaven runs list --all\" still lists it."_s
                                  : u"The %1 shows in lists again."_s;
    return CommandReply::done(what.arg(described(run->record)));
}

} // namespace

std::optional<QString> checkLimit(QStringView text)
{
    bool isNumber = false;
    return text.toInt(&isNumber) > 0 && isNumber ? std::nullopt : std::optional(u"is no number of runs"_s);
}

CommandReply list(const Arguments &arguments, const CommandContext &context)
{
    std::optional<QUuid> agent;
    if (const auto text = arguments.value(u"agent")) {
        const auto slot = findAgent(context.engine.slotList(), *text);
        if (slot)
            agent = slot->id;
        else if (!(agent = uuidFromText(*text))) // a deleted agent's runs are still found by its full id
            return CommandReply::refused(slot.error());
    }
    const bool all = arguments.isSet(u"all");
    const qsizetype limit = arguments.integer(u"limit").value_or(all ? INT_MAX : defaultLimit);
    QList<RunRecord> records;
    for (const auto &record : context.engine.history()) {
        if (records.size() >= limit)
            break;
        if ((!agent || record.slotID == *agent) && (all || !record.isHidden()))
            records.append(record);
    }
    if (arguments.wantsJSON())
        return CommandReply::json(JSONCodec<QList<RunRecord>>::encode(records), context);
    if (records.isEmpty())
        return CommandReply::done(u"No finished runs."_s);
    TextTable table(
        {u"RUN"_s, u"AGENT"_s, u"STARTED"_s, u"MINUTES"_s, u"OUTCOME"_s, u"FOLDER"_s, u"RESULT"_s});
    for (const auto &record : std::as_const(records)) {
        table.addRow({shortID(record.id), record.slotName, localTime(record.startedAt, context.calendar),
                      minutesText(record), outcomeText(record), record.folder(), gist(record)});
    }
    return {.output = table.text(context.caller.columns)};
}

CommandReply show(const Arguments &arguments, const CommandContext &context)
{
    const auto run = findRun(context, arguments.operand());
    if (!run)
        return CommandReply::refused(run.error());
    const RunRecord &record = run->record;
    if (arguments.wantsJSON())
        return CommandReply::json(encodeRecord(record), context);
    QString text;
    const auto line = [&](const QString &name, const QString &value) {
        if (!value.isEmpty())
            text += u"%1  %2\n"_s.arg(name, -9).arg(value);
    };
    line(u"Run"_s, uuidText(record.id));
    line(u"Agent"_s, oneLine(record.slotName));
    line(u"State"_s, record.outcome ? outcomeText(record) : placeText(run->place));
    line(u"Trigger"_s, enumText(record.trigger));
    line(u"Provider"_s,
         enumText(record.resolvedProvider()) + (record.model ? u' ' + *record.model : QString()));
    line(u"Folder"_s, oneLine(record.folder()));
    line(u"Started"_s, localTime(record.startedAt, context.calendar));
    line(u"Ended"_s, record.endedAt ? localTime(*record.endedAt, context.calendar) : QString());
    line(u"Waiting"_s, record.stalledAt
                           ? u"for a person since "_s + localTime(*record.stalledAt, context.calendar)
                           : QString());
    line(u"Session"_s, oneLine(record.sessionID.value_or(QString())));
    line(u"Tokens"_s, record.usage ? QString::number(record.usage->workTokens()) : QString());
    line(u"Prompt"_s, oneLine(record.command));
    line(u"Reason"_s, record.outcome ? oneLine(record.outcome->text) : QString());
    line(u"Summary"_s, oneLine(record.summary.value_or(QString())));
    line(u"Message"_s, oneLine(record.completionMessage.value_or(QString())));
    line(u"Feedback"_s, oneLine(record.feedback.value_or(QString())));
    return {.output = text};
}

CommandReply stop(const Arguments &arguments, const CommandContext &context)
{
    const auto run = findRun(context, arguments.operand());
    if (!run)
        return CommandReply::refused(run.error());
    const QUuid id = run->record.id;
    switch (run->place) {
    case RunPlace::Launching:
        return CommandReply::refused(
            u"The %1 is just being launched; stop it once it is live."_s.arg(described(run->record)));
    case RunPlace::Finished:
        return CommandReply::refused(u"The %1 has ended already."_s.arg(described(run->record)));
    case RunPlace::Ending:
        break;
    case RunPlace::Queued:
        context.engine.dequeue(id);
        break;
    case RunPlace::Live:
        context.engine.stop(id);
        break;
    }
    if (arguments.wantsJSON()) {
        const auto now = findRun(context, uuidText(id));
        return CommandReply::json(encodeRecord(now ? now->record : run->record), context);
    }
    const QString what =
        run->place == RunPlace::Queued ? u"Took the %1 out of the queue."_s : u"Stopping the %1."_s;
    return CommandReply::done(what.arg(described(run->record)));
}

QCoro::Task<CommandReply> resume(Arguments arguments, CommandContext context)
{
    const auto run = findRun(context, arguments.operand());
    if (!run)
        co_return CommandReply::refused(run.error());
    if (const auto reason = notResumable(*run))
        co_return CommandReply::refused(*reason);
    // Its user may have ended a session that was left open.
    if (run->record.sessionID)
        co_await context.engine.forgetGoneSessions(*run->record.sessionID);
    if (const auto reason = context.engine.resume(run->record.id))
        co_return CommandReply::refused(*reason);
    const FoundRun carrier = carrierOf(*run, context);
    if (arguments.wantsJSON())
        co_return CommandReply::json(encodeRecord(carrier.record), context);
    QString what = u"A session for you is on its way as the %1"_s;
    if (carrier.place == RunPlace::Live)
        what = u"The session of the %1 is live and now yours"_s;
    else if (carrier.place == RunPlace::Finished && context.engine.openSession(*carrier.record.sessionID))
        what = u"The session of the %1 is still open"_s;
    co_return CommandReply::done(what.arg(described(carrier.record)) + joins);
}

CommandReply takeOver(const Arguments &arguments, const CommandContext &context)
{
    const auto run = findRun(context, arguments.operand());
    if (!run)
        return CommandReply::refused(run.error());
    if (run->place == RunPlace::Finished)
        return CommandReply::refused(
            u"The %1 has ended already; \"keelhaven runs resume %2\" picks its conversation up."_s.arg(
                described(run->record), shortID(run->record.id)));
    if (const auto reason = notResumable(*run))
        return CommandReply::refused(*reason);
    context.engine.takeOver(run->record.id);
    if (arguments.wantsJSON())
        return CommandReply::json(encodeRecord(run->record), context);
    return CommandReply::done(
        u"The %1 is yours now and goes on without Keelhaven's help"_s.arg(described(run->record)) + joins);
}

CommandReply hide(const Arguments &arguments, const CommandContext &context)
{
    return setHidden(arguments, context, true);
}

CommandReply unhide(const Arguments &arguments, const CommandContext &context)
{
    return setHidden(arguments, context, false);
}

CommandReply remove(const Arguments &arguments, const CommandContext &context)
{
    const auto run = findRun(context, arguments.operand());
    if (!run)
        return CommandReply::refused(run.error());
    if (run->place != RunPlace::Finished)
        return CommandReply::refused(u"The %1 has not ended; stop it first."_s.arg(described(run->record)));
    context.engine.remove(run->record.id);
    if (arguments.wantsJSON())
        return CommandReply::json(encodeRecord(run->record), context);
    return CommandReply::done(u"Removed the %1."_s.arg(described(run->record)));
}

CommandReply open(const Arguments &arguments, const CommandContext &context)
{
    const QString &link = arguments.operand();
    const auto parsed = DeepLink::parse(link);
    if (!parsed)
        return CommandReply::refused(
            u"Only keelhaven:// links of at most %1 bytes can be opened."_s.arg(DeepLink::maximumLength));
    context.openLink(link);
    if (arguments.wantsJSON())
        return CommandReply::json(JSONObject{{u"link"_s, link}}, context);
    if (!parsed->wantsWindow() || context.model->selection().hasWindow())
        return {};
    return CommandReply::done(
        u"Keelhaven runs without a window. To have one, end it (\"kill %1\", which ends its live runs as "
        "well) and start \"keelhaven\"."_s.arg(QCoreApplication::applicationPid()));
}

} // namespace Keelhaven::RunCommands
