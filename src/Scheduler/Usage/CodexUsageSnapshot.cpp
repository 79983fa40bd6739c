#include "Scheduler/Usage/CodexUsageSnapshot.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Bucket = CodexUsageSnapshot::Bucket;
using Window = CodexUsageSnapshot::Window;

namespace {

constexpr qint64 weekMinutes = 10080;

/// The limits of the CLI itself where the account has several kinds.
std::optional<Bucket> chosenBucket(const CodexUsageSnapshot::Response &response)
{
    if (response.rateLimitsByLimitId) {
        const auto codex = response.rateLimitsByLimitId->constFind(u"codex"_s);
        if (codex != response.rateLimitsByLimitId->cend())
            return *codex;
    }
    return response.rateLimits;
}

} // namespace

int Window::percent() const
{
    return static_cast<int>(std::clamp(usedPercent, 0.0, 100.0));
}

std::optional<Date> Window::resetDate() const
{
    return resetsAt ? std::optional(dateFromSeconds(*resetsAt)) : std::nullopt;
}

QString Window::caption() const
{
    return u"%1% used; %2% remaining"_s.arg(percent()).arg(100 - percent());
}

QList<std::pair<QString, Window>> CodexUsageSnapshot::meters() const
{
    QList<std::pair<QString, Window>> meters;
    if (session)
        meters.append({u"Session"_s, *session});
    if (weekly)
        meters.append({u"Weekly"_s, *weekly});
    return meters;
}

std::optional<CodexUsageSnapshot> CodexUsageSnapshot::parse(QByteArrayView data, Date now)
{
    const auto json = JSONValue::parse(data);
    const auto response = json ? decodeRecord<Response>(*json) : Decoded<Response>(failure(DecodeError{}));
    const auto bucket = response ? chosenBucket(*response) : std::nullopt;
    if (!bucket || (!bucket->primary && !bucket->secondary))
        return std::nullopt;
    CodexUsageSnapshot snapshot;
    snapshot.fetchedAt = now;
    for (const auto &window : {bucket->primary, bucket->secondary}) {
        if (!window)
            continue;
        const qint64 minutes = window->windowDurationMins.value_or(0);
        if (minutes < weekMinutes && !snapshot.session)
            snapshot.session = window;
        if (minutes == weekMinutes && !snapshot.weekly)
            snapshot.weekly = window;
    }
    return snapshot;
}

} // namespace Keelhaven
