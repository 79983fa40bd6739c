#include "Surfaces/Agenda.h"

#include "Surfaces/TimeTexts.h"

#include <cmath>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QString runs(qsizetype count)
{
    return count == 1 ? u"1 run"_s : u"%1 runs"_s.arg(count);
}

QString title(qsizetype dayIndex, Date start, const Calendar &calendar)
{
    const QString date = TimeTexts::weekdayDay(start, calendar);
    if (dayIndex == 0)
        return u"Today · "_s + date;
    return dayIndex == 1 ? u"Tomorrow · "_s + date : date;
}

} // namespace

QString agendaCaption(qsizetype total, int days, qsizetype today)
{
    if (total < 1 || days < 1)
        return u"nothing scheduled"_s;
    const double rate = static_cast<double>(total) / days;
    const QString pace =
        rate < 1 ? u"%1 in %2 days"_s.arg(runs(total)).arg(days) : runs(std::llround(rate)) + u" a day"_s;
    return pace + u" · "_s + (today == 0 ? u"nothing today"_s : u"%1 today"_s.arg(today));
}

Agenda Agenda::build(const QList<SchedulerSlot> &slotList, Date now, const Calendar &calendar)
{
    const auto plan = SchedulerCalendar::build(slotList, now, dayCount, calendar);
    Agenda agenda;
    qsizetype total = 0;
    for (const auto &day : plan.days) {
        AgendaDayCard card;
        card.start = day.start;
        card.title = Keelhaven::title(agenda.days.size(), day.start, calendar);
        for (const auto &entry : day.entries)
            card.entries.append({entry.id(), entry.slotID, TimeTexts::clock(entry.date, calendar), entry.name,
                                 entry.isOneShot});
        total += card.entries.size();
        agenda.days.append(std::move(card));
    }
    const qsizetype today = agenda.days.isEmpty() ? 0 : agenda.days.first().entries.size();
    agenda.caption = agendaCaption(total, dayCount, today);
    agenda.isEmpty = total == 0;
    return agenda;
}

} // namespace Keelhaven
