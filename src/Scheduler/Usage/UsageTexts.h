#pragma once

#include "Scheduler/Usage/UsageSnapshot.h"

namespace Keelhaven {

/// What a person reads about the usage meters.
namespace UsageTexts {

/// What the Refresh button does.
inline constexpr QStringView refreshHelp = u"Fetch live usage from Claude now, with the Claude Code sign-in "
                                           u"in your login keychain. macOS may ask to allow it "
                                           "the first time, and again after Claude Code rotates its token; "
                                           "Keelhaven keeps its own copy in between. Nothing "
                                           "reads the keychain on its own.";
inline constexpr QStringView refreshFailed = u"Couldn't fetch live usage — no Claude Code sign-in in the "
                                             u"keychain, or the API didn't answer. The meters show "
                                             "the CLI's last numbers.";

/// Whole hours as "3h" from one hour up, else whole minutes as "59m".
[[nodiscard]] QString age(Date since, Date to);
/// "in 2 hours", "3 days ago": the largest whole unit from seconds to weeks.
[[nodiscard]] QString relativeTime(Date moment, Date now);

/// The line under a meter: what is estimated and when it resets; empty when neither is known.
[[nodiscard]] QString caption(const UsageSnapshot::Meter &meter, Date now);
/// What the meter's number rests on.
[[nodiscard]] QString help(const UsageSnapshot::Meter &meter, Date fetchedAt, Date now);
/// Whether the week's allowance is spent faster than the week passes. Never in the first tenth of a week.
[[nodiscard]] bool aheadOfPace(const UsageSnapshot::Meter &meter, Date now);

/// Why the meters hold no run back: there are none, or they are old.
[[nodiscard]] std::optional<QString> notice(const std::optional<UsageSnapshot> &snapshot, Date now);

} // namespace UsageTexts

} // namespace Keelhaven
