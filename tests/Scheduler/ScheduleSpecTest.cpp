#include "Scheduler/Model/ScheduleSpec.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

ScheduleSpec specOf(const char *json)
{
    return JSONCodec<ScheduleSpec>::decode(*JSONValue::parse(QByteArrayView(json))).value();
}

Date at(const char *text)
{
    return dateFromLooseISOText(QString::fromLatin1(text)).value();
}

Calendar in(const char *zone)
{
    const QTimeZone timeZone{QByteArray(zone)};
    EXPECT_TRUE(timeZone.isValid()) << zone;
    return Calendar(timeZone);
}

/// The next `count` firings as "MM-ddTHH:mmZ" in UTC.
std::vector<std::string> firings(const ScheduleSpec &spec, const char *zone, const char *after, int count)
{
    std::vector<std::string> texts;
    for (const Date date : spec.fireDates(at(after), at("2100-01-01T00:00:00Z"), in(zone), count))
        texts.push_back(toQDateTime(date).toUTC().toString(u"MM-dd'T'HH:mm'Z'"_s).toStdString());
    return texts;
}

TEST(ScheduleSpec, FiresStrictlyAfterAtTheWallClockTimes)
{
    const struct
    {
        const char *json;
        std::vector<std::string> expected;
    } cases[] = {
        {R"({"kind":"daily","times":[{"hour":17,"minute":30},{"hour":9,"minute":0}]})",
         {"03-04T17:30Z", "03-05T09:00Z", "03-05T17:30Z"}},
        // 2026-03-04 is a Wednesday, day 4.
        {R"({"kind":"weekly","days":[4,2],"times":[{"hour":9,"minute":0}]})",
         {"03-09T09:00Z", "03-11T09:00Z", "03-16T09:00Z"}},
        {R"({"kind":"everyHours","interval":5,"window":{"startHour":9,"endHour":17}})",
         {"03-04T14:00Z", "03-05T09:00Z", "03-05T14:00Z"}},
        {R"({"kind":"everyHours","interval":5,"window":{"startHour":-1,"endHour":10}})",
         {"03-05T04:00Z", "03-05T09:00Z", "03-06T04:00Z"}},
        {R"({"kind":"everyHours","interval":24})", {"03-05T00:00Z", "03-06T00:00Z", "03-07T00:00Z"}},
        {R"({"kind":"once","date":"2026-03-04T09:00:00.001Z"})", {"03-04T09:00Z"}},
        {R"({"kind":"daily","times":[{"hour":24,"minute":0},{"hour":9,"minute":60},{"hour":8,"minute":5}]})",
         {"03-05T08:05Z", "03-06T08:05Z", "03-07T08:05Z"}},
    };
    for (const auto &test : cases)
        EXPECT_EQ(firings(specOf(test.json), "UTC", "2026-03-04T09:00:00Z", 3), test.expected) << test.json;
}

TEST(ScheduleSpec, RulesWithoutAnOccurrenceNeverFire)
{
    for (const char *json :
         {R"({"kind":"daily","times":[]})", R"({"kind":"weekly","days":[],"times":[{"hour":9,"minute":0}]})",
          R"({"kind":"weekly","days":[2],"times":[]})",
          R"({"kind":"weekly","days":[0,8],"times":[{"hour":9,"minute":0}]})",
          R"({"kind":"everyHours","interval":0})", R"({"kind":"everyHours","interval":-3})",
          R"({"kind":"everyHours","interval":1,"window":{"startHour":17,"endHour":17}})",
          R"({"kind":"everyHours","interval":1,"window":{"startHour":18,"endHour":9}})",
          R"({"kind":"once","date":"2026-03-04T09:00:00.000Z"})"}) {
        EXPECT_FALSE(specOf(json).nextFireDate(at("2026-03-04T09:00:00Z"), in("UTC"))) << json;
        EXPECT_THAT(specOf(json).launchdCalendarEntries(in("UTC")).size(), specOf(json).isOnce() ? 1 : 0)
            << json;
    }
}

TEST(ScheduleSpec, DaylightSavingGapsAndRepeats)
{
    const char *halfPastTwo = R"({"kind":"daily","times":[{"hour":2,"minute":30}]})";
    const char *halfPastOne = R"({"kind":"daily","times":[{"hour":1,"minute":30}]})";
    const char *quarterPastTwo = R"({"kind":"daily","times":[{"hour":2,"minute":15}]})";
    const char *quarterToTwo = R"({"kind":"daily","times":[{"hour":1,"minute":45}]})";
    const char *hourly = R"({"kind":"everyHours","interval":1,"window":{"startHour":1,"endHour":4}})";
    const struct
    {
        const char *what;
        const char *json;
        const char *zone;
        const char *after;
        std::vector<std::string> expected;
    } cases[] = {
        {"gap", halfPastTwo, "America/New_York", "2026-03-07T12:00:00Z", {"03-08T07:00Z", "03-09T06:30Z"}},
        {"repeat", halfPastOne, "America/New_York", "2026-10-31T12:00:00Z", {"11-01T05:30Z", "11-02T06:30Z"}},
        {"inside the repeat", halfPastOne, "America/New_York", "2026-11-01T05:45:00Z", {"11-02T06:30Z"}},
        {"gap", halfPastTwo, "Europe/Berlin", "2026-03-28T12:00:00Z", {"03-29T01:00Z", "03-30T00:30Z"}},
        {"repeat", halfPastTwo, "Europe/Berlin", "2026-10-24T12:00:00Z", {"10-25T00:30Z", "10-26T01:30Z"}},
        {"half-hour gap",
         quarterPastTwo,
         "Australia/Lord_Howe",
         "2026-10-03T12:00:00Z",
         {"10-03T15:30Z", "10-04T15:15Z"}},
        {"half-hour repeat",
         quarterToTwo,
         "Australia/Lord_Howe",
         "2026-04-04T12:00:00Z",
         {"04-04T14:45Z", "04-05T15:15Z"}},
        {"two times that the gap makes one",
         hourly,
         "America/New_York",
         "2026-03-08T05:00:00Z",
         {"03-08T06:00Z", "03-08T07:00Z", "03-09T05:00Z"}},
        {"gap at midnight",
         R"({"kind":"weekly","days":[1],"times":[{"hour":0,"minute":0}]})",
         "America/Havana",
         "2026-03-07T12:00:00Z",
         {"03-08T05:00Z", "03-15T04:00Z"}},
    };
    for (const auto &test : cases)
        EXPECT_EQ(firings(specOf(test.json), test.zone, test.after, int(test.expected.size())), test.expected)
            << test.zone << ", " << test.what;
}

/// The wall clock of a zone in steps of 15 minutes, read from the zone itself, as "the latest time shown so
/// far".
std::vector<qint64> shownSoFar(const QTimeZone &zone, Date from, int steps)
{
    std::vector<qint64> shown;
    qint64 latest = 0;
    for (int i = 0; i < steps; ++i) {
        const auto moment = toQDateTime(from + i * 15min).toTimeZone(zone);
        latest = std::max(latest, moment.toSecsSinceEpoch() + moment.offsetFromUtc());
        shown.push_back(latest);
    }
    return shown;
}

TEST(ScheduleSpec, AgreesWithTheWallClockThroughAYear)
{
    const Date from = at("2026-01-01T00:00:00Z");
    const int steps = 400 * 96;
    const auto spec = specOf(R"({"kind":"daily","times":[{"hour":0,"minute":0},{"hour":1,"minute":45},
                             {"hour":2,"minute":0},{"hour":2,"minute":15},{"hour":3,"minute":0}]})");
    const auto &times = std::get<ScheduleSpec::Daily>(spec.rule).times;
    for (const char *zone : {"America/New_York", "Europe/Berlin", "Australia/Lord_Howe", "Asia/Kathmandu"}) {
        const auto shown = shownSoFar(QTimeZone(QByteArray(zone)), from, steps);
        QList<Date> expected;
        const Date end = from + 365 * 24h;
        for (auto day = std::chrono::sys_days(2025y / 12 / 31); day <= end; day += std::chrono::days(1)) {
            for (const auto &time : times) {
                const auto wall = day + std::chrono::hours(time.hour) + std::chrono::minutes(time.minute);
                const auto first = std::ranges::lower_bound(
                    shown, std::chrono::duration_cast<std::chrono::seconds>(wall.time_since_epoch()).count());
                const Date moment = from + (first - shown.begin()) * 15min;
                if (moment > from && moment < end && (expected.isEmpty() || expected.last() != moment))
                    expected.append(moment);
            }
        }
        const auto fired = spec.fireDates(from, end, in(zone), 100'000);
        const auto [wrong, right] = std::ranges::mismatch(fired, expected);
        EXPECT_TRUE(wrong == fired.end() && right == expected.end())
            << zone << ": fires " << (wrong == fired.end() ? "never" : isoText(*wrong).toStdString())
            << ", not " << (right == expected.end() ? "never" : isoText(*right).toStdString());
    }
}

TEST(ScheduleSpec, Summary)
{
    const struct
    {
        const char *json;
        const char *expected;
    } cases[] = {
        {R"({"kind":"daily","times":[{"hour":12,"minute":5},{"hour":0,"minute":0}]})",
         "daily at 12:00 am, 12:05 pm"},
        {R"({"kind":"weekly","days":[6,2,9],"times":[{"hour":8,"minute":30}]})", "Mon, Fri, ? at 8:30 am"},
        {R"({"kind":"everyHours","interval":2,"window":{"startHour":9,"endHour":17}})",
         "every 2h between 9:00–17:00"},
        {R"({"kind":"everyHours","interval":6})", "every 6h"},
        {R"({"kind":"once","date":"2026-03-04T22:05:00.000Z"})", "once at Wed 4 Mar, 11:05 PM"},
    };
    for (const auto &test : cases)
        EXPECT_EQ(specOf(test.json).summary(in("Europe/Berlin")).toStdString(), test.expected);
}

TEST(ScheduleSpec, JSONKeepsTheValueAndRefusesWhatIsNone)
{
    for (const char *json :
         {R"({"kind": "daily", "times": [{"hour": 9, "minute": 0}]})",
          R"({"kind": "weekly", "days": [2, 6], "times": [{"hour": 8, "minute": 30}]})",
          R"({"kind": "everyHours", "interval": 2, "window": {"startHour": 9, "endHour": 17}})",
          R"({"kind": "everyHours", "interval": 6})",
          R"({"kind": "once", "date": "2026-03-04T05:06:07.890Z"})"})
        EXPECT_EQ(JSONCodec<ScheduleSpec>::encode(specOf(json)).encoded().toStdString(), json);
    const struct
    {
        const char *json;
        const char *message;
    } bad[] = {
        {R"({})", "kind: missing"},
        {R"({"kind":"hourly"})", "kind: unknown value: hourly"},
        {R"({"kind":"daily"})", "times: missing"},
        {R"({"kind":"daily","times":[{"hour":9}]})", "times.0.minute: missing"},
        {R"({"kind":"once","date":"2026-03-04T05:06:07Z"})", "date: bad ISO-8601 date: 2026-03-04T05:06:07Z"},
        {R"({"kind":"everyHours","interval":"2"})", "interval: expected an integer"},
    };
    for (const auto &test : bad) {
        const auto decoded = JSONCodec<ScheduleSpec>::decode(*JSONValue::parse(QByteArrayView(test.json)));
        ASSERT_FALSE(decoded) << test.json;
        EXPECT_EQ(decoded.error().message().toStdString(), test.message);
    }
}

} // namespace
} // namespace Keelhaven
