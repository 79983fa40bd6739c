#include "Platform/FileFootprint.h"

#include <QFile>
#include <algorithm>
#include <sys/stat.h>
#include <time.h>

namespace Keelhaven {

namespace {

/// The coarsest times that file systems keep are two seconds apart.
constexpr qint64 restTime = 2'000'000'000;

qint64 nanoseconds(const timespec &time)
{
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

} // namespace

FileFootprint::FileFootprint(QStringList paths)
    : m_paths(std::move(paths))
    , m_lookedAt(MonotonicClock::now())
{
    if (m_paths.isEmpty() || m_paths.size() > largest)
        return;
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const qint64 rested = nanoseconds(now) - restTime;
    m_stamps.reserve(m_paths.size());
    m_isKnown = true;
    for (const QString &path : std::as_const(m_paths)) {
        m_stamps.push_back(stampOf(path));
        m_isKnown &= !m_stamps.back() || m_stamps.back()->changed < rested;
    }
}

bool FileFootprint::stillStands(MonotonicClock::time_point now) const
{
    if (!m_isKnown || now - m_lookedAt > longestTrust)
        return false;
    return std::ranges::equal(m_paths, m_stamps, {}, stampOf);
}

std::optional<FileFootprint::Stamp> FileFootprint::stampOf(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return std::nullopt;
    return Stamp{.changed = nanoseconds(status.st_ctim),
                 .size = status.st_size,
                 .inode = status.st_ino,
                 .device = status.st_dev};
}

} // namespace Keelhaven
