#pragma once

#include "Contract/RecordMapper.h"
#include "Platform/ClaudeLocator.h"

namespace Keelhaven {

/// What is known of the Claude tool on this machine.
enum class ClaudeState {
    unknown,   ///< not looked yet
    missing,   ///< no such program
    signedOut, ///< there, but it says of no account that it is signed in
    ready
};

template <>
struct EnumTexts<ClaudeState>
{
    static constexpr std::array<std::u16string_view, 4> texts{u"unknown", u"missing", u"signedOut", u"ready"};
};

/// Looks for `claude` on the login shell's PATH, which is asked afresh with `refreshPATH` or when the known
/// one does not hold it, and asks it whether it is signed in. Neither pointer is null; both outlive the task.
[[nodiscard]] QCoro::Task<ClaudeState> claudeState(const ClaudeLocator *locator, ProcessRunner *processes,
                                                   bool refreshPATH);

} // namespace Keelhaven
