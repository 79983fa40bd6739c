#include "Scheduler/Model/CodexEvents.h"

#include "Platform/Files.h"
#include "Platform/Uuid.h"

#include <sys/stat.h>

namespace Keelhaven::CodexEvents {

using namespace Qt::StringLiterals;

namespace {

/// More than the runs that can be live at once.
constexpr qsizetype logsKept = 64;

QString pathOf(const QUuid &runID, const QString &directory)
{
    return directory + u'/' + uuidText(runID) + u".jsonl"_s;
}

} // namespace

QList<EventRecord> read(const QUuid &runID, const QString &directory)
{
    const auto bytes = readFile(pathOf(runID, directory));
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

Reader::Reader(QString directory)
    : m_directory(std::move(directory))
    , m_logs(logsKept)
{}

QList<EventRecord> Reader::operator()(const QUuid &runID)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(pathOf(runID, m_directory)).constData(), &info) != 0)
        return {};
    const qint64 mtime = qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec;
    const Log *known = m_logs.object(runID);
    if (known && known->mtimeNanoseconds == mtime && known->size == info.st_size &&
        known->inode == info.st_ino)
        return known->events;
    // The stamp is older than what is read, so a line written in between is seen by the next look.
    const auto events = read(runID, m_directory);
    m_logs.insert(runID, new Log{mtime, info.st_size, info.st_ino, events});
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
