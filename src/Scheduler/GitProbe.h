#pragma once

#include "Platform/ClaudeLocator.h"

namespace Keelhaven {

/// Asks git for a folder's head commit. The collaborators outlive it.
class GitProbe
{
public:
    static constexpr auto timeLimit = std::chrono::seconds(5);

    GitProbe(ProcessRunner &processes, const ClaudeLocator &locator);

    /// The commit id, or nothing: no repository, no commit, no git, or no answer within `timeout`.
    [[nodiscard]] QCoro::Task<std::optional<QString>>
    head(QString cwd, std::chrono::milliseconds timeout = timeLimit) const;

    /// Whether nothing changed: both known and equal. A folder without a head and a first run never skip.
    [[nodiscard]] static bool shouldSkip(const std::optional<QString> &head,
                                         const std::optional<QString> &lastHead);

private:
    ProcessRunner &m_processes;
    const ClaudeLocator &m_locator;
};

} // namespace Keelhaven
