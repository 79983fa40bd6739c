#include "App/AppSelection.h"

#include "Platform/Uuid.h"
#include "Support/MemorySettings.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

AppPanel restored(const QMap<QString, SettingValue> &stored, MemorySettings &settings)
{
    for (const auto &[key, value] : stored.asKeyValueRange())
        settings.set(key, value);
    return AppSelection(settings).panel();
}

} // namespace

TEST(AppSelection, PanelComesBackButTheFirstStartOpensTheBoard)
{
    const std::pair<QMap<QString, SettingValue>, AppPanel> cases[] = {
        {{{u"appPanel"_s, u"scheduler"_s}}, AppPanel::Keelhaven},
        {{{u"boardIntroduced"_s, true}, {u"appPanel"_s, u"plugins"_s}}, AppPanel::Plugins},
        {{{u"boardIntroduced"_s, true}, {u"appPanel"_s, u"moon"_s}, {u"schedulerSelected"_s, true}},
         AppPanel::Scheduler},
        {{{u"boardIntroduced"_s, true}, {u"pluginsSelected"_s, true}}, AppPanel::Plugins},
        {{{u"boardIntroduced"_s, true}}, AppPanel::Projects},
    };
    for (const auto &[stored, panel] : cases) {
        MemorySettings settings;
        EXPECT_EQ(restored(stored, settings), panel) << enumText(panel).toStdString();
        EXPECT_TRUE(settings.flag(u"boardIntroduced"_s));
        EXPECT_EQ(settings.text(u"appPanel"_s),
                  stored.contains(u"appPanel"_s) ? std::get<QString>(stored[u"appPanel"_s]) : QString())
            << "restoring stores no panel";
    }
}

TEST(AppSelection, WhatIsSelectedComesBackAndWhatIsClearedDoesNot)
{
    MemorySettings settings;
    const QUuid ship = QUuid::createUuid();
    {
        AppSelection first(settings);
        EXPECT_EQ(first.selectedProject(), std::nullopt);
        first.setSelectedProject(u"my app"_s);
        first.setSelectedShipID(ship);
        first.setPanel(AppPanel::Scheduler);
    }
    EXPECT_EQ(settings.text(u"selectedShipID"_s), uuidText(ship));
    AppSelection second(settings);
    EXPECT_EQ(second.selectedProject(), u"my app"_s);
    EXPECT_EQ(second.selectedShipID(), ship);
    EXPECT_EQ(second.panel(), AppPanel::Scheduler);
    second.setSelectedProject(std::nullopt);
    second.setSelectedShipID(std::nullopt);
    EXPECT_FALSE(settings.value(u"selectedProject"_s) || settings.value(u"selectedShipID"_s));
    settings.set(u"selectedShipID"_s, u"no ship"_s);
    EXPECT_EQ(AppSelection(settings).selectedShipID(), std::nullopt);
}

TEST(AppSelection, ShowingSelectsOnlyWhatIsGivenAndRaisesTheWindow)
{
    MemorySettings settings;
    AppSelection selection(settings);
    int raised = 0;
    int panels = 0;
    QObject::connect(&selection, &AppSelection::raiseRequested, &selection, [&] { ++raised; });
    QObject::connect(&selection, &AppSelection::panelChanged, &selection, [&] { ++panels; });
    const QUuid ship = QUuid::createUuid();
    const QUuid run = QUuid::createUuid();
    selection.showScheduler(run);
    selection.showScheduler(std::nullopt);
    EXPECT_EQ(selection.selectedRunID(), run);
    EXPECT_EQ(selection.panel(), AppPanel::Scheduler);
    EXPECT_EQ(panels, 1);
    selection.showBoard(ship, std::nullopt);
    selection.showBoard(std::nullopt, run);
    EXPECT_EQ(selection.selectedShipID(), ship);
    EXPECT_EQ(selection.boardSelectedRunID(), run);
    EXPECT_EQ(selection.panel(), AppPanel::Keelhaven);
    selection.showProject(u"app"_s);
    EXPECT_EQ(selection.panel(), AppPanel::Projects);
    EXPECT_EQ(raised, 5);
    selection.showPanel(AppPanel::Plugins);
    selection.showSettingsPage(SettingsPage::Misc);
    EXPECT_EQ(raised, 5);
    EXPECT_EQ(selection.property("settingsPage"), u"misc"_s);
    EXPECT_EQ(selection.property("panel"), u"plugins"_s);
    EXPECT_TRUE(selection.property("showSettings").toBool());
}

} // namespace Keelhaven
