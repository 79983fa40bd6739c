#pragma once

#include <QDateTime>
#include <QString>
#include <array>
#include <chrono>
#include <optional>

namespace Keelhaven {

/// One moment, UTC, in microseconds since 1970. The only type for moments in the program.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// A span of time; negative when the end lies before the start.
using Span = std::chrono::microseconds;

/// Earlier than any moment that can occur; stands for "never yet".
inline constexpr Date distantPast = Date::min();

/// Seconds since 1970 with fractions, the form of every database column and event line.
[[nodiscard]] double secondsSince1970(Date date);

/// The moment `seconds` after 1970. Values outside the representable range are clamped to it.
[[nodiscard]] Date dateFromSeconds(double seconds);

/// A span of `seconds`, fractions kept to the microsecond.
[[nodiscard]] Span seconds(double seconds);

/// Conversions at Qt's border; milliseconds are all that QDateTime keeps.
[[nodiscard]] QDateTime toQDateTime(Date date);
[[nodiscard]] Date fromQDateTime(const QDateTime &date);

/// ISO-8601 internet date-time in UTC with milliseconds: "2026-03-04T05:06:07.890Z". Years 1 to 9999; what
/// lies beyond is cut to them.
[[nodiscard]] std::array<char, 24> isoCharacters(Date date);
[[nodiscard]] QString isoText(Date date);

/// "2026-03-04 05:06"; years 1 to 9999.
[[nodiscard]] std::array<char, 16> dayAndMinute(std::chrono::sys_days day, int hour, int minute);

/// Reads ISO-8601 internet date-time with a time zone mark and fractional seconds of any length
/// ("2026-03-04T05:06:07.890Z", "…+02:00"). Nothing for any other shape.
[[nodiscard]] std::optional<Date> dateFromISOText(QStringView text);

/// Like dateFromISOText, and also takes text without fractional seconds.
[[nodiscard]] std::optional<Date> dateFromLooseISOText(QStringView text);

} // namespace Keelhaven
