#include "App/Commands/WatchCommand.h"

#include "App/Commands/Lookup.h"
#include "App/Commands/TextTable.h"

namespace Keelhaven::WatchCommand {

using namespace Qt::StringLiterals;

namespace {

/// What the line says behind the agent's name.
QString detail(const EngineEvent &event)
{
    if (event.kind != EngineEvent::Kind::Finished || !event.record.outcome)
        return event.text;
    const auto &outcome = *event.record.outcome;
    const QString more =
        !outcome.text.isEmpty()
            ? outcome.text
            : event.record.summary.value_or(event.record.completionMessage.value_or(QString()));
    return more.isEmpty() ? outcome.label() : outcome.label() + u": "_s + more;
}

} // namespace

QString word(EngineEvent::Kind kind)
{
    switch (kind) {
    case EngineEvent::Kind::Fired:
        return u"fired"_s;
    case EngineEvent::Kind::Queued:
        return u"queued"_s;
    case EngineEvent::Kind::Held:
        return u"held"_s;
    case EngineEvent::Kind::SessionOpened:
        return u"sessionOpened"_s;
    case EngineEvent::Kind::PromptTaken:
        return u"promptTaken"_s;
    case EngineEvent::Kind::Launched:
        return u"launched"_s;
    case EngineEvent::Kind::PromptResent:
        return u"promptResent"_s;
    case EngineEvent::Kind::Waiting:
        return u"waiting"_s;
    case EngineEvent::Kind::Progress:
        return u"progress"_s;
    case EngineEvent::Kind::Question:
        return u"question"_s;
    case EngineEvent::Kind::Finished:
        return u"finished"_s;
    }
    return {};
}

QString line(const EngineEvent &event, Date now, const Calendar &calendar, bool asJSON)
{
    if (asJSON) {
        JSONObject object{{u"event"_s, word(event.kind)}, {u"at"_s, isoText(now)}};
        if (!event.text.isEmpty())
            object.set(u"text"_s, event.text);
        object.set(u"record"_s, encodeRecord(event.record));
        return JSONValue(object).serialized() + u'\n';
    }
    const QString time = toQDateTime(now).toTimeZone(calendar.zone()).toString(u"HH:mm:ss"_s);
    const QString text = oneLine(detail(event));
    return u"%1  %2  %3  %4"_s.arg(time)
               .arg(word(event.kind), -13)
               .arg(shortID(event.record.id), oneLine(event.record.slotName)) +
           (text.isEmpty() ? QString() : u"  "_s + text) + u'\n';
}

} // namespace Keelhaven::WatchCommand
