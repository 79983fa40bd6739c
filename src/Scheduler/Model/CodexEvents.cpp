#include "Scheduler/Model/CodexEvents.h"

#include "Platform/Files.h"
#include "Platform/Uuid.h"

namespace Keelhaven::CodexEvents {

using namespace Qt::StringLiterals;

QList<EventRecord> read(const QUuid &runID, const QString &directory)
{
    const auto bytes = readFile(directory + u'/' + uuidText(runID) + u".jsonl"_s);
    QList<EventRecord> events;
    if (!bytes)
        return events;
    for (const QString &line : QString::fromUtf8(*bytes).split(u'\n', Qt::SkipEmptyParts)) {
        const auto event = EventRecord::fromLine(line);
        if (event && event->provider == u"codex"_s && event->runID == runID)
            events.append(*event);
    }
    return events;
}

RunMatcher::Assessment assess(const RunMatcher::RunKey &key, const QList<EventRecord> &events)
{
    const auto isOwn = [&](const EventRecord &event) {
        return event.provider == u"codex"_s && event.runID == key.runID;
    };
    const auto first = std::ranges::find_if(events, [&](const EventRecord &event) {
        return isOwn(event) && event.type == u"SessionStart" && event.sessionId;
    });
    RunMatcher::Assessment result;
    if (first == events.end())
        return result;
    result.capturedSessionID = first->sessionId;

    std::optional<QString> activeTurn;
    QSet<QString> agents;
    bool done = false;
    std::optional<QString> message;
    for (const auto &event : events) {
        if (!isOwn(event) || event.sessionId != result.capturedSessionID ||
            (key.eventFloor && event.date() < *key.eventFloor))
            continue;
        result.lastActivityAt = std::max(result.lastActivityAt.value_or(distantPast), event.date());
        if (event.type == u"UserPromptSubmit") {
            activeTurn = event.turnID;
            done = false;
            message.reset();
        } else if (event.type == u"SubagentStart") {
            agents.insert(event.agentID.value_or(QString()));
        } else if (event.type == u"SubagentStop") {
            agents.remove(event.agentID.value_or(QString()));
        } else if (event.type == u"Stop") {
            if (event.turnID && (!activeTurn || activeTurn == event.turnID)) {
                activeTurn = event.turnID;
                done = true;
                message = event.lastMessage;
            }
        } else if (event.type == u"Interrupt" || event.type == u"PostToolUse") {
            done = false;
            message.reset();
        }
    }
    result.completed = done && agents.isEmpty();
    if (result.completed)
        result.completionMessage = message;
    return result;
}

} // namespace Keelhaven::CodexEvents
