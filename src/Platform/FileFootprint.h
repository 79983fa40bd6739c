#pragma once

#include <QStringList>
#include <chrono>
#include <optional>
#include <vector>

namespace Keelhaven {

/// How a set of files and folders looked when something was read from them: whether that would read the same
/// again costs a `stat` for each, instead of the reading. Symbolic links are followed. A plain value.
class FileFootprint
{
public:
    using MonotonicClock = std::chrono::steady_clock;

    /// A look at more paths than this takes longer than the main loop should stand still.
    static constexpr qsizetype largest = 500;
    /// A look stands no longer than this. Not all that a reading depends on shows in the files: it may have
    /// lacked file handles or memory, and a server's folder may have answered late.
    static constexpr std::chrono::minutes longestTrust{10};

    /// Of nothing that is known; it never stands.
    FileFootprint() = default;
    /// Looks at `paths` now. Absent ones count as well.
    explicit FileFootprint(QStringList paths);

    [[nodiscard]] const QStringList &paths() const { return m_paths; }

    /// Whether all is still there as it was, and as absent. Also false where a change could hide: when
    /// something had changed so shortly before the look that one more change could bear the same time,
    /// for too many paths, and after `longestTrust`. Blocking, but short.
    [[nodiscard]] bool stillStands(MonotonicClock::time_point now = MonotonicClock::now()) const;

    /// Calls `read`, whose result has to tell in `paths` what it was read from, and gives the result the
    /// `footprint` under which it was read; an unknown one if something changed meanwhile. `expected` are the
    /// paths of the last time; when they are others by now, the first read only finds that out.
    template <typename Read>
    [[nodiscard]] static auto ofReading(const QStringList &expected, Read read)
    {
        FileFootprint before(expected);
        auto found = read();
        if (found.paths != expected && found.paths.size() <= largest) {
            before = FileFootprint(found.paths);
            found = read();
        }
        if (found.paths == before.m_paths && before.stillStands())
            found.footprint = std::move(before);
        return found;
    }

private:
    struct Stamp
    {
        qint64 changed = 0; ///< nanoseconds since 1970; unlike the time of writing nobody can set it back
        qint64 size = 0;
        quint64 inode = 0;
        quint64 device = 0;
        bool operator==(const Stamp &) const = default;
    };
    [[nodiscard]] static std::optional<Stamp> stampOf(const QString &path);

    QStringList m_paths;
    std::vector<std::optional<Stamp>> m_stamps;
    MonotonicClock::time_point m_lookedAt;
    bool m_isKnown = false;
};

} // namespace Keelhaven
