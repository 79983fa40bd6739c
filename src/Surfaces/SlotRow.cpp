#include "Surfaces/SlotRow.h"

#include "Surfaces/TimeTexts.h"

#include <algorithm>
#include <cmath>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr Span minute = std::chrono::minutes(1);
constexpr Span hour = std::chrono::hours(1);

/// From here on a fire of the day is tonight's, and up to the other hour one of the next morning is.
constexpr int eveningHour = 18;
constexpr int lastNightHour = 5;

qint64 rounded(Span span, Span unit)
{
    return std::llround(static_cast<double>(span.count()) / static_cast<double>(unit.count()));
}

QString timesText(QList<ScheduleSpec::HourMinute> times)
{
    std::ranges::sort(times);
    QStringList texts;
    for (const auto &time : std::as_const(times))
        texts.append(clockText(time));
    return texts.join(u", "_s);
}

struct ScheduleText
{
    const Calendar &calendar;

    QString operator()(const ScheduleSpec::Daily &rule) const
    {
        return u"Daily at "_s + timesText(rule.times);
    }
    QString operator()(const ScheduleSpec::Weekly &rule) const
    {
        QStringList days;
        for (const int day : rule.days)
            days.append(weekdayText(day));
        return u"Weekly %1 %2"_s.arg(days.join(u", "_s), timesText(rule.times));
    }
    QString operator()(const ScheduleSpec::EveryHours &rule) const
    {
        const QString text = u"Every %1 h"_s.arg(rule.interval);
        if (!rule.window)
            return text;
        // A window that ends with the day ends at midnight, not at noon.
        return u"%1 · %2–%3"_s.arg(text, clockText({rule.window->startHour % 24, 0}),
                                   clockText({rule.window->endHour % 24, 0}));
    }
    QString operator()(const ScheduleSpec::Once &rule) const
    {
        return u"Once "_s + TimeTexts::monthDayClock(rule.date, calendar);
    }
};

} // namespace

SlotRow SlotRow::of(const SchedulerSlot &slot, Date now, const Calendar &calendar)
{
    SlotRow row;
    row.id = slot.id;
    row.name = slot.name;
    row.provider = label(slot.provider);
    row.schedule = scheduleText(slot.schedule, calendar);
    row.nextRun = nextRunText(slot, now, calendar);
    row.isEnabled = slot.enabled;
    if (!supportsScheduling(slot.provider))
        row.toggleHelp = u"Codex agents run manually only"_s;
    return row;
}

QString SlotRow::scheduleText(const ScheduleSpec &spec, const Calendar &calendar)
{
    return std::visit(ScheduleText{calendar}, spec.rule);
}

QString SlotRow::nextRunText(const SchedulerSlot &slot, Date now, const Calendar &calendar)
{
    if (!supportsScheduling(slot.provider))
        return u"—"_s;
    if (!slot.enabled)
        return u"Off"_s;
    if (slot.captainDecides)
        return u"Captain's call"_s;
    const auto next = slot.nextFireDate(now, calendar);
    return next ? relative(*next, now, calendar) : u"—"_s;
}

QString SlotRow::relative(Date date, Date now, const Calendar &calendar)
{
    const Span span = date - now;
    if (span < minute)
        return u"now"_s;
    if (span < hour)
        return u"in %1 min"_s.arg(rounded(span, minute));
    const auto wall = calendar.wallTime(date);
    const auto daysAhead = (wall.day - calendar.wallTime(now).day).count();
    const QString time = TimeTexts::clock(date, calendar);
    if (daysAhead == 0) {
        if (span < 4 * hour)
            return u"in %1 h"_s.arg(rounded(span, hour));
        return (wall.hour >= eveningHour ? u"Tonight "_s : u"Today "_s) + time;
    }
    if (daysAhead == 1)
        return (wall.hour <= lastNightHour ? u"Tonight "_s : u"Tomorrow "_s) + time;
    if (span < 6 * 24 * hour)
        return TimeTexts::weekdayClock(date, calendar);
    return TimeTexts::monthDay(date, calendar) + u' ' + time;
}

QList<SchedulerSlot> managedSlots(const QList<SchedulerSlot> &slotList)
{
    QList<SchedulerSlot> shown;
    for (const auto &slot : slotList) {
        if (slot.kind != SlotKind::System)
            shown.append(slot);
    }
    return shown;
}

} // namespace Keelhaven
