#pragma once

#include "Platform/Calendar.h"

namespace Keelhaven {

/// Moments and spans as the screens write them: always English and in the calendar's zone, so that a text
/// does not change with the desktop's language.
namespace TimeTexts {

/// "7:05 PM"
[[nodiscard]] QString clock(Date date, const Calendar &calendar);
/// "Mon 7:05 PM"
[[nodiscard]] QString weekdayClock(Date date, const Calendar &calendar);
/// "Mon 23"
[[nodiscard]] QString weekdayDay(Date date, const Calendar &calendar);
/// "Nov 23"
[[nodiscard]] QString monthDay(Date date, const Calendar &calendar);
/// "Nov 23, 7:05 PM"
[[nodiscard]] QString monthDayClock(Date date, const Calendar &calendar);
/// "Mon 23 Nov, 7:05 PM"
[[nodiscard]] QString full(Date date, const Calendar &calendar);

/// "59s", and from a minute on "1m 1s". Whole seconds, rounded down; never negative.
[[nodiscard]] QString length(Span span);
/// "59s", and from a minute on "1m".
[[nodiscard]] QString elapsed(Span span);

} // namespace TimeTexts

} // namespace Keelhaven
