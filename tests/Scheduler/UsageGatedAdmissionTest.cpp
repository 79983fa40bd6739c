#include "Scheduler/UsageGatedAdmission.h"

#include "Support/MemorySettings.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = UsageSnapshot::Meter::Kind;

const Date now = Date(1'772'600'000s);
constexpr Span week = 168h;

UsageSnapshot::Meter meter(const Kind &kind, int percent, std::optional<Span> resetsIn)
{
    return {kind, percent, resetsIn ? std::optional(now + *resetsIn) : std::nullopt, true, 0};
}

AdmissionContext contextOf(const QList<UsageSnapshot::Meter> &meters, Span age = 0s)
{
    return {UsageSnapshot{now - age, meters}, now, RunTrigger::Scheduled};
}

SchedulerSlot agent(std::optional<int> ownCap = std::nullopt)
{
    SchedulerSlot slot;
    slot.maxUsagePercent = ownCap;
    return slot;
}

TEST(UsageGatedAdmission, SessionCap)
{
    const auto held = [](Span until, const QString &reason) { return Admission::defer(now + until, reason); };
    const struct
    {
        const char *what;
        std::optional<int> ownCap;
        int percent;
        std::optional<Span> resetsIn;
        Admission expected;
    } cases[] = {
        {"below", {}, 49, 1h, Admission::run()},
        {"exactly at the cap", {}, 50, 1h, held(1h, u"session 50% ≥ 50% cap"_s)},
        {"own cap replaces the global one", 80, 79, 1h, Admission::run()},
        {"own lower cap", 20, 37, 1h, held(1h, u"session 37% ≥ 20% cap"_s)},
        {"own cap of 0 switches it off", 0, 100, 1h, Admission::run()},
        {"no reset time", {}, 90, {}, held(30min, u"session 90% ≥ 50% cap"_s)},
        {"about to reset", {}, 90, 20s, held(60s, u"session 90% ≥ 50% cap"_s)},
        {"reset in the past", {}, 90, -1h, held(60s, u"session 90% ≥ 50% cap"_s)},
        {"five days off", {}, 90, 120h, held(6h, u"session 90% ≥ 50% cap"_s)},
    };
    const UsageGatedAdmission policy(50, std::nullopt);
    for (const auto &test : cases)
        EXPECT_EQ(policy.admit(agent(test.ownCap),
                               contextOf({meter(Kind::session(), test.percent, test.resetsIn)})),
                  test.expected)
            << test.what;
}

TEST(UsageGatedAdmission, PaceGuard)
{
    const UsageGatedAdmission policy(std::nullopt, 10);
    const auto admit = [&](const QList<UsageSnapshot::Meter> &meters) {
        return policy.admit(agent(), contextOf(meters));
    };
    // Half the week has gone: 50 points and the slack of 10 are allowed.
    EXPECT_EQ(admit({meter(Kind::weeklyAll(), 60, week / 2)}), Admission::run());
    const Span onePercent = week / 100;
    EXPECT_EQ(admit({meter(Kind::weeklyAll(), 61, week / 2)}),
              Admission::defer(now + onePercent, u"week 61% is ahead of pace (50%)"_s));
    EXPECT_EQ(admit({meter(Kind::weeklyAll(), 90, week / 2)}),
              Admission::defer(now + 6h, u"week 90% is ahead of pace (50%)"_s));
    EXPECT_EQ(admit({meter(Kind::weeklyAll(), 60, week / 2),
                     meter(Kind::weeklyModel(u"Opus %1"_s), 70, week / 2 + 1h)}),
              Admission::defer(now + 6h, u"week Opus %1 70% is ahead of pace (49%)"_s));
    for (const auto &skipped : {meter(Kind::weeklyAll(), 99, std::nullopt), meter(Kind::weeklyAll(), 99, 0s),
                                meter(Kind::weeklyAll(), 99, -1h), meter(Kind::weeklyAll(), 99, week),
                                meter(Kind::session(), 99, 4h)})
        EXPECT_EQ(admit({skipped}), Admission::run());
}

TEST(UsageGatedAdmission, OnlyScheduledRunsWithAFreshReadingAreGated)
{
    const UsageGatedAdmission policy(50, 10);
    auto context = contextOf({meter(Kind::session(), 90, 1h)}, 3600s);
    EXPECT_EQ(policy.admit(agent(), context).kind, Admission::Kind::Defer);
    context.usage->fetchedAt = now - 3601s;
    EXPECT_EQ(policy.admit(agent(), context), Admission::run());
    context.usage->fetchedAt = distantPast;
    EXPECT_EQ(policy.admit(agent(), context), Admission::run());
    context.usage->fetchedAt = now;
    for (const auto trigger : {RunTrigger::Manual, RunTrigger::Captain}) {
        context.trigger = trigger;
        EXPECT_EQ(policy.admit(agent(), context), Admission::run());
    }
    context.trigger = RunTrigger::Scheduled;
    context.usage.reset();
    EXPECT_EQ(policy.admit(agent(), context), Admission::run());
}

TEST(UsageGatedAdmission, Settings)
{
    MemorySettings settings;
    EXPECT_EQ(UsageGatedAdmission::fromSettings(settings).sessionCapDefault(), 50);
    EXPECT_EQ(UsageGatedAdmission::fromSettings(settings).paceSlackPoints(), 10);
    settings.set(u"schedulerSessionCapPercent"_s, qint64(0));
    settings.set(u"schedulerPaceSlack"_s, u"20"_s);
    EXPECT_FALSE(UsageGatedAdmission::fromSettings(settings).sessionCapDefault());
    EXPECT_EQ(UsageGatedAdmission::fromSettings(settings).paceSlackPoints(), 10) << "text is no number";
    settings.set(u"schedulerPaceGuardEnabled"_s, false);
    EXPECT_FALSE(UsageGatedAdmission::fromSettings(settings).paceSlackPoints());
}

} // namespace
} // namespace Keelhaven
