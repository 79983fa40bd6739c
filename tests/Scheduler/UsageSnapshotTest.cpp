#include "Scheduler/Usage/UsageSnapshot.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = UsageSnapshot::Meter::Kind;

const Date fetched = Date(1'772'600'000s);

std::string shown(const std::optional<UsageSnapshot> &snapshot)
{
    QStringList texts;
    for (const auto &meter : snapshot ? snapshot->meters : QList<UsageSnapshot::Meter>())
        texts.append(u"%1 %2%%3%4"_s.arg(meter.label())
                         .arg(meter.percent)
                         .arg(meter.isActive ? u"!"_s : QString(),
                              meter.resetsAt ? u' ' + isoText(*meter.resetsAt) : QString()));
    return texts.join(u"; "_s).toStdString();
}

std::string parsed(const char *json)
{
    return shown(UsageSnapshot::parse(QByteArrayView(json), fetched));
}

TEST(UsageSnapshot, ReadsBothShapes)
{
    EXPECT_EQ(parsed(R"({"limits":[
        {"kind":"session","percent":37.9,"resets_at":"2026-03-04T10:00:00Z","is_active":true},
        {"kind":"weekly_all","percent":12,"resets_at":"2026-03-08T10:00:00.123456+00:00","is_active":"yes"},
        {"kind":"weekly_scoped","percent":1e9,"scope":{"model":{"display_name":"Opus"}}},
        {"kind":"weekly_scoped","percent":-3,"scope":{"model":"Opus"},"resets_at":"soon"},
        {"kind":"monthly","percent":1}, {"kind":"session"}, {"percent":1}, {"kind":"session","percent":"1"}, 5],
        "five_hour":{"utilization":99}})"),
              "Session (5h) 37%! 2026-03-04T10:00:00.000Z; Week · all models 12% 2026-03-08T10:00:00.123Z; "
              "Week · Opus 1000000%; Week · model 0%");
    const char *older = R"("five_hour":{"utilization":5.5,"resets_at":"2026-03-04T10:00:00Z"},
                           "seven_day":{"utilization":7}})";
    const char *olderShown = "Session (5h) 5%! 2026-03-04T10:00:00.000Z; Week · all models 7%!";
    EXPECT_EQ(parsed((std::string("{") + older).c_str()), olderShown);
    EXPECT_EQ(parsed((std::string("{\"limits\":[],") + older).c_str()), olderShown);
    EXPECT_EQ(parsed((std::string("{\"limits\":[{\"kind\":\"x\",\"percent\":1}],") + older).c_str()),
              olderShown);
    for (const char *nothing : {"{}", "[]", "", R"({"limits":[]})", R"({"five_hour":{"utilization":null}})"})
        EXPECT_FALSE(UsageSnapshot::parse(QByteArrayView(nothing), fetched)) << nothing;
}

TEST(UsageSnapshot, ReadsTheCLIsOwnFile)
{
    const auto parse = [](const char *json) { return UsageSnapshot::parse(QByteArrayView(json)); };
    const auto snapshot = parse(R"({"other":1,"cachedUsageUtilization":{"fetchedAtMs":1772600000500,
        "utilization":{"limits":[{"kind":"session","percent":1}]}}})");
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->fetchedAt, fetched + 500ms);
    const auto undated =
        parse(R"({"cachedUsageUtilization":{"utilization":{"five_hour":{"utilization":1}}}})");
    ASSERT_TRUE(undated);
    EXPECT_EQ(undated->fetchedAt, distantPast);
    EXPECT_TRUE(undated->isStale(fetched, 1s));
    EXPECT_FALSE(parse(R"({"cachedUsageUtilization":{"fetchedAtMs":1}})"));
    EXPECT_FALSE(parse(R"({"cachedUsageUtilization":[]})"));
    EXPECT_FALSE(parse("{"));
}

TEST(UsageSnapshot, WeekElapsedFraction)
{
    UsageSnapshot::Meter meter{Kind::weeklyAll(), 1, fetched, false, 0};
    EXPECT_EQ(meter.weekElapsedFraction(fetched - 84h), 0.5);
    EXPECT_FALSE(meter.weekElapsedFraction(fetched));
    EXPECT_FALSE(meter.weekElapsedFraction(fetched - 168h));
    meter.kind = Kind::session();
    EXPECT_FALSE(meter.weekElapsedFraction(fetched - 1h));
}

/// One weekly meter at 20 % that resets 84 h after `fetched`; 1000 tokens were seen in its window before.
UsageSnapshot::Meter projected(Span later, qint64 since, int percent = 20, qint64 seen = 1000)
{
    const UsageSnapshot snapshot{fetched, {{Kind::weeklyAll(), percent, fetched + 84h, true, 0}}};
    const auto tokens = [&](Date, Date to) { return to == fetched ? seen : since; };
    return UsageEstimate::project(snapshot, fetched + later, tokens).meters.first();
}

TEST(UsageEstimate, MovesARunningWindowByItsOwnRate)
{
    const struct
    {
        const char *what;
        UsageSnapshot::Meter meter;
        int percent;
        int extra;
    } cases[] = {
        {"a fifth more tokens", projected(1h, 200), 24, 4},
        {"0.4 points round to none", projected(1h, 20), 20, 0},
        {"0.5 points round to one", projected(1h, 25), 21, 1},
        {"30 are cut to 25", projected(1h, 1500), 45, 25},
        {"a number beyond any int", projected(1h, std::numeric_limits<qint64>::max()), 45, 25},
        {"0 percent has no rate", projected(1h, 1000, 0), 0, 0},
        {"no tokens seen", projected(1h, 1000, 20, 0), 20, 0},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(test.meter.percent, test.percent) << test.what;
        EXPECT_EQ(test.meter.estimatedExtra, test.extra) << test.what;
        EXPECT_EQ(test.meter.resetsAt, fetched + 84h) << test.what;
    }
}

TEST(UsageEstimate, CountsOnlyThePresentWindowAfterARollOver)
{
    const UsageSnapshot snapshot{fetched, {{Kind::session(), 20, fetched + 1h, true, 0}}};
    Date countedFrom;
    const auto tokens = [&](Date from, Date to) -> qint64 {
        if (to == fetched)
            return 1000;
        countedFrom = from;
        return 150;
    };
    // Resets at +1 h, +6 h and +11 h: at +13 h the window that began at +11 h runs.
    const auto meter = UsageEstimate::project(snapshot, fetched + 13h, tokens).meters.first();
    EXPECT_EQ(countedFrom, fetched + 11h);
    EXPECT_EQ(meter.resetsAt, fetched + 16h);
    EXPECT_EQ(meter.percent, 3);
    EXPECT_EQ(meter.estimatedExtra, 3);

    const UsageSnapshot later{
        fetched, {{Kind::session(), 20, fetched + 5h, true, 0}, {Kind::session(), 20, {}, true, 0}}};
    EXPECT_EQ(UsageEstimate::project(later, fetched + 1h, tokens), later)
        << "the window began with the reading";
}

} // namespace
} // namespace Keelhaven
