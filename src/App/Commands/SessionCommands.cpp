#include "App/Commands/SessionCommands.h"

#include "App/AppModel.h"
#include "App/Commands/Lookup.h"
#include "App/Commands/PlainLines.h"
#include "App/Commands/TextTable.h"
#include "Herdr/HerdrLocator.h"
#include "Journal/JournalIngestor.h"

namespace Keelhaven::SessionCommands {

using namespace Qt::StringLiterals;

namespace {

constexpr int liveLines = 2000; ///< of a screen that still changes
constexpr int reportsShown = 1000;

/// The run's live session, or the one that was left open with its conversation.
std::optional<LaunchedRun> sessionOf(const SchedulerEngine &engine, const RunRecord &record)
{
    for (const auto &run : engine.active()) {
        if (run->record.id == record.id)
            return run->launched;
    }
    const auto parked = engine.parked().constFind(record.id);
    if (parked != engine.parked().constEnd())
        return parked->launched;
    return record.sessionID ? engine.openSession(*record.sessionID) : std::nullopt;
}

JSONValue journalJSON(const QList<JournalEvent> &events)
{
    JSONArray list;
    for (const auto &event : events)
        list.push_back(JSONObject{{u"date"_s, isoText(event.date())},
                                  {u"kind"_s, enumText(event.kind)},
                                  {u"text"_s, event.summaryLine()}});
    return list;
}

QString journalText(const QList<JournalEvent> &events, qint64 leftOut, const Calendar &calendar)
{
    QString text;
    if (leftOut > 0)
        text = leftOut == 1 ? u"An earlier report is left out; --limit takes more.\n"_s
                            : u"%1 earlier reports are left out; --limit takes more.\n"_s.arg(leftOut);
    for (const auto &event : events)
        text += u"%1  %2  %3\n"_s.arg(localTime(event.date(), calendar),
                                      enumText(event.kind).leftJustified(8), oneLine(event.summaryLine()));
    return text;
}

} // namespace

std::optional<QString> checkLimit(QStringView text)
{
    bool isNumber = false;
    return text.toInt(&isNumber) > 0 && isNumber ? std::nullopt : std::optional(u"is no number of reports"_s);
}

QCoro::Task<CommandReply> logs(Arguments arguments, CommandContext context)
{
    const auto run = findRun(context, arguments.operand());
    if (!run)
        co_return CommandReply::refused(run.error());
    const QUuid id = run->record.id;
    AppModel &model = *context.model;
    auto screen = model.scheduler().scrollback(id);
    const auto session = sessionOf(model.scheduler(), run->record);
    if (session && run->place == RunPlace::Live)
        screen = co_await model.launcher().transcript(*session, liveLines);
    const auto events = model.journal().events(id, arguments.integer(u"limit").value_or(reportsShown));
    const qint64 leftOut = model.journal().eventCount(id) - events.size();
    if (arguments.wantsJSON()) {
        const JSONObject json{{u"runID"_s, uuidText(id)},
                              {u"scrollback"_s, screen ? JSONValue(*screen) : JSONValue()},
                              {u"journal"_s, journalJSON(events)},
                              {u"journalLeftOut"_s, leftOut}};
        co_return CommandReply::json(json, context);
    }
    const QString shown = screen ? plainLines(*screen) : u"No screen of this run was kept.\n"_s;
    const QString journal = journalText(events, leftOut, context.calendar);
    CommandReply reply;
    reply.output = journal.isEmpty() ? shown : shown + u"\nJournal\n"_s + journal;
    co_return reply;
}

QCoro::Task<CommandReply> attach(Arguments arguments, CommandContext context)
{
    AppModel &model = *context.model;
    std::optional<LaunchedRun> session;
    if (!arguments.operand().isEmpty()) {
        const auto run = findRun(context, arguments.operand());
        if (!run)
            co_return CommandReply::refused(run.error());
        // Its user may have ended a session that was left open.
        if (run->record.sessionID)
            co_await model.scheduler().forgetGoneSessions(*run->record.sessionID);
        session = sessionOf(model.scheduler(), run->record);
        if (!session)
            co_return CommandReply::refused(
                u"The run %1 has no open session; \"keelhaven logs %1\" shows what it wrote."_s.arg(
                    shortID(run->record.id)));
    }
    const bool hasTerminal = context.caller.isTerminal() && context.caller.inputIsTerminal;
    if (!hasTerminal && !arguments.wantsJSON())
        co_return CommandReply::refused(u"A session can only be joined from a terminal."_s);
    const auto binary = co_await model.herdrLocator().resolveBinaryWithSource();
    if (!binary)
        co_return CommandReply::refused(
            u"The session host is not in place; \"keelhaven doctor\" tells more."_s);
    if (session)
        co_await model.launcher().focus(*session);
    const QStringList command{binary->path, u"--session"_s, u"keelhaven"_s};
    if (arguments.wantsJSON()) {
        const JSONValue words = JSONCodec<QStringList>::encode(command);
        co_return CommandReply::json(JSONObject{{u"command"_s, words}}, context);
    }
    // What a pane of the host tells its programs must not lead the host astray.
    CommandReply reply;
    reply.become = QStringList{u"/usr/bin/env"_s};
    for (const QString &name :
         {u"HERDR_ENV"_s, u"HERDR_SOCKET_PATH"_s, u"HERDR_CLIENT_SOCKET_PATH"_s, u"HERDR_PANE_ID"_s})
        reply.become += QStringList{u"-u"_s, name};
    reply.become += command;
    co_return reply;
}

} // namespace Keelhaven::SessionCommands
