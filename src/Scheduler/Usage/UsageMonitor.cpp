#include "Scheduler/Usage/UsageMonitor.h"

#include "Platform/Files.h"
#include "Scheduler/Usage/UsageTexts.h"

#include <malloc.h>
#include <sys/stat.h>

namespace Keelhaven {

using namespace std::chrono_literals;

namespace {

constexpr Span readInterval = 120s;
/// How long a measurement stands for the present.
constexpr Span measuredFor = 120s;
/// How far in the future a reading may lie and still count as one.
constexpr Span clockTolerance = 60s;
/// The file holds the CLI's whole history and can have tens of megabytes; from this size on the loop would
/// feel the parsing.
constexpr qint64 inlineLimit = 256 * 1024;

std::optional<UsageSnapshot> readSnapshot(const QString &path)
{
    const auto bytes = readFile(path);
    return bytes ? UsageSnapshot::parse(*bytes) : std::nullopt;
}

/// The allocator would keep for the thread what the parsing took: 80 MB for a file of 30 MB, for good.
void giveMemoryBack()
{
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

} // namespace

UsageMonitor::UsageMonitor(Clock &clock, Tasks &tasks, QString claudeJSON)
    : m_clock(clock)
    , m_tasks(tasks)
    , m_claudeJSON(std::move(claudeJSON))
{}

void UsageMonitor::start()
{
    if (m_timer)
        return;
    m_timer = m_clock.every(readInterval, [this] { m_tasks.spawn(adoptFile(), "usage file"); });
    m_tasks.spawn(adoptFile(), "usage file");
}

void UsageMonitor::shutdown()
{
    m_timer.reset();
}

std::optional<UsageSnapshot> UsageMonitor::estimated() const
{
    const Date now = m_clock.now();
    if (!m_snapshot || !tokensBetween || !m_snapshot->isStale(now, measuredFor))
        return m_snapshot;
    return UsageEstimate::project(*m_snapshot, now, tokensBetween);
}

void UsageMonitor::adopt(const std::optional<UsageSnapshot> &candidate)
{
    if (!candidate || candidate == m_snapshot)
        return;
    // A reading from the future was dated by a clock that has been set back since. It must not keep out all
    // that follows until the clock gets there.
    const Date latest = m_clock.now() + clockTolerance;
    const auto rank = [latest](Date fetchedAt) { return fetchedAt > latest ? distantPast : fetchedAt; };
    if (m_snapshot && rank(candidate->fetchedAt) < rank(m_snapshot->fetchedAt))
        return;
    m_snapshot = candidate;
    Q_EMIT snapshotChanged();
}

QCoro::Task<std::optional<UsageSnapshot>> UsageMonitor::fileSnapshot()
{
    if (m_parsing) {
        const Answer answer;
        m_parsing->append(answer);
        const auto parsed = co_await answer;
        co_return std::optional<UsageSnapshot>(parsed);
    }
    const auto stamp = stampOf(m_claudeJSON);
    if (!stamp) {
        m_stamp.reset();
        co_return std::nullopt;
    }
    if (stamp == m_stamp)
        co_return std::optional<UsageSnapshot>(m_fromFile);
    if (stamp->size > inlineLimit) {
        const auto parsed = co_await parseOnPool(*stamp);
        co_return std::optional<UsageSnapshot>(parsed);
    }
    m_stamp = stamp;
    m_fromFile = readSnapshot(m_claudeJSON);
    co_return std::optional<UsageSnapshot>(m_fromFile);
}

QCoro::Task<std::optional<UsageSnapshot>> UsageMonitor::parseOnPool(Stamp stamp)
{
    const QPointer<UsageMonitor> self(this);
    const auto waiting = std::make_shared<QList<Answer>>();
    m_parsing = waiting;
    const auto work = [path = m_claudeJSON] {
        auto snapshot = readSnapshot(path);
        giveMemoryBack();
        return snapshot;
    };
    auto parsed = co_await onPool(work);
    if (self) {
        m_parsing.reset();
        m_stamp = stamp;
        m_fromFile = parsed;
    } else {
        parsed.reset();
    }
    for (const auto &answer : std::as_const(*waiting))
        answer.resolve(parsed);
    co_return parsed;
}

QCoro::Task<> UsageMonitor::adoptFile()
{
    const QPointer<UsageMonitor> self(this);
    const auto candidate = co_await fileSnapshot();
    if (self)
        adopt(candidate);
}

QCoro::Task<> UsageMonitor::refreshLive()
{
    if (m_refreshing)
        co_return;
    const QPointer<UsageMonitor> self(this);
    setRefreshState(true, std::nullopt);
    co_await adoptFile();
    std::optional<UsageSnapshot> fetched;
    if (self && fetchLive) {
        const auto answer = co_await fetchLive();
        fetched = answer;
    }
    if (!self)
        co_return;
    adopt(fetched);
    setRefreshState(false, fetched ? std::nullopt : std::optional(UsageTexts::refreshFailed.toString()));
}

void UsageMonitor::setRefreshState(bool refreshing, const std::optional<QString> &error)
{
    m_refreshing = refreshing;
    m_lastRefreshError = error;
    Q_EMIT refreshStateChanged();
}

std::optional<UsageMonitor::Stamp> UsageMonitor::stampOf(const QString &path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return Stamp{qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec, info.st_size,
                 info.st_ino};
}

} // namespace Keelhaven
