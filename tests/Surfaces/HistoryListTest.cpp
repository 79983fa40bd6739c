#include "Surfaces/HistoryList.h"

#include "Surfaces/AgentsPane.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const Calendar utc{QTimeZone::utc()};

class HistoryListTest : public ::testing::Test
{
protected:
    /// A history in short: "a" and "b" are turns of those tasks, anything else stands for itself; "!" behind
    /// it means failed, "-" hidden. Newest first.
    void write(const QString &runs)
    {
        history.clear();
        for (const QString &word : runs.split(u' ', Qt::SkipEmptyParts)) {
            RunRecord run;
            run.slotName = word;
            run.outcome = word.contains(u'!') ? RunOutcome::timeout() : RunOutcome::completed();
            if (word.contains(u'-'))
                run.hidden = true;
            if (const auto task = tasks.constFind(word.left(1)); task != tasks.cend())
                run.slotID = *task->taskSlotID;
            else
                run.slotID = QUuid::createUuid();
            history.append(run);
        }
        ++revision;
    }

    /// The list in the same short: the turns of a line joined by "+".
    QString shown(bool showsHidden = true)
    {
        list.update(history, lookup, revision);
        QStringList lines;
        for (const auto &item : list.visibleItems(showsHidden)) {
            QStringList turns;
            for (const RunRecord *run : item.runs)
                turns.append(run->slotName);
            lines.append(turns.join(u'+'));
        }
        return lines.join(u' ');
    }

    static DispatchRecord task(const QString &id)
    {
        DispatchRecord record;
        record.id = id;
        record.taskSlotID = QUuid::createUuid();
        record.taskName = u"Task "_s + id;
        return record;
    }

    QMap<QString, DispatchRecord> tasks{{u"a"_s, task(u"a"_s)}, {u"b"_s, task(u"b"_s)}};
    TaskLookup lookup = [this](const QUuid &slotID) -> const DispatchRecord * {
        ++asked;
        for (const auto &task : std::as_const(tasks)) {
            if (task.taskSlotID == slotID)
                return &task;
        }
        return nullptr;
    };
    int asked = 0;
    QList<RunRecord> history;
    quint64 revision = 0;
    HistoryList list;
};

} // namespace

TEST_F(HistoryListTest, TurnsOfATaskShareTheLineOfTheNewest)
{
    const std::pair<QString, QString> rows[]{
        {u"x y"_s, u"x y"_s},
        {u"x a1 y a2 z a3"_s, u"x a1+a2+a3 y z"_s},
        {u"b1 a1 b2 a2"_s, u"b1+b2 a1+a2"_s},
        {QString(), QString()},
    };
    for (const auto &[runs, lines] : rows) {
        write(runs);
        EXPECT_EQ(shown(), lines);
    }
}

TEST_F(HistoryListTest, TheNewestRunHidesItsWholeLine)
{
    write(u"x- a1- y a2 b1 b2-"_s);
    EXPECT_EQ(shown(false), u"y b1+b2-"_s);
    EXPECT_EQ(list.hiddenCount(), 2);
    EXPECT_EQ(shown(true), u"x- a1-+a2 y b1+b2-"_s);
}

TEST_F(HistoryListTest, FailuresOfTheLatestTwentyAreCountedWithoutHiddenOnes)
{
    write(u"x! "_s.repeated(21));
    shown();
    EXPECT_EQ(SchedulerListPane::badge(SchedulerListPane::Tab::History, list), u"20 failed"_s);
    EXPECT_FALSE(SchedulerListPane::badge(SchedulerListPane::Tab::Queue, list));
    write(u"x!- x! "_s + u"y "_s.repeated(18) + u"x!"_s);
    shown();
    EXPECT_EQ(list.recentFailures(), 1);
    write(u"x y"_s);
    shown();
    EXPECT_FALSE(SchedulerListPane::badge(SchedulerListPane::Tab::History, list));
}

TEST_F(HistoryListTest, LooksAgainOnlyAtWhatChanged)
{
    write(u"x a1"_s);
    EXPECT_TRUE(list.update(history, lookup, revision));
    const int first = asked;
    EXPECT_FALSE(list.update(history, lookup, revision));
    EXPECT_EQ(asked, first) << "the same history is not walked";

    history.first().hidden = true; // in place, as the engine edits its list
    EXPECT_TRUE(list.update(history, lookup, revision));
    EXPECT_EQ(list.hiddenCount(), 1);

    tasks[u"a"_s].taskName = u"Renamed"_s;
    EXPECT_TRUE(list.update(history, lookup, revision + 1));
    EXPECT_EQ(HistoryRow::of(list.historyItems().last(), utc).title, u"Renamed");
}

TEST_F(HistoryListTest, RowsTellHowAndWhen)
{
    write(u"x! a1 a2-"_s);
    history[0].startedAt = *dateFromLooseISOText(u"2026-03-04T19:05:00Z");
    history[1].startedAt = *dateFromLooseISOText(u"2026-03-04T00:00:00Z");
    list.update(history, lookup, ++revision);
    const auto single = HistoryRow::of(list.historyItems()[0], utc);
    EXPECT_EQ(single.id, u"history-"_s + uuidText(history[0].id));
    EXPECT_EQ(single.title, u"x!");
    EXPECT_EQ(single.subtitle, u"timed out · 7:05 PM");
    EXPECT_TRUE(single.isFailure);
    const auto task = HistoryRow::of(list.historyItems()[1], utc);
    EXPECT_EQ(task.id, u"dispatch-a");
    EXPECT_EQ(task.runID, history[1].id);
    EXPECT_EQ(task.title, u"Task a");
    EXPECT_EQ(task.subtitle, u"completed · 12:00 AM · 2 turns");
    EXPECT_FALSE(task.isHidden);
    EXPECT_EQ(list.historyItems()[1].runIDs(), (QList<QUuid>{history[1].id, history[2].id}));
}

TEST_F(HistoryListTest, TenThousandRunsTakeOneLookUpEach)
{
    write(u"x a1 y b1 "_s.repeated(2500));
    list.update(history, lookup, revision);
    EXPECT_EQ(asked, 10000);
    EXPECT_EQ(list.historyItems().size(), 5002);
    EXPECT_EQ(list.historyItems()[1].runs.size(), 2500);
}

} // namespace Keelhaven
