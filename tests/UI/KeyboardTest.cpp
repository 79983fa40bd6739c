#include "App/AppSelection.h"
#include "UI/ScreenFixture.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

/// Whether the keyboard is on something in an item, or on that itself.
bool isIn(Screen &screen, const QString &name)
{
    const QQuickItem *focused = screen.view().activeFocusItem();
    const QQuickItem *place = screen.item(name);
    return place && focused && (focused == place || place->isAncestorOf(focused));
}

TEST(KeyboardTest, AShortcutTakesTheKeyboardToWhatItShows)
{
    for (const bool isEmpty : {false, true}) {
        Screen screen({.isEmpty = isEmpty, .hasLiveRuns = false, .runs = 5, .isFirstStart = isEmpty});
        const struct
        {
            Qt::Key key;
            Qt::KeyboardModifier modifier;
            QString place;
        } ways[] = {
            {Qt::Key_1, Qt::ControlModifier, u"boardPanel"_s},
            {Qt::Key_4, Qt::ControlModifier, u"pluginsPanel"_s},
            {Qt::Key_3, Qt::ControlModifier, u"agentsPanel"_s},
            {Qt::Key_2, Qt::AltModifier, u"agendaList"_s},
            {Qt::Key_3, Qt::AltModifier, u"queueList"_s},
            {Qt::Key_4, Qt::AltModifier, u"historyList"_s},
            {Qt::Key_1, Qt::AltModifier, u"agentList"_s},
        };
        for (const auto &way : ways) {
            // From wherever the keyboard was.
            screen.item(u"appMenu"_s)->forceActiveFocus(Qt::TabFocusReason);
            screen.press(way.key, way.modifier);
            EXPECT_TRUE(isIn(screen, way.place)) << way.place.toStdString() << (isEmpty ? ", empty" : "");
        }
    }
}

TEST(KeyboardTest, TabGoesOnFromThePageThatIsShown)
{
    Screen screen({.isEmpty = true, .isFirstStart = true});
    screen.press(Qt::Key_1, Qt::ControlModifier);
    for (const auto &name : {u"setupAction0"_s, u"setupCheck"_s, u"setupSkip"_s}) {
        QString focused;
        for (int step = 0; step < 8 && focused != name; ++step) {
            screen.press(Qt::Key_Tab);
            EXPECT_TRUE(isIn(screen, u"boardPanel"_s)) << name.toStdString();
            focused = screen.view().activeFocusItem()->objectName();
        }
        EXPECT_EQ(focused, name);
    }
}

TEST(KeyboardTest, TabGoesOnFromAListThatWasEmpty)
{
    Screen screen({.isEmpty = true});
    screen.press(Qt::Key_3, Qt::ControlModifier);
    SchedulerSlot slot;
    slot.id = QUuid::createUuid();
    slot.name = u"First"_s;
    screen.profile.model().scheduler().upsert(slot);
    settle();
    screen.update();
    screen.press(Qt::Key_Down);
    EXPECT_TRUE(isIn(screen, u"agentList"_s));
    screen.press(Qt::Key_Tab);
    EXPECT_TRUE(isIn(screen, u"agentEditor"_s));
}

TEST(KeyboardTest, WhatClosesGivesTheKeyboardBack)
{
    Screen screen({.hasLiveRuns = false, .runs = 5});
    screen.press(Qt::Key_4, Qt::AltModifier);
    screen.press(Qt::Key_Down);
    const auto *before = screen.view().activeFocusItem();
    ASSERT_TRUE(isIn(screen, u"historyList"_s));
    screen.press(Qt::Key_F10, Qt::ShiftModifier);
    EXPECT_FALSE(isIn(screen, u"historyList"_s)) << "the row's menu is open";
    screen.press(Qt::Key_Escape);
    EXPECT_EQ(screen.view().activeFocusItem(), before) << "after the menu";
    screen.press(Qt::Key_Delete);
    EXPECT_FALSE(isIn(screen, u"historyList"_s)) << "it is asked about";
    screen.press(Qt::Key_Escape);
    EXPECT_EQ(screen.view().activeFocusItem(), before) << "after the question";
    screen.press(Qt::Key_Comma, Qt::ControlModifier);
    screen.press(Qt::Key_Escape);
    EXPECT_EQ(screen.view().activeFocusItem(), before) << "after the settings";
}

TEST(KeyboardTest, TheSettingsBeginAtTheirPages)
{
    Screen screen({.hasLiveRuns = false, .runs = 5});
    screen.press(Qt::Key_Comma, Qt::ControlModifier);
    EXPECT_TRUE(screen.profile.model().selection().showSettings());
    screen.press(Qt::Key_Down);
    screen.press(Qt::Key_Down);
    EXPECT_EQ(screen.profile.model().selection().settingsPageName(), u"integrations"_s);
}

} // namespace
} // namespace Keelhaven
