#include "Scheduler/Usage/UsageTexts.h"

namespace Keelhaven::UsageTexts {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Meter = UsageSnapshot::Meter;

namespace {

constexpr Span tooOld = 3600s;

/// Saturates: the time of a measurement may not be known.
std::chrono::seconds between(Date since, Date to)
{
    const double span = secondsSince1970(to) - secondsSince1970(since);
    return std::chrono::seconds(qint64(std::max(span, 0.0)));
}

} // namespace

QString age(Date since, Date to)
{
    const auto span = between(since, to);
    return span >= 1h ? u"%1h"_s.arg(span / 1h) : u"%1m"_s.arg(span / 1min);
}

QString relativeTime(Date moment, Date now)
{
    const bool isPast = moment < now;
    const auto span = isPast ? between(moment, now) : between(now, moment);
    const struct
    {
        std::chrono::seconds length;
        const char16_t *name;
    } units[] = {{168h, u"week"}, {24h, u"day"}, {1h, u"hour"}, {1min, u"minute"}, {1s, u"second"}};
    for (const auto &unit : units) {
        if (span < unit.length && unit.length > 1s)
            continue;
        const qint64 count = span / unit.length;
        const QString text =
            u"%1 %2%3"_s.arg(count).arg(QString::fromUtf16(unit.name), count == 1 ? QString() : u"s"_s);
        return isPast ? text + u" ago"_s : u"in "_s + text;
    }
    return {};
}

QString caption(const Meter &meter, Date now)
{
    QStringList parts;
    if (meter.estimatedExtra != 0)
        parts.append(u"≈ +%1% since last read"_s.arg(meter.estimatedExtra));
    if (meter.resetsAt)
        parts.append(u"resets "_s + relativeTime(*meter.resetsAt, now));
    return parts.join(u" · "_s);
}

QString help(const Meter &meter, Date fetchedAt, Date now)
{
    if (fetchedAt == distantPast)
        return u"As Claude Code last read it, at a time that is not known."_s;
    if (meter.estimatedExtra == 0)
        return u"As Claude Code last read it, %1 ago."_s.arg(age(fetchedAt, now));
    return u"%1% when Claude Code last read it, plus about %2% for the runs since. Press Refresh for the "
           u"real "
           u"number."_s.arg(meter.percent - meter.estimatedExtra)
               .arg(meter.estimatedExtra);
}

bool aheadOfPace(const Meter &meter, Date now)
{
    const auto elapsed = meter.weekElapsedFraction(now);
    return elapsed && *elapsed >= 0.1 && meter.percent / *elapsed > 100;
}

std::optional<QString> notice(const std::optional<UsageSnapshot> &snapshot, Date now)
{
    if (!snapshot)
        return u"No usage data (~/.claude.json). Scheduled runs aren't gated."_s;
    // An age in hours since ever would look like a fault.
    if (snapshot->fetchedAt == distantPast)
        return u"Usage was read at a time that is not known. Runs aren't gated until it refreshes."_s;
    if (!snapshot->isStale(now, tooOld))
        return std::nullopt;
    return u"Usage is %1 old. Runs aren't gated until it refreshes."_s.arg(age(snapshot->fetchedAt, now));
}

} // namespace Keelhaven::UsageTexts
