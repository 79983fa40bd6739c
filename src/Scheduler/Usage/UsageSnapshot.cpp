#include "Scheduler/Usage/UsageSnapshot.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Meter = UsageSnapshot::Meter;

namespace {

constexpr Span week = std::chrono::days(7);
constexpr Span session = std::chrono::hours(5);

/// Fractions are cut, so that a limit counts as reached only when it is. Nonsense numbers stay countable.
std::optional<int> percentOf(const JSONValue *json)
{
    constexpr double most = 1e6;
    const auto value = json ? json->doubleValue() : std::nullopt;
    return value ? std::optional(static_cast<int>(std::clamp(*value, 0.0, most))) : std::nullopt;
}

std::optional<Date> dateOf(const JSONValue *json)
{
    const auto text = json ? json->stringValue() : std::nullopt;
    return text ? dateFromLooseISOText(*text) : std::nullopt;
}

QString modelName(const JSONValue &limit)
{
    const JSONValue *scope = limit[u"scope"];
    const JSONValue *model = scope ? (*scope)[u"model"] : nullptr;
    const JSONValue *name = model ? (*model)[u"display_name"] : nullptr;
    const auto text = name ? name->stringValue() : std::nullopt;
    return text.value_or(u"model"_s);
}

std::optional<Meter::Kind> kindOf(const JSONValue &limit)
{
    const JSONValue *json = limit[u"kind"];
    const auto text = json ? json->stringValue() : std::nullopt;
    if (text == u"session"_s)
        return Meter::Kind::session();
    if (text == u"weekly_all"_s)
        return Meter::Kind::weeklyAll();
    if (text == u"weekly_scoped"_s)
        return Meter::Kind::weeklyModel(modelName(limit));
    return std::nullopt;
}

QList<Meter> limitsOf(const JSONValue &utilization)
{
    QList<Meter> meters;
    const JSONValue *limits = utilization[u"limits"];
    const JSONArray *array = limits ? limits->arrayValue() : nullptr;
    if (!array)
        return meters;
    for (const auto &limit : *array) {
        const auto kind = kindOf(limit);
        const auto percent = percentOf(limit[u"percent"]);
        if (!kind || !percent)
            continue;
        const JSONValue *active = limit[u"is_active"];
        const bool isActive = active && active->boolValue().value_or(false);
        meters.append({*kind, *percent, dateOf(limit[u"resets_at"]), isActive, 0});
    }
    return meters;
}

/// What older versions of the CLI wrote.
QList<Meter> olderMetersOf(const JSONValue &utilization)
{
    QList<Meter> meters;
    const auto add = [&](QStringView key, const Meter::Kind &kind) {
        const JSONValue *window = utilization[key];
        const auto percent = window ? percentOf((*window)[u"utilization"]) : std::nullopt;
        if (percent)
            meters.append({kind, *percent, dateOf((*window)[u"resets_at"]), true, 0});
    };
    add(u"five_hour", Meter::Kind::session());
    add(u"seven_day", Meter::Kind::weeklyAll());
    return meters;
}

int cappedExtra(double points)
{
    return static_cast<int>(std::min(std::round(points), double(UsageEstimate::maximumExtra)));
}

} // namespace

Span Meter::windowLength() const
{
    return kind.isWeekly() ? week : session;
}

QString Meter::label() const
{
    switch (kind.type) {
    case Kind::Type::Session:
        return u"Session (5h)"_s;
    case Kind::Type::WeeklyAll:
        return u"Week · all models"_s;
    case Kind::Type::WeeklyModel:
        break;
    }
    return u"Week · "_s + kind.displayName;
}

std::optional<double> Meter::weekElapsedFraction(Date now) const
{
    if (!kind.isWeekly() || !resetsAt || now <= *resetsAt - week || now >= *resetsAt)
        return std::nullopt;
    return double((now - (*resetsAt - week)).count()) / double(week.count());
}

std::optional<Meter> UsageSnapshot::sessionMeter() const
{
    const auto found =
        std::ranges::find_if(meters, [](const Meter &meter) { return !meter.kind.isWeekly(); });
    return found == meters.end() ? std::nullopt : std::optional(*found);
}

QList<Meter> UsageSnapshot::weeklyMeters() const
{
    QList<Meter> weekly;
    std::ranges::copy_if(meters, std::back_inserter(weekly),
                         [](const Meter &meter) { return meter.kind.isWeekly(); });
    return weekly;
}

bool UsageSnapshot::isStale(Date at, Span tolerance) const
{
    // Not `at - fetchedAt`: that overflows for a measurement whose time is not known.
    return fetchedAt < at - tolerance;
}

std::optional<UsageSnapshot> UsageSnapshot::parse(QByteArrayView claudeJSON)
{
    const auto json = JSONValue::parse(claudeJSON);
    const JSONValue *cached = json ? (*json)[u"cachedUsageUtilization"] : nullptr;
    const JSONValue *utilization = cached ? (*cached)[u"utilization"] : nullptr;
    if (!utilization)
        return std::nullopt;
    const JSONValue *fetchedAtMs = (*cached)[u"fetchedAtMs"];
    const auto milliseconds = fetchedAtMs ? fetchedAtMs->doubleValue() : std::nullopt;
    return parse(*utilization, milliseconds ? dateFromSeconds(*milliseconds / 1000) : distantPast);
}

std::optional<UsageSnapshot> UsageSnapshot::parse(QByteArrayView usageAPIResponse, Date fetchedAt)
{
    const auto json = JSONValue::parse(usageAPIResponse);
    return json ? parse(*json, fetchedAt) : std::nullopt;
}

std::optional<UsageSnapshot> UsageSnapshot::parse(const JSONValue &utilization, Date fetchedAt)
{
    UsageSnapshot snapshot{fetchedAt, limitsOf(utilization)};
    if (snapshot.meters.isEmpty())
        snapshot.meters = olderMetersOf(utilization);
    return snapshot.meters.isEmpty() ? std::nullopt : std::optional(snapshot);
}

UsageSnapshot UsageEstimate::project(const UsageSnapshot &snapshot, Date now,
                                     const std::function<qint64(Date from, Date to)> &tokens)
{
    UsageSnapshot projected = snapshot;
    for (auto &meter : projected.meters) {
        if (!meter.resetsAt || meter.percent == 0)
            continue;
        const Span window = meter.windowLength();
        const Date start = *meter.resetsAt - window;
        if (start >= snapshot.fetchedAt)
            continue;
        const qint64 seen = tokens(start, snapshot.fetchedAt);
        if (seen <= 0)
            continue;
        const double rate = double(meter.percent) / double(seen);
        if (*meter.resetsAt > now) {
            const int extra = cappedExtra(rate * double(tokens(snapshot.fetchedAt, now)));
            if (extra >= 1) {
                meter.percent += extra;
                meter.estimatedExtra = extra;
            }
            continue;
        }
        // The window rolled over, perhaps more than once: count only what the present one has seen.
        const Span elapsed = now - *meter.resetsAt;
        const auto windows = (elapsed + window - Span(1)) / window;
        const Date newStart = *meter.resetsAt + (windows - 1) * window;
        const int extra = cappedExtra(rate * double(tokens(newStart, now)));
        meter.percent = extra;
        meter.estimatedExtra = extra;
        meter.resetsAt = newStart + window;
    }
    return projected;
}

} // namespace Keelhaven
