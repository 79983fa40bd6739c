#include "Surfaces/TimeTexts.h"

#include "Scheduler/Model/ScheduleSpec.h"

#include <algorithm>
#include <array>

namespace Keelhaven::TimeTexts {

using namespace Qt::StringLiterals;

namespace {

QString weekday(const Calendar::WallTime &wall)
{
    return weekdayText(wall.weekday());
}

QString day(const Calendar::WallTime &wall)
{
    return QString::number(static_cast<unsigned>(wall.date().day()));
}

QString month(const Calendar::WallTime &wall)
{
    static constexpr std::array<QStringView, 12> names{u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                                       u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};
    return names[static_cast<unsigned>(wall.date().month()) - 1].toString();
}

QString clock(const Calendar::WallTime &wall)
{
    return clockText({wall.hour, wall.minute}).toUpper();
}

qint64 wholeSeconds(Span span)
{
    return std::max<qint64>(std::chrono::floor<std::chrono::seconds>(span).count(), 0);
}

} // namespace

QString clock(Date date, const Calendar &calendar)
{
    return clock(calendar.wallTime(date));
}

QString weekdayClock(Date date, const Calendar &calendar)
{
    const auto wall = calendar.wallTime(date);
    return weekday(wall) + u' ' + clock(wall);
}

QString weekdayDay(Date date, const Calendar &calendar)
{
    const auto wall = calendar.wallTime(date);
    return weekday(wall) + u' ' + day(wall);
}

QString monthDay(Date date, const Calendar &calendar)
{
    const auto wall = calendar.wallTime(date);
    return month(wall) + u' ' + day(wall);
}

QString monthDayClock(Date date, const Calendar &calendar)
{
    return monthDay(date, calendar) + u", "_s + clock(date, calendar);
}

QString full(Date date, const Calendar &calendar)
{
    const auto wall = calendar.wallTime(date);
    return u"%1 %2 %3, %4"_s.arg(weekday(wall), day(wall), month(wall), clock(wall));
}

QString length(Span span)
{
    const qint64 seconds = wholeSeconds(span);
    return seconds < 60 ? u"%1s"_s.arg(seconds) : u"%1m %2s"_s.arg(seconds / 60).arg(seconds % 60);
}

QString elapsed(Span span)
{
    const qint64 seconds = wholeSeconds(span);
    return seconds < 60 ? u"%1s"_s.arg(seconds) : u"%1m"_s.arg(seconds / 60);
}

} // namespace Keelhaven::TimeTexts
