#include "App/Commands/SweepCommand.h"

#include "App/AppModel.h"
#include "App/Commands/Lookup.h"
#include "App/Commands/PlainLines.h"
#include "App/Commands/TextTable.h"
#include "Contract/SettingsCatalog.h"
#include "Scheduler/SweepRunner.h"

namespace Keelhaven::SweepCommand {

using namespace Qt::StringLiterals;

namespace {

JSONValue recordJSON(const std::optional<RunRecord> &record)
{
    return record ? encodeRecord(*record) : JSONValue();
}

CommandReply started(const SweepStart &start, const CommandContext &context, bool asJSON)
{
    switch (start.kind) {
    case SweepStart::Kind::Queued:
        break;
    case SweepStart::Kind::UnderWay:
        return CommandReply::refused(u"A sweep is under way already; \"keelhaven status\" shows it."_s);
    case SweepStart::Kind::RanRecently: {
        const auto last = Setting::read(context.settings, Setting::keelhavenLastSweepAt);
        return CommandReply::refused(
            u"Keelhaven last saw to a sweep at %1, less than two hours ago; --force starts another."_s.arg(
                last ? localTime(*last, context.calendar) : QString()));
    }
    case SweepStart::Kind::Blocked:
        return CommandReply::refused(u"%1 (\"keelhaven setup\" tells what to do)"_s.arg(start.reason));
    case SweepStart::Kind::TabBusy:
        return CommandReply::refused(
            u"A tab of an earlier sweep still holds a session at work; \"keelhaven attach\" shows it."_s);
    case SweepStart::Kind::Quitting:
        return CommandReply::refused(u"Keelhaven is quitting."_s);
    }
    if (asJSON)
        return CommandReply::json(JSONCodec<QList<QUuid>>::encode(start.runs), context);
    return CommandReply::done(
        u"Queued the sweep as run %1; \"keelhaven sweep --report\" shows what it says."_s.arg(
            uuidText(start.runs.first())));
}

QString headline(const RunRecord &sweep, const CommandContext &context)
{
    return u"%1  %2  run %3, %4\n"_s.arg(localTime(sweep.startedAt, context.calendar),
                                         oneLine(sweep.slotName), shortID(sweep.id), sweep.outcome->label());
}

QString lines(const QString &heading, const QList<RunRecord> &records, const CommandContext &context)
{
    if (records.isEmpty())
        return {};
    QString text = u'\n' + heading + u'\n';
    for (const auto &record : records)
        text += u"  "_s + headline(record, context);
    return text;
}

CommandReply report(SweepRunner &runner, const CommandContext &context, bool asJSON)
{
    const auto report = MorningReport::from(context.engine.history());
    const auto live = runner.liveSweep();
    const auto queued = runner.queuedSweep();
    const auto launching = runner.launchingSweep();
    if (asJSON) {
        JSONObject json{{u"latest"_s, recordJSON(report.latest)},
                        {u"earlier"_s, JSONCodec<QList<RunRecord>>::encode(report.earlier)},
                        {u"followUps"_s, JSONCodec<QList<RunRecord>>::encode(report.followUps)},
                        {u"live"_s, live ? encodeRecord(live->record) : JSONValue()},
                        {u"launching"_s, recordJSON(launching)},
                        {u"queued"_s, queued ? encodeRecord(queued->record) : JSONValue()}};
        if (report.resumeBlockedReason)
            json.set(u"resumeBlockedReason"_s, *report.resumeBlockedReason);
        return CommandReply::json(json, context);
    }
    QString text;
    if (live)
        text += u"Live: %1, run %2\n"_s.arg(oneLine(live->record.slotName), shortID(live->record.id));
    else if (queued)
        text += u"Waiting: "_s + oneLine(queued->record.slotName) + u'\n';
    else if (launching)
        text += u"Starting: %1, run %2\n"_s.arg(oneLine(launching->slotName), shortID(launching->id));
    const bool isUnderWay = !text.isEmpty();
    if (!report.latest) {
        text += isUnderWay ? u"No sweep has ended yet.\n"_s
                           : u"No sweep has ended yet; \"keelhaven sweep\" starts one.\n"_s;
        return {.output = text};
    }
    text += headline(*report.latest, context) + u'\n';
    if (SweepOverview::hasMessage(*report.latest))
        text += plainLines(report.latest->completionMessage->trimmed());
    else if (!report.latest->outcome->text.isEmpty())
        text += plainLines(report.latest->outcome->text);
    else
        text += u"It left no message.\n"_s;
    text += lines(u"Gone on with"_s, report.followUps, context);
    text += lines(u"Earlier reports, shown by \"keelhaven runs show\""_s, report.earlier, context);
    return {.output = text};
}

CommandReply resume(SweepRunner &runner, const CommandContext &context, bool asJSON)
{
    if (const auto reason = runner.resumeLatestSweep())
        return CommandReply::refused(*reason);
    if (asJSON)
        return CommandReply::json(JSONObject{{u"resumed"_s, recordJSON(runner.latestSweep())}}, context);
    return CommandReply::done(
        u"Opening the sweep's conversation; \"keelhaven attach\" joins it as soon as it is live."_s);
}

} // namespace

std::optional<QString> check(const Arguments &arguments)
{
    const int wishes =
        int(arguments.isSet(u"force")) + int(arguments.isSet(u"report")) + int(arguments.isSet(u"resume"));
    return wishes > 1 ? std::optional(u"only one of --force, --report and --resume can be given"_s)
                      : std::nullopt;
}

QCoro::Task<CommandReply> sweep(Arguments arguments, CommandContext context)
{
    SweepRunner &runner = context.model->sweep();
    const bool asJSON = arguments.wantsJSON();
    if (arguments.isSet(u"report"))
        co_return report(runner, context, asJSON);
    if (arguments.isSet(u"resume"))
        co_return resume(runner, context, asJSON);
    const SweepStart start = co_await runner.start(arguments.isSet(u"force"));
    co_return started(start, context, asJSON);
}

} // namespace Keelhaven::SweepCommand
