#pragma once

#include "Platform/Moments.h"

#include <QTimeZone>
#include <memory>

namespace Keelhaven {

/// The user's calendar: the proleptic Gregorian one in a time zone. A value; copies share the zone's
/// transitions, which are read once, so that finding a wall-clock time is a search in a small table.
class Calendar
{
public:
    /// A moment as the wall clock shows it.
    struct WallTime
    {
        std::chrono::sys_days day; ///< the local date
        int hour = 0;
        int minute = 0;
        int second = 0;

        /// 1 = Sunday … 7 = Saturday
        [[nodiscard]] int weekday() const;
        [[nodiscard]] std::chrono::year_month_day date() const { return day; }
    };

    explicit Calendar(const QTimeZone &zone);

    /// The zone that the system is set to now. The transitions of the last zone asked for are kept.
    [[nodiscard]] static Calendar current();

    [[nodiscard]] WallTime wallTime(Date moment) const;

    /// The earliest moment at which the wall clock shows this time or later. So a time inside a
    /// daylight-saving gap gives the first moment after the gap, and a time that occurs twice its first
    /// occurrence.
    [[nodiscard]] Date resolve(std::chrono::sys_days day, int hour, int minute) const;

    [[nodiscard]] Date startOfDay(Date moment) const;

    [[nodiscard]] QByteArray zoneID() const;
    [[nodiscard]] QTimeZone zone() const;

private:
    struct Zone;
    std::shared_ptr<const Zone> m_zone;
};

} // namespace Keelhaven
