#include "Store/LegacyImport.h"

#include "Store/SQLiteRunStore.h"
#include "Store/StoreSupport.h"
#include "Support/VirtualClock.h"

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class LegacyImportTest : public DatabaseTest
{
protected:
    VirtualClock clock;
    RunStore legacy{paths};
    SQLiteRunStore store{*database, clock, paths.runsDir(), paths.assetsDir()};
    const QString backup = legacy.slotsFile() + u".pre-sqlite.bak"_s;
};

TEST_F(LegacyImportTest, HappensOnceWhetherThereIsSomethingOrNot)
{
    EXPECT_EQ(LegacyImport::runIfNeeded(*database, legacy, clock), LegacyImport::Report());
    EXPECT_EQ(database->meta(u"imported_at"_s), isoText(clock.now()));
    EXPECT_EQ(database->meta(u"imported_counts"_s), u"slots=0 runs=0"_s);
    EXPECT_FALSE(QFileInfo::exists(backup));
    ASSERT_TRUE(legacy.saveSlots({makeSlot(u"late"_s)}));
    EXPECT_EQ(LegacyImport::runIfNeeded(*database, legacy, clock), std::nullopt);
    EXPECT_EQ(count(u"agents"_s), 0);
}

TEST_F(LegacyImportTest, FailureInTheMiddleLeavesNothingAndTheNextOneBringsAll)
{
    const QList agents{makeSlot(u"A"_s), makeSlot(u"B"_s), makeSlot(u"C"_s)};
    const auto run = makeRun(clock.now());
    ASSERT_TRUE(legacy.saveSlots(agents));
    ASSERT_TRUE(legacy.saveRecord(run));
    rows(u"CREATE TRIGGER refuse BEFORE INSERT ON runs BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
    EXPECT_EQ(LegacyImport::runIfNeeded(*database, legacy, clock), std::nullopt);
    EXPECT_EQ(count(u"agents"_s) + count(u"meta"_s), 0);
    EXPECT_FALSE(QFileInfo::exists(backup));

    rows(u"DROP TRIGGER refuse"_s);
    EXPECT_EQ(LegacyImport::runIfNeeded(*database, legacy, clock),
              (LegacyImport::Report{.slots = 3, .runs = 1}));
    EXPECT_EQ(database->meta(u"imported_counts"_s), u"slots=3 runs=1"_s);
    EXPECT_EQ(store.loadSlots(), agents);
    EXPECT_EQ(store.loadHistory(), QList{run});
    EXPECT_EQ(readFile(backup).value(), readFile(legacy.slotsFile()).value());
}

TEST_F(LegacyImportTest, ExistingBackupStays)
{
    ASSERT_TRUE(legacy.saveSlots({}));
    ASSERT_TRUE(writeFileAtomically(backup, "older"));
    EXPECT_TRUE(LegacyImport::runIfNeeded(*database, legacy, clock));
    EXPECT_EQ(readFile(backup).value(), "older");
}

} // namespace
} // namespace Keelhaven
