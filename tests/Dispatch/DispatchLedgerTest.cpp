#include "Dispatch/DispatchLedger.h"

#include "Support/TestHome.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const Date noon = *dateFromLooseISOText(u"2026-03-04T12:00:00Z");

RunRecord runOf(const QUuid &slotID, int minute)
{
    RunRecord run;
    run.slotID = slotID;
    run.startedAt = noon + std::chrono::minutes(minute);
    return run;
}

class DispatchLedgerTest : public ::testing::Test
{
protected:
    static DispatchRecord task(const QString &id)
    {
        DispatchRecord record;
        record.id = id;
        record.messageText = id;
        record.dispatcherSlotID = QUuid::createUuid();
        record.taskSlotID = QUuid::createUuid();
        return record;
    }
    [[nodiscard]] QString taskOf(const std::optional<QUuid> &slotID) const
    {
        const DispatchRecord *record = ledger.taskRecord(*slotID);
        return record ? record->id : QString();
    }

    TestHome home;
    DispatchLedger ledger{DispatchStore(home.path(u"dispatch"_s))};
};

} // namespace

TEST_F(DispatchLedgerTest, RunsFindTheTaskTheyWorkFor)
{
    const auto page = task(u"page"_s);
    auto note = task(u"note"_s);
    note.status = DispatchStatus::Forwarded;
    note.forwardedTaskID = u"page"_s;
    auto lost = task(u"lost"_s);
    lost.status = DispatchStatus::Forwarded;
    lost.forwardedTaskID = u"nobody"_s;
    auto again = task(u"again"_s);
    again.taskSlotID = page.taskSlotID; // the newer record of an agent counts
    for (const auto &record : {again, page, note, lost})
        ledger.prepend(record);
    EXPECT_EQ(taskOf(page.taskSlotID), u"page");
    EXPECT_EQ(taskOf(page.dispatcherSlotID), u"page");
    EXPECT_EQ(taskOf(note.dispatcherSlotID), u"page") << "the message went there";
    EXPECT_EQ(taskOf(lost.dispatcherSlotID), u"lost") << "where it went is gone";
    EXPECT_EQ(taskOf(QUuid::createUuid()), QString());
    EXPECT_EQ(ledger.taskRecord(runOf(*page.taskSlotID, 0)), ledger.taskRecord(*page.taskSlotID));
}

TEST_F(DispatchLedgerTest, ChangesAreStoredAndTold)
{
    int told = 0;
    QObject::connect(&ledger, &DispatchLedger::changed, &ledger, [&] { ++told; });
    auto page = task(u"page"_s);
    ledger.prepend(page);
    const auto revision = ledger.revision();
    const QUuid newSlot = QUuid::createUuid();
    EXPECT_TRUE(ledger.update(u"page"_s, [&](DispatchRecord &record) { record.taskSlotID = newSlot; }));
    EXPECT_FALSE(ledger.update(u"nobody"_s, [](DispatchRecord &) {}));
    EXPECT_EQ(taskOf(newSlot), u"page");
    EXPECT_EQ(taskOf(page.taskSlotID), QString()) << "the index follows";
    EXPECT_NE(ledger.revision(), revision);
    EXPECT_EQ(told, 2);

    for (int i = 0; i < 100; ++i)
        ledger.prepend(task(u"t%1"_s.arg(i)));
    EXPECT_EQ(ledger.records().size(), 100);
    EXPECT_FALSE(ledger.record(u"page"_s)) << "the oldest goes, as in the file";

    DispatchLedger next{DispatchStore(home.path(u"dispatch"_s))};
    EXPECT_TRUE(next.records().isEmpty());
    next.load();
    EXPECT_EQ(next.records(), ledger.records());
}

TEST_F(DispatchLedgerTest, AnUnwritableLedgerGoesOnInMemory)
{
    home.write(u"dispatch"_s, "a file stands in the folder's place");
    ledger.prepend(task(u"page"_s));
    EXPECT_TRUE(ledger.record(u"page"_s));
}

TEST_F(DispatchLedgerTest, ATasksRunsAreThoseOfItsAgentOnce)
{
    auto record = task(u"page"_s);
    const auto first = runOf(*record.taskSlotID, 1);
    const auto second = runOf(*record.taskSlotID, 2);
    const auto third = runOf(*record.taskSlotID, 3);
    const auto other = runOf(QUuid::createUuid(), 2);
    const auto live = [](const RunRecord &run) {
        return std::make_shared<ActiveRun>(run, SchedulerSlot(), LaunchedRun());
    };
    const auto runs =
        DispatchLedger::taskRuns(record, {second, other, first}, {live(third), live(second), live(other)});
    EXPECT_EQ(runs, (QList<RunRecord>{first, second, third}));
    record.taskSlotID.reset();
    EXPECT_TRUE(DispatchLedger::taskRuns(record, {first}, {live(third)}).isEmpty());
}

TEST_F(DispatchLedgerTest, TurnsSayWhatTheUserAskedFor)
{
    const QString contract = u" When you are completely done, write a JSON file at /x shaped like {}"_s;
    const QString instructions =
        u" Standing instructions from the CTO (follow the ones that apply to this task): be brief"_s;
    DispatchRecord record = task(u"make a page"_s);
    record.followUps = {{{}, u"make it blue"_s, noon}, {{}, QString(), noon}, {{}, u"and big"_s, noon}};
    struct Row
    {
        QString command;
        bool isFirst;
        QString message;
    };
    const Row rows[]{
        {u"Build the page"_s + instructions + contract, true, u"make a page"_s},
        {u"Build the page"_s + instructions + contract, false, u"Build the page"_s},
        {u"Please: make it blue"_s + contract, false, u"make it blue"_s},
        {u"make it blue. Also and big"_s, true, u"make it blue\n\nAlso: and big"_s},
        {u"Carry on"_s + contract, false, u"Carry on"_s},
        {instructions, false, QString()},
    };
    for (const auto &row : rows) {
        RunRecord run;
        run.command = row.command;
        EXPECT_EQ(DispatchLedger::turnMessage(run, record, row.isFirst), row.message);
    }
}

} // namespace Keelhaven
