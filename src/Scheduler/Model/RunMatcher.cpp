#include "Scheduler/Model/RunMatcher.h"

#include "Platform/Files.h"

namespace Keelhaven::RunMatcher {

using namespace Qt::StringLiterals;

namespace {

bool isClaude(const EventRecord &event)
{
    return !event.provider || *event.provider == u"claude";
}

/// Whether the event names another run as its own. Several runs may work in one folder, and each of their
/// sessions tells which one it belongs to.
bool isOfAnotherRun(const EventRecord &event, const RunKey &key)
{
    return event.runID && event.runID != key.launchRunID && event.runID != key.runID;
}

/// Compares folders with one folder. Each distinct path is resolved once, however many events name it.
class SameFolder
{
public:
    explicit SameFolder(const QString &folder)
        : m_folder(folder)
    {}

    bool operator()(const QString &path)
    {
        if (path == m_folder)
            return true;
        if (!m_normalized)
            m_normalized = normalize(m_folder);
        const auto known = m_known.constFind(path);
        return known != m_known.cend() ? *known : *m_known.insert(path, normalize(path) == *m_normalized);
    }

private:
    QString m_folder;
    std::optional<QString> m_normalized;
    QHash<QString, bool> m_known;
};

std::optional<QString> findSession(const RunKey &key, const EventList &events, const QSet<QString> &claimed,
                                   SameFolder &isSameFolder)
{
    if (key.sessionID)
        return key.sessionID;
    if (key.launchRunID) {
        for (const EventRecord *event : events.find({.runID = key.launchRunID})) {
            if (isClaude(*event) && event->runID == key.launchRunID && event->sessionId)
                return event->sessionId;
        }
    }
    for (const EventRecord *event : events.find({.since = key.startedAt - matchBefore})) {
        if (!isClaude(*event) || event->type != u"SessionStart" || !event->sessionId ||
            claimed.contains(*event->sessionId) || isOfAnotherRun(*event, key))
            continue;
        const Date at = event->date();
        if (at >= key.startedAt - matchBefore && at <= key.startedAt + matchAfter && event->cwd &&
            isSameFolder(*event->cwd))
            return event->sessionId;
    }
    return std::nullopt;
}

/// Decides for each event whether it is the run's own.
class Ownership
{
public:
    Ownership(const RunKey &key, std::optional<QString> session, SameFolder &isSameFolder)
        : m_key(key)
        , m_session(std::move(session))
        , m_isSameFolder(isSameFolder)
    {}

    /// Where to look for the run's own events.
    [[nodiscard]] EventList::Wanted wanted() const
    {
        return {m_session, m_key.launchRunID, m_session ? std::nullopt : std::optional(m_key.startedAt)};
    }

    bool operator()(const EventRecord &event)
    {
        if (m_key.launchRunID && event.runID == m_key.launchRunID)
            return atOrAfterFloor(event);
        if (m_session)
            return event.sessionId == m_session && atOrAfterFloor(event);
        return event.cwd && event.date() >= m_key.startedAt && !isOfAnotherRun(event, m_key) &&
               m_isSameFolder(*event.cwd);
    }

private:
    bool atOrAfterFloor(const EventRecord &event) const
    {
        return !m_key.eventFloor || event.date() >= *m_key.eventFloor;
    }

    const RunKey &m_key;
    std::optional<QString> m_session;
    SameFolder &m_isSameFolder;
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
    SameFolder isSameFolder(key.cwd);
    const auto session = findSession(key, events, claimed, isSameFolder);
    Ownership belongs(key, session, isSameFolder);
    TurnState turn;
    for (const EventRecord *event : events.find(belongs.wanted())) {
        if (isClaude(*event) && belongs(*event))
            turn.take(*event);
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

bool asksToSignIn(const QString &paneText)
{
    constexpr int footLines = 3;
    const auto lines = paneText.toLower().split(u'\n');
    int seen = 0;
    for (auto line = lines.crbegin(); line != lines.crend() && seen < footLines; ++line) {
        if (line->trimmed().isEmpty())
            continue;
        ++seen;
        if (line->trimmed().endsWith(u"· run /login") || line->trimmed().endsWith(u"· please run /login"))
            return true;
    }
    return false;
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
