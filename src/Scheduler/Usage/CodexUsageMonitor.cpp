#include "Scheduler/Usage/CodexUsageMonitor.h"

#include "Scheduler/Usage/UsageTexts.h"

#include <QPointer>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Span readingTimeout = 20s;
constexpr Span followInterval = 120s;
constexpr Span tooOld = 3600s;

} // namespace

CodexUsageMonitor::CodexUsageMonitor(ClaudeLocator &locator, ChildProcessFactory &children, Clock &clock,
                                     Tasks &tasks)
    : m_locator(locator)
    , m_children(children)
    , m_clock(clock)
    , m_tasks(tasks)
{}

CodexUsageMonitor::~CodexUsageMonitor()
{
    shutdown();
    for (const auto &ended : std::exchange(m_waiting, {}))
        ended.resolve(false);
}

QCoro::Task<> CodexUsageMonitor::refresh(std::stop_token stop)
{
    if (m_isLoading || m_isShutDown)
        co_return;
    m_isLoading = true;
    Q_EMIT changed();
    const QPointer<CodexUsageMonitor> self(this);
    std::stop_source either;
    const std::stop_callback byCaller(stop, [either]() mutable { either.request_stop(); });
    const std::stop_callback byShutdown(m_life.get_token(), [either]() mutable { either.request_stop(); });
    const std::stop_token cancelled = either.get_token();

    const auto path = co_await m_locator.loginShellPATH(u"codex"_s);
    if (!self)
        co_return;
    if (cancelled.stop_requested()) {
        endReading(true);
        co_return;
    }
    if (!path || !ClaudeLocator::contains(*path, u"codex"_s)) {
        fail(u"codex isn't on your login shell's PATH"_s);
        co_return;
    }
    const QStringList arguments{u"codex"_s, u"app-server"_s};
    CodexUsageRequest request(m_children, m_clock, u"/usr/bin/env"_s, arguments, readingTimeout);
    const auto answer = co_await request.read(path, cancelled);
    if (!self)
        co_return;
    if (!answer) {
        if (cancelled.stop_requested())
            endReading(true);
        else
            fail(u"codex app-server didn't answer (%1)"_s.arg(answer.error().message()));
        co_return;
    }
    const auto snapshot = CodexUsageSnapshot::parse(answer->result, m_clock.now());
    if (!snapshot) {
        fail(u"codex app-server answered without rate limits — sign in with `codex login`"_s);
        co_return;
    }
    m_snapshot = snapshot;
    m_unavailable = false;
    m_unavailableReason.reset();
    endReading();
}

QCoro::Task<bool> CodexUsageMonitor::readingEnd()
{
    if (!m_isLoading)
        co_return false;
    const OneShot<bool> ended;
    m_waiting.append(ended);
    const bool isRead = co_await ended;
    co_return isRead;
}

void CodexUsageMonitor::startFollowing()
{
    stopFollowing();
    if (m_isShutDown)
        return;
    m_following = std::stop_source();
    m_tasks.spawn(follow(m_following.get_token()), "codex usage");
}

void CodexUsageMonitor::stopFollowing()
{
    m_nextReading.reset();
    // Stopping resumes the reading, which looks at the members.
    std::stop_source following = std::exchange(m_following, std::stop_source(std::nostopstate));
    following.request_stop();
}

QCoro::Task<> CodexUsageMonitor::follow(std::stop_token stop)
{
    const QPointer<CodexUsageMonitor> self(this);
    // One that was cancelled may still wait for the login shell: without this the meters would stay empty
    // until the next reading is due.
    [[maybe_unused]] const bool isRead = co_await readingEnd();
    if (!self || stop.stop_requested())
        co_return;
    co_await refresh(stop);
    if (!self || stop.stop_requested())
        co_return;
    const auto again = [this, stop] { m_tasks.spawn(follow(stop), "codex usage"); };
    m_nextReading = m_clock.after(followInterval, again);
}

void CodexUsageMonitor::shutdown()
{
    m_isShutDown = true;
    stopFollowing();
    m_life.request_stop();
}

QStringList CodexUsageMonitor::notices(Date now) const
{
    QStringList notices;
    if (m_unavailable)
        notices.append(
            u"Codex usage unavailable. "_s +
            m_unavailableReason.value_or(u"Check that Codex CLI is installed and signed in with ChatGPT."_s));
    if (m_snapshot && m_snapshot->fetchedAt < now - tooOld)
        notices.append(u"Usage is %1 old."_s.arg(UsageTexts::age(m_snapshot->fetchedAt, now)));
    return notices;
}

void CodexUsageMonitor::endReading(bool isCancelled)
{
    m_isLoading = false;
    // Whoever is told may start the next reading, and others wait for that one.
    const auto waiting = std::exchange(m_waiting, {});
    Q_EMIT changed();
    for (const auto &ended : waiting)
        ended.resolve(!isCancelled);
}

void CodexUsageMonitor::fail(const QString &reason)
{
    m_unavailable = true;
    m_unavailableReason = reason;
    endReading();
}

} // namespace Keelhaven
