#pragma once

#include "Herdr/Wire/HerdrRecords.h"
#include "SessionHost/ProcessTree.h"

#include <sys/stat.h>

namespace Keelhaven {

/// What Claude Code says of itself in sessions/<pid>.json. It follows every change of state, more surely than
/// the screen does: a sub-agent in the background leaves no mark there.
struct ClaudeSession
{
    Herdr::Status status = Herdr::Status::Unknown;
    qint64 changedAt = 0; ///< seconds since 1970 of the file's last change
    bool operator==(const ClaudeSession &) const = default;
};

/// Reads one agent's session file, again only when the file has changed.
class ClaudeSessionFile
{
public:
    /// `folder` is the agent's own configuration folder, usually ~/.claude. Nothing while there is no file,
    /// when it is about an earlier process with the same number, or when its status is none of those known.
    [[nodiscard]] std::optional<ClaudeSession> read(const QByteArray &folder, ProcessID process);

    /// The session in the file's text, checked against the process; `changedAt` is left 0.
    [[nodiscard]] static std::optional<ClaudeSession> parse(const QByteArray &json, ProcessID process);

private:
    std::optional<ClaudeSession> m_session;
    ProcessID m_process;
    ino_t m_inode = 0;
    off_t m_size = -1;
    timespec m_changed{};
};

} // namespace Keelhaven
