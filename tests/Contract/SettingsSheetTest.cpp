#include "Contract/SettingsSheet.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(SettingsSheet, EverySettingOfAPageIsOnItOnceAndFitsItsControl)
{
    QStringList shown;
    for (const auto page : SettingsSheet::pages()) {
        for (const auto &row : SettingsSheet::rows(page)) {
            SCOPED_TRACE(row.key.toString().toStdString());
            const SettingSpec *spec = SettingsCatalog::find(row.key);
            ASSERT_TRUE(spec);
            EXPECT_TRUE(spec->isUserSet);
            EXPECT_EQ(spec->page, page);
            EXPECT_EQ(row.control == SettingControl::Switch, spec->type == SettingType::Flag);
            EXPECT_EQ(row.control == SettingControl::Stepper, row.range().has_value());
            EXPECT_EQ(row.control == SettingControl::Choice, !spec->choices.empty());
            EXPECT_FALSE(row.label.isEmpty() && row.caption.isEmpty() && row.placeholder.isEmpty());
            if (!row.onlyWith.isEmpty())
                EXPECT_TRUE(shown.contains(row.onlyWith)) << "its switch stands above it";
            shown.append(row.key.toString());
        }
    }
    for (const auto &spec : SettingsCatalog::all()) {
        const bool belongs = spec.page && spec.key != Setting::defaultAgentProvider.name;
        EXPECT_EQ(shown.count(spec.key.toString()), belongs ? 1 : 0) << spec.key.toString().toStdString();
    }
}

TEST(SettingsSheet, CaptionsTellTheValue)
{
    QMap<QString, QString> captions;
    for (const auto page : SettingsSheet::pages()) {
        for (const auto &row : SettingsSheet::rows(page)) {
            if (const auto range = row.range())
                captions[row.key.toString()] = row.captionFor(range->least);
        }
    }
    const QMap<QString, QString> expected{
        {u"schedulerConcurrencyCap"_s, u"1"_s},
        {u"schedulerSessionCapPercent"_s, u"below 5%"_s},
        {u"schedulerPaceSlack"_s, u"slack +0 points"_s},
        {u"dispatchKeepOpenHours"_s, u"Keep finished task sessions open for 1 h"_s},
        {u"dispatchMaxOpenSessions"_s, u"· at most 1"_s}};
    EXPECT_EQ(captions, expected);
    for (const auto &row : SettingsSheet::rows(SettingsPage::Misc)) {
        if (row.key == Setting::schedulerSessionCapPercent.name)
            EXPECT_EQ(row.captionFor(0), u"no cap") << "which is the opposite of below 0%";
        else if (row.key == Setting::schedulerPaceSlack.name)
            EXPECT_EQ(row.captionFor(0), u"slack +0 points");
    }
}

} // namespace Keelhaven
