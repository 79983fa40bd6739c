#include "Scheduler/Usage/UsageTexts.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Meter = UsageSnapshot::Meter;

const Date now = Date(1'772'600'000s);

TEST(UsageTexts, AgesAndRelativeTimesAreWholeUnits)
{
    const struct
    {
        Span span;
        const char *age;
        const char *ahead;
    } cases[] = {
        {0s, "0m", "in 0 seconds"},      {59s, "0m", "in 59 seconds"}, {60s, "1m", "in 1 minute"},
        {3599s, "59m", "in 59 minutes"}, {3600s, "1h", "in 1 hour"},   {47h, "47h", "in 1 day"},
        {167h, "167h", "in 6 days"},     {168h, "168h", "in 1 week"},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(UsageTexts::age(now - test.span, now).toStdString(), test.age);
        EXPECT_EQ(UsageTexts::relativeTime(now + test.span, now).toStdString(), test.ahead);
    }
    EXPECT_EQ(UsageTexts::relativeTime(now - 2h, now), u"2 hours ago"_s);
    EXPECT_EQ(UsageTexts::age(now + 1h, now), u"0m"_s);
}

TEST(UsageTexts, AMeterTellsWhatIsEstimatedAndWhenItResets)
{
    Meter meter{Meter::Kind::session(), 41, now + 2h, true, 4};
    EXPECT_EQ(UsageTexts::caption(meter, now), u"≈ +4% since last read · resets in 2 hours"_s);
    EXPECT_EQ(
        UsageTexts::help(meter, now - 5min, now),
        u"37% when Claude Code last read it, plus about 4% for the runs since. Press Refresh for the real number."_s);
    meter.estimatedExtra = 0;
    EXPECT_EQ(UsageTexts::caption(meter, now), u"resets in 2 hours"_s);
    EXPECT_EQ(UsageTexts::help(meter, now - 5min, now), u"As Claude Code last read it, 5m ago."_s);
    meter.resetsAt.reset();
    EXPECT_EQ(UsageTexts::caption(meter, now), QString());
}

TEST(UsageTexts, AheadOfPaceFromATenthOfTheWeekOn)
{
    const auto ahead = [](int percent, Span intoWeek) {
        return UsageTexts::aheadOfPace({Meter::Kind::weeklyAll(), percent, now + 168h - intoWeek, true, 0},
                                       now);
    };
    EXPECT_FALSE(ahead(50, 84h)) << "exactly in step";
    EXPECT_TRUE(ahead(51, 84h));
    EXPECT_FALSE(ahead(99, 16h)) << "the week is young";
    EXPECT_TRUE(ahead(99, 17h));
    EXPECT_FALSE(UsageTexts::aheadOfPace({Meter::Kind::session(), 99, now + 1h, true, 0}, now));
}

TEST(UsageTexts, ANoticeSaysWhenNothingIsGated)
{
    EXPECT_EQ(UsageTexts::notice(std::nullopt, now),
              u"No usage data (~/.claude.json). Scheduled runs aren't gated."_s);
    UsageSnapshot snapshot{now - 3600s, {{}}};
    EXPECT_FALSE(UsageTexts::notice(snapshot, now));
    snapshot.fetchedAt = now - 3601s;
    EXPECT_EQ(UsageTexts::notice(snapshot, now), u"Usage is 1h old. Runs aren't gated until it refreshes."_s);
    snapshot.fetchedAt = distantPast;
    EXPECT_EQ(UsageTexts::notice(snapshot, now),
              u"Usage was read at a time that is not known. Runs aren't gated until it refreshes."_s);
    EXPECT_EQ(UsageTexts::help(snapshot.meters.first(), snapshot.fetchedAt, now),
              u"As Claude Code last read it, at a time that is not known."_s);
}

} // namespace
} // namespace Keelhaven
