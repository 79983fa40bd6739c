#include "Contract/Models/EventList.h"

#include "Platform/Uuid.h"

#include <gtest/gtest.h>
#include <random>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

EventRecord at(double ts)
{
    EventRecord event;
    event.ts = ts;
    return event;
}

QList<EventRecord> records(const QList<const EventRecord *> &found)
{
    QList<EventRecord> list;
    for (const EventRecord *event : found)
        list.append(*event);
    return list;
}

TEST(EventListTest, BehavesLikeAPlainListWhateverIsAppendedDroppedAndSliced)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    EventList list;
    QList<EventRecord> plain;
    const QList<QUuid> runs{QUuid::createUuid(), QUuid::createUuid(), QUuid::createUuid()};
    double clock = 0;
    for (int round = 0; round < 200; ++round) {
        const EventList before = list;
        const auto plainBefore = plain;
        for (auto left = random() % 60; left > 0; --left) {
            clock += 1;
            // Now and then an event comes late.
            auto event = at(random() % 10 == 0 ? clock - random() % 500 : clock);
            if (random() % 50 == 0)
                event.runID = runs[random() % 3];
            if (random() % 2 == 0)
                event.sessionId = u"s%1"_s.arg(random() % 2 == 0 ? round : random() % 200);
            list.append(event);
            plain.append(event);
        }
        const auto tail = static_cast<qsizetype>(random() % 100);
        EXPECT_EQ(list.last(tail).toList(), plain.mid(std::max<qsizetype>(plain.size() - tail, 0)));
        if (random() % 3 == 0) {
            const double cutoff = clock - random() % 1000;
            list.dropUpTo(cutoff);
            plain.removeIf([cutoff](const EventRecord &event) { return event.ts <= cutoff; });
        }
        ASSERT_EQ(list.toList(), plain);
        ASSERT_EQ(list.size(), plain.size());
        const EventList::Wanted wanted{u"s%1"_s.arg(random() % 200), runs[random() % 3],
                                       dateFromSeconds(clock - random() % 300)};
        const auto isWanted = [&](const EventRecord &event) {
            return event.sessionId == wanted.sessionId || event.runID == wanted.runID ||
                   event.date() >= *wanted.since;
        };
        QList<EventRecord> expected;
        std::ranges::copy_if(plain, std::back_inserter(expected), isWanted);
        ASSERT_EQ(records(list.find(wanted)), expected);
        ASSERT_EQ(
            records(list.last(10).find(wanted)),
            expected.mid(expected.size() -
                         std::ranges::count_if(plain.last(std::min<qsizetype>(10, plain.size())), isWanted)));
        ASSERT_EQ(before.toList(), plainBefore) << "a copy taken earlier stands";
    }
}

TEST(EventListTest, CopiesShareAndGrowApart)
{
    EventList list{at(1), at(2)};
    EventList copy = list;
    EXPECT_EQ(&*copy.begin(), &*list.begin());
    copy.append(at(3));
    list.append(at(4));
    EXPECT_EQ(copy, (EventList{at(1), at(2), at(3)}));
    EXPECT_EQ(list, (EventList{at(1), at(2), at(4)}));
}

TEST(EventListTest, ASearchLooksAtFewEventsOfAMonth)
{
    EventList month;
    for (int i = 0; i < 100'000; ++i) {
        auto event = at(i);
        event.sessionId = u"s%1"_s.arg(i / 1000);
        month.append(event);
    }
    EXPECT_EQ(month.find({.sessionId = u"s50"_s}).size(), 1000);
    EXPECT_EQ(month.find({.since = dateFromSeconds(99'000)}).size(), 1000);
    EXPECT_EQ(month.find({.runID = QUuid::createUuid()}).size(), 0);
}

TEST(EventRecordTest, LinesGiveWhatTheyHold)
{
    const QUuid run = QUuid::createUuid();
    const auto line =
        u"  {\"ts\": 1772600707.25, \"type\": \"Stop\", \"session_id\": \"s1\", \"provider\": \"codex\", "
        u"\"run_id\": \"%1\", \"turn_id\": \"t\","
        "\"agent_id\": \"a\", \"cwd\": \"/w\", \"last_message\": \"done\", \"tool_name\": \"Bash\", "
        "\"target\": \"x\", \"repo_hint\": \"h\","
        "\"note\": \"n\", \"agent_type\": \"k\", \"title\": \"T\", \"repo\": \"r\", \"more\": [1]}  "_s.arg(
            uuidText(run));
    const auto event = EventRecord::fromLine(line);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->id(), u"1772600707.25-Stop-s1"_s);
    EXPECT_EQ(event->date(), Date(std::chrono::milliseconds(1772600707250)));
    EXPECT_EQ(event->runID, run);
    const QStringList fields{*event->provider,    *event->turnID,    *event->agentID,      *event->cwd,
                             *event->lastMessage, *event->toolName,  *event->target,       *event->repoHint,
                             *event->note,        *event->agentType, *event->sessionTitle, *event->repo};
    EXPECT_EQ(fields.join(u' '), u"codex t a /w done Bash x h n k T r"_s);
    EXPECT_TRUE(event->raw.find(u"more"));
    EXPECT_EQ(event->tagged(u"other"_s).repo, u"other"_s);

    const auto poor = EventRecord::fromLine(QStringView(u"{\"ts\": \"1\", \"run_id\": \"x\", \"cwd\": 3}"));
    ASSERT_TRUE(poor);
    EXPECT_EQ(poor->id(), u"0.0--"_s);
    EXPECT_EQ(poor->runID, std::nullopt);
    EXPECT_EQ(poor->cwd, std::nullopt);
    for (QStringView bad : {u"", u"  ", u"{", u"[]", u"3", u"{} {}"})
        EXPECT_FALSE(EventRecord::fromLine(bad)) << bad.toString().toStdString();
}

} // namespace
} // namespace Keelhaven
