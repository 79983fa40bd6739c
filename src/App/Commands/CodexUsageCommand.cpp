#include "App/Commands/CodexUsageCommand.h"

#include "App/Commands/TextTable.h"
#include "Scheduler/Usage/CodexUsageMonitor.h"
#include "Scheduler/Usage/UsageTexts.h"

namespace Keelhaven::CodexUsageCommand {

using namespace Qt::StringLiterals;

namespace {

JSONValue json(const CodexUsageMonitor &monitor)
{
    JSONArray meters;
    JSONObject object;
    if (const auto &snapshot = monitor.snapshot()) {
        object.set(u"fetchedAt"_s, isoText(snapshot->fetchedAt));
        for (const auto &[label, window] : snapshot->meters()) {
            JSONObject meter{{u"label"_s, label}, {u"percent"_s, window.percent()}};
            if (const auto date = window.resetDate())
                meter.set(u"resetsAt"_s, isoText(*date));
            meters.push_back(std::move(meter));
        }
    }
    object.set(u"meters"_s, std::move(meters));
    if (monitor.unavailable())
        object.set(u"unavailableReason"_s, monitor.unavailableReason().value_or(QString()));
    return object;
}

QString text(const CodexUsageMonitor &monitor, Date now, const CommandContext &context)
{
    const auto &snapshot = *monitor.snapshot();
    TextTable table({u"METER"_s, u"USED"_s, u"RESETS"_s});
    for (const auto &[label, window] : snapshot.meters()) {
        const auto date = window.resetDate();
        const QString resets =
            date ? u"%1, %2"_s.arg(localTime(*date, context.calendar), UsageTexts::relativeTime(*date, now))
                 : QString();
        table.addRow({label, window.caption(), resets});
    }
    // Without a word an empty table would look like a fault.
    QString text = snapshot.meters().isEmpty() ? u"Codex names no limit of a week or less.\n"_s
                                               : table.text(context.caller.columns);
    if (monitor.unavailable())
        text += u"Read %1 ago.\n"_s.arg(UsageTexts::age(snapshot.fetchedAt, now));
    return text;
}

} // namespace

QCoro::Task<CommandReply> usage(bool asJSON, CodexUsageMonitor *monitor, const Clock *clock,
                                CommandContext context)
{
    const QPointer<CodexUsageMonitor> self(monitor);
    bool isRead = false;
    // One that is under way for the window serves as well. When it is cancelled, the window's next one may
    // have begun.
    while (self && !isRead && self->isLoading())
        isRead = co_await self->readingEnd();
    if (self && !isRead)
        co_await self->refresh();
    if (!self || (!self->snapshot() && !self->unavailable()))
        co_return CommandReply::refused(u"Keelhaven is going down."_s);
    CommandReply reply;
    if (asJSON)
        reply = CommandReply::json(json(*self), context);
    else if (self->snapshot())
        reply.output = text(*self, clock->now(), context);
    const QStringList notices = self->notices(clock->now());
    if (self->unavailable()) {
        reply.exit = ExitStatus::Refused;
        for (const QString &notice : notices)
            reply.error += u"keelhaven: "_s + notice + u'\n';
    }
    co_return reply;
}

} // namespace Keelhaven::CodexUsageCommand
