#pragma once

#include "Platform/ClaudeLocator.h"

namespace Keelhaven {

/// Runs an agent's own test command before a launch. The collaborators outlive it.
class Preflight
{
public:
    struct Result
    {
        int exitCode = -1;
        QString output;
        bool timedOut = false;

        [[nodiscard]] bool passed() const { return exitCode == 0 && !timedOut; }
        bool operator==(const Result &) const = default;
    };

    static constexpr auto timeLimit = std::chrono::seconds(60);

    Preflight(ProcessRunner &processes, const ClaudeLocator &locator);

    /// Runs `command` in the user's login shell with the login shell's PATH; standard output and error are
    /// kept together. Past `timeout` it is ended and the output reads "timed out".
    [[nodiscard]] QCoro::Task<Result> run(QString command,
                                          std::chrono::milliseconds timeout = timeLimit) const;

private:
    ProcessRunner &m_processes;
    const ClaudeLocator &m_locator;
};

} // namespace Keelhaven
