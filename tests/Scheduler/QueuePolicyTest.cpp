#include "Scheduler/QueuePolicy.h"

#include "Platform/Uuid.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using QueuePolicy::Waiting;

Waiting waiting(int priority, int firedAt, const QUuid &id = QUuid::createUuid())
{
    return {id, QUuid::createUuid(), priority, Date(std::chrono::seconds(firedAt))};
}

TEST(QueuePolicy, PriorityThenFiringThenIDText)
{
    const QList<Waiting> queue{waiting(0, 1), waiting(5, 9), waiting(5, 8), waiting(-1, 0)};
    EXPECT_EQ(QueuePolicy::next(queue, 0, 5), queue[2].runID);
    EXPECT_FALSE(QueuePolicy::next({}, 0, 5));

    // The order of the texts; QUuid's own would put the last one first.
    const QList<QUuid> ids{
        QUuid(u"0F000000-0000-4000-8000-000000000000"_s), QUuid(u"A0000000-0000-4000-8000-000000000000"_s),
        QUuid(u"A0000000-0000-4000-8000-00000000000A"_s), QUuid(u"A0000000-0000-4000-9000-000000000000"_s),
        QUuid(u"A0000000-0000-1000-F000-000000000000"_s)};
    for (const QUuid &a : ids) {
        for (const QUuid &b : ids)
            EXPECT_EQ(QueuePolicy::less(waiting(0, 0, a), waiting(0, 0, b)), uuidText(a) < uuidText(b));
    }
}

TEST(QueuePolicy, TheCapIsClampedAndCountsWhatRuns)
{
    const QList<Waiting> queue{waiting(0, 1)};
    const struct
    {
        int active;
        qint64 cap;
        bool starts;
    } cases[] = {{0, 0, true},  {1, 0, false},   {0, -7, true},    {4, 5, true},
                 {5, 5, false}, {19, 100, true}, {20, 100, false}, {19, 5'000'000'000, true}};
    for (const auto &test : cases)
        EXPECT_EQ(QueuePolicy::next(queue, test.active, test.cap).has_value(), test.starts)
            << test.active << " of " << test.cap;
}

TEST(QueuePolicy, AnAgentThatRunsOrWaitsIsNotQueuedAgain)
{
    const QUuid slot = QUuid::createUuid();
    EXPECT_TRUE(QueuePolicy::canEnqueue(slot, {QUuid::createUuid()}, {}));
    EXPECT_FALSE(QueuePolicy::canEnqueue(slot, {slot}, {}));
    EXPECT_FALSE(QueuePolicy::canEnqueue(slot, {}, {slot}));
}

} // namespace
} // namespace Keelhaven
