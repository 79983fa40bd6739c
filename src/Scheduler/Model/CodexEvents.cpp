#include "Scheduler/Model/CodexEvents.h"

#include "Platform/Uuid.h"

#include <QDir>
#include <numeric>

namespace Keelhaven::CodexEvents {

using namespace Qt::StringLiterals;

namespace {

/// More than the runs that can be live at once.
constexpr qsizetype logsKept = 64;
/// Far more than a session's turns and sub-agents write in its whole life.
constexpr qint64 bytesKept = 16 << 20;
constexpr std::chrono::days retention(30);

QString pathOf(const QUuid &runID, const QString &directory)
{
    return directory + u'/' + uuidText(runID) + u".jsonl"_s;
}

std::optional<EventRecord> ownEvent(QByteArrayView line, const QUuid &runID)
{
    auto event = EventRecord::fromLine(line);
    const bool isOwn = event && event->provider == u"codex"_s && event->runID == runID;
    return isOwn ? std::move(event) : std::nullopt;
}

/// Begins or ends a tool call. The second kind takes a completion back, the first only shows life.
bool isToolStart(const EventRecord &event)
{
    return event.type == u"PreToolUse" || event.type == u"PermissionRequest";
}

bool isToolEnd(const EventRecord &event)
{
    return event.type == u"PostToolUse";
}

/// Whether `later`, which comes right behind `earlier`, leaves nothing of it.
bool replaces(const EventRecord &later, const EventRecord &earlier)
{
    const bool isSame = isToolEnd(later) ? isToolEnd(earlier) || isToolStart(earlier)
                                         : isToolStart(later) && isToolStart(earlier);
    return isSame && later.sessionId == earlier.sessionId && later.ts >= earlier.ts;
}

} // namespace

QList<EventRecord> read(const QUuid &runID, const QString &directory)
{
    QList<EventRecord> events;
    const auto file = TailFile::open(pathOf(runID, directory));
    LineBuffer lines(longestLine);
    const auto take = [&](QByteArrayView line) {
        if (auto event = ownEvent(line, runID))
            events.append(*std::move(event));
    };
    for (qsizetype offset = 0; file && offset < lookLimit;) {
        const QByteArray bytes = file->read(static_cast<quint64>(offset), pieceSize);
        if (bytes.isEmpty())
            break;
        offset += bytes.size();
        lines.add(bytes, take);
    }
    // The last line may do without a line end.
    take(lines.partial());
    return events;
}

Reader::Reader(QString directory)
    : m_directory(std::move(directory))
    , m_logs(logsKept)
{}

QList<EventRecord> Reader::operator()(const QUuid &runID)
{
    Log *log = m_logs.object(runID);
    if (!log) {
        log = new Log;
        m_logs.insert(runID, log);
    }
    follow(*log, runID, pathOf(runID, m_directory));
    QList<EventRecord> events = log->events;
    // A line without its end is taken when it makes sense already, and again when its end has come.
    if (!log->lines.partial().isEmpty()) {
        if (auto event = ownEvent(log->lines.partial(), runID))
            events.append(*std::move(event));
    }
    return events;
}

void Reader::follow(Log &log, const QUuid &runID, const QString &path)
{
    const auto file = TailFile::open(path);
    if (!file || log.file != file->identity() || file->size() < log.offset)
        log = Log();
    if (!file)
        return;
    log.file = file->identity();
    for (qsizetype count = 0; count < lookLimit;) {
        const QByteArray bytes = file->read(log.offset, pieceSize);
        if (bytes.isEmpty())
            return;
        count += bytes.size();
        log.offset += static_cast<quint64>(bytes.size());
        log.lines.add(bytes, [&](QByteArrayView line) {
            if (auto event = ownEvent(line, runID))
                keep(log, *std::move(event), line.size());
        });
    }
}

void Reader::keep(Log &log, EventRecord event, qsizetype size)
{
    while (!log.events.isEmpty() && replaces(event, log.events.last())) {
        log.events.removeLast();
        log.bytes -= log.sizes.takeLast();
    }
    log.events.append(std::move(event));
    log.sizes.append(size);
    log.bytes += size;
    if (log.bytes <= bytesKept)
        return;
    // A flood. The session is known by its start, and what it does now stands at the end.
    const auto first = std::ranges::find_if(
        log.events, [](const EventRecord &old) { return old.type == u"SessionStart" && old.sessionId; });
    const qsizetype half = log.events.size() / 2;
    const qsizetype start = first - log.events.begin();
    const qsizetype from = start < half ? 1 : 0;
    if (from == 1) {
        log.events.swapItemsAt(0, start);
        log.sizes.swapItemsAt(0, start);
    }
    log.events.remove(from, half - from);
    log.sizes.remove(from, half - from);
    log.bytes = std::accumulate(log.sizes.begin(), log.sizes.end(), qint64(0));
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

void removeLog(const QUuid &runID, const QString &directory)
{
    QFile::remove(pathOf(runID, directory));
}

void removeOldLogs(const QString &directory, const QSet<QUuid> &keeping, Date now)
{
    const auto files = QDir(directory).entryInfoList({u"*.jsonl"_s}, QDir::Files);
    for (const QFileInfo &file : files) {
        const auto runID = uuidFromText(file.completeBaseName());
        const bool isOld = now - fromQDateTime(file.lastModified()) > retention;
        if (runID && !keeping.contains(*runID) && isOld)
            QFile::remove(file.filePath());
    }
}

} // namespace Keelhaven::CodexEvents
