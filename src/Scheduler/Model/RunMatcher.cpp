#include "Scheduler/Model/RunMatcher.h"

#include "Platform/Files.h"

namespace Keelhaven::RunMatcher {

using namespace Qt::StringLiterals;

namespace {

bool isClaude(const EventRecord &event)
{
    return !event.provider || *event.provider == u"claude";
}

std::optional<QString> findSession(const RunKey &key, const EventList &events,
                                   const QSet<QString> &claimed)
{
    if (key.sessionID)
        return key.sessionID;
    if (key.launchRunID) {
        for (const auto &event : events) {
            if (isClaude(event) && event.runID == key.launchRunID && event.sessionId)
                return event.sessionId;
        }
    }
    const QString folder = normalize(key.cwd);
    for (const auto &event : events) {
        if (!isClaude(event) || event.type != u"SessionStart" || !event.sessionId ||
            claimed.contains(*event.sessionId))
            continue;
        const Date at = event.date();
        if (at >= key.startedAt - matchBefore && at <= key.startedAt + matchAfter && event.cwd &&
            normalize(*event.cwd) == folder)
            return event.sessionId;
    }
    return std::nullopt;
}

/// Decides for each event whether it is the run's own.
class Ownership
{
public:
    Ownership(const RunKey &key, std::optional<QString> session)
        : m_key(key)
        , m_session(std::move(session))
    {}

    bool operator()(const EventRecord &event)
    {
        if (m_key.launchRunID && event.runID == m_key.launchRunID)
            return atOrAfterFloor(event);
        if (m_session)
            return event.sessionId == m_session && atOrAfterFloor(event);
        if (!event.cwd || event.date() < m_key.startedAt)
            return false;
        if (!m_folder)
            m_folder = normalize(m_key.cwd);
        return normalize(*event.cwd) == *m_folder;
    }

private:
    bool atOrAfterFloor(const EventRecord &event) const
    {
        return !m_key.eventFloor || event.date() >= *m_key.eventFloor;
    }

    const RunKey &m_key;
    std::optional<QString> m_session;
    std::optional<QString> m_folder;
};

/// Follows one session's turns: a Stop ends the turn unless sub-agents it started are still out.
struct TurnState
{
    bool stopSeen = false;
    bool ended = false;
    int pending = 0;
    std::optional<QString> message;
    std::optional<Date> lastActivity;

    void take(const EventRecord &event)
    {
        const bool end = event.type == u"SessionEnd";
        if (event.type == u"Stop" || end) {
            stopSeen = true;
            ended |= end;
            if (event.lastMessage && !event.lastMessage->isEmpty())
                message = event.lastMessage;
        } else if (event.type == u"PostToolUse") {
            if (event.toolName == u"Task"_s || event.toolName == u"Agent"_s) {
                ++pending;
                stopSeen = false;
            }
        } else if (event.type == u"SubagentStop") {
            if (pending >= 1) {
                stopSeen = false;
                --pending;
            }
        } else if (event.type != u"SessionStart") {
            return;
        }
        lastActivity = std::max(lastActivity.value_or(distantPast), event.date());
    }

    [[nodiscard]] bool completed() const { return ended || (stopSeen && pending < 1); }
};

} // namespace

Assessment assess(const RunKey &key, const EventList &events, const QSet<QString> &claimed)
{
    const auto session = findSession(key, events, claimed);
    Ownership belongs(key, session);
    TurnState turn;
    for (const auto &event : events) {
        if (isClaude(event) && belongs(event))
            turn.take(event);
    }
    Assessment result;
    result.capturedSessionID = session;
    result.completed = turn.completed();
    if (result.completed)
        result.completionMessage = turn.message;
    result.lastActivityAt = turn.lastActivity;
    return result;
}

std::optional<QString> trustPromptResponse(const QString &paneText)
{
    const QString text = paneText.right(2000).toLower();
    if (text.contains(u"trust the files in this") && text.contains(u"yes, proceed"))
        return u"\r"_s;
    if (!text.contains(u"yes, i trust this folder") || !text.contains(u"no, exit"))
        return std::nullopt;
    const auto lines = text.split(u'\n');
    for (auto line = lines.crbegin(); line != lines.crend(); ++line) {
        if (line->contains(u'❯'))
            return line->contains(u"yes, i trust") ? u"\r"_s : u"\u001B[B"_s;
    }
    return std::nullopt;
}

QString normalize(const QString &path)
{
    return resolvedPath(path);
}

bool isStalled(Date startedAt, std::optional<Date> lastActivityAt, Date now, int stallMinutes)
{
    return now - std::max(startedAt, lastActivityAt.value_or(startedAt)) > std::chrono::minutes(stallMinutes);
}

} // namespace Keelhaven::RunMatcher
