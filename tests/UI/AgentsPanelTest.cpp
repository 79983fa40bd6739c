#include "App/AppSelection.h"
#include "UI/ScreenFixture.h"

#include <QAccessible>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

QQuickItem *rowOf(Screen &screen, const QString &list, int index)
{
    QQuickItem *row = nullptr;
    QMetaObject::invokeMethod(screen.item(list), "itemAtIndex", Q_RETURN_ARG(QQuickItem *, row),
                              Q_ARG(int, index));
    return row;
}

/// The first switch below an item.
QQuickItem *switchIn(QQuickItem *root)
{
    if (root->property("checked").isValid() && root->property("label").isValid())
        return root;
    const auto children = root->childItems();
    for (QQuickItem *child : children) {
        if (QQuickItem *found = switchIn(child))
            return found;
    }
    return nullptr;
}

TEST(AgentsPanelTest, ASwitchTurnsItsAgentOffAndOnAndCodexHasNone)
{
    Screen screen({.hasLiveRuns = false});
    auto &engine = screen.profile.model().scheduler();
    const auto agents = engine.slotList();
    ASSERT_EQ(screen.item(u"agentList"_s)->property("count").toInt(), agents.size());
    EXPECT_TRUE(screen.shows(u"Morning brief"_s));
    EXPECT_TRUE(screen.shows(u"Daily at 7:30 am"_s));

    for (const bool expected : {false, true}) {
        screen.click(switchIn(rowOf(screen, u"agentList"_s, 0)));
        EXPECT_EQ(engine.slot(agents[0].id)->enabled, expected);
        EXPECT_EQ(switchIn(rowOf(screen, u"agentList"_s, 0))->property("checked").toBool(), expected);
    }
    QQuickItem *codex = switchIn(rowOf(screen, u"agentList"_s, 6));
    EXPECT_FALSE(codex->isEnabled());
    EXPECT_EQ(codex->property("help").toString(), u"Codex agents run manually only"_s);
}

TEST(AgentsPanelTest, TheKeyboardReachesEveryListAndOpensARun)
{
    Screen screen;
    QQuickItem *panel = screen.item(u"agentsPanel"_s);
    screen.press(Qt::Key_4, Qt::AltModifier);
    EXPECT_EQ(panel->property("tab").toInt(), 3);
    screen.press(Qt::Key_2, Qt::AltModifier);
    EXPECT_TRUE(screen.shows(u"Next 10 days"_s));

    screen.item(u"tabs"_s)->forceActiveFocus(Qt::TabFocusReason);
    screen.press(Qt::Key_Right);
    EXPECT_EQ(panel->property("tab").toInt(), 2);
    screen.press(Qt::Key_Right);
    screen.press(Qt::Key_Right);
    ASSERT_EQ(panel->property("tab").toInt(), 3);

    screen.item(u"historyList"_s)->forceActiveFocus(Qt::TabFocusReason);
    screen.press(Qt::Key_Return);
    EXPECT_EQ(screen.profile.model().selection().selectedRunID(), screen.profile.reportedRun());
    EXPECT_TRUE(screen.shows(u"WHAT IT REPORTED"_s));
    EXPECT_TRUE(screen.shows(u"DELIVERABLES"_s));
    EXPECT_TRUE(screen.shows(u"traffic.png"_s));
    EXPECT_EQ(screen.item(u"backButton"_s)->property("help").toString(), u"Back to the agent editor"_s);
    screen.item(u"runDetail"_s)->forceActiveFocus();
    screen.press(Qt::Key_Escape);
    EXPECT_FALSE(screen.profile.model().selection().selectedRunID());
}

TEST(AgentsPanelTest, UpAndDownGoFromFiringToFiringAndStayInSight)
{
    Screen screen({.hasLiveRuns = false}, {1280, 480});
    screen.press(Qt::Key_2, Qt::AltModifier);
    QQuickItem *list = screen.item(u"agendaList"_s);
    list->forceActiveFocus(Qt::TabFocusReason);
    auto &agenda = *screen.app.scheduler()->agenda();
    const auto focused = [&] {
        return QAccessible::queryAccessibleInterface(screen.view().activeFocusItem())
            ->text(QAccessible::Name);
    };
    for (int day = 0; day < 3; ++day) {
        for (const AgendaEntry &entry : agenda.rows()[day].entries) {
            screen.press(Qt::Key_Down);
            EXPECT_EQ(focused(), u"%1, %2"_s.arg(entry.time, entry.name));
            const QQuickItem *item = screen.view().activeFocusItem();
            const QRectF place = item->mapRectToItem(list, {0, 0, item->width(), item->height()});
            EXPECT_TRUE(QRectF(0, 0, list->width(), list->height()).contains(place)) << day;
        }
    }
    const auto before = focused();
    screen.press(Qt::Key_Down);
    screen.press(Qt::Key_Up);
    EXPECT_EQ(focused(), before);
    screen.press(Qt::Key_Return);
    EXPECT_EQ(screen.app.scheduler()->selectedSlotID(), uuidText(agenda.rows()[2].entries.last().slotID));
}

TEST(AgentsPanelTest, ARunThatHasToWaitSaysSoAndCanBeTakenBack)
{
    Screen screen;
    auto &engine = screen.profile.model().scheduler();
    const auto queued = engine.queued().size();
    screen.app.scheduler()->runNow(uuidText(engine.slotList().value(7).id));
    screen.update();
    ASSERT_EQ(engine.queued().size(), queued + 1);
    EXPECT_TRUE(screen.shows(u"Claude · queued"_s));
    EXPECT_TRUE(screen.shows(u"It starts as soon as there is room for it."_s));
    screen.click(screen.item(u"dequeueButton"_s));
    EXPECT_EQ(engine.queued().size(), queued);
    EXPECT_FALSE(screen.profile.model().selection().selectedRunID());
}

TEST(AgentsPanelTest, ATerminalTakesTheRoomThatAWideWindowHas)
{
    Screen screen({}, {1920, 1200});
    screen.profile.model().selection().setSelectedRunID(screen.profile.blockedRun());
    screen.update();
    const QQuickItem *pane = screen.item(u"runDetail"_s);
    const QQuickItem *terminal = screen.item(u"rawOutput"_s);
    ASSERT_TRUE(terminal->isVisible());
    EXPECT_GT(terminal->width(), 0.9 * pane->width());
    const qreal end = terminal->mapToItem(pane, QPointF(0, terminal->height())).y();
    EXPECT_LT(end, pane->height());
    EXPECT_GT(end, pane->height() - 60);
}

TEST(AgentsPanelTest, AStateIsReadWholeInASmallWindow)
{
    for (const QSize size : {QSize(900, 600), QSize(700, 400), QSize(1280, 800)}) {
        Screen screen({}, size);
        screen.profile.model().selection().setSelectedRunID(screen.profile.blockedRun());
        screen.update();
        const QQuickItem *state = screen.item(u"runState"_s);
        EXPECT_TRUE(state->property("text").toString().startsWith(u"Claude · waiting for input"_s));
        EXPECT_FALSE(state->property("truncated").toBool()) << size.width();
        EXPECT_TRUE(screen.item(u"rawOutput"_s)->property("atYEnd").toBool()) << "the question stands last";
    }
}

TEST(AgentsPanelTest, ANarrowWindowHasItsMenuAndItsUsageTooAndLooksAtNoRunForEver)
{
    Screen screen({.hasLiveRuns = false}, {700, 480});
    EXPECT_TRUE(screen.item(u"appMenu"_s)->isVisible());
    screen.click(screen.item(u"usageEntry"_s));
    EXPECT_TRUE(screen.texts(screen.view().contentItem()).contains(u"Claude usage"_s));
    screen.press(Qt::Key_Escape);

    auto &selection = screen.profile.model().selection();
    selection.setSelectedRunID(screen.profile.reportedRun());
    screen.profile.model().scheduler().clearHistory();
    settle();
    screen.update();
    EXPECT_TRUE(screen.shows(u"Pick a run below, or set one up on the right."_s));
    EXPECT_TRUE(screen.shows(u"Back to the agent editor"_s));
}

TEST(AgentsPanelTest, AHiddenRunIsFoundUnderHidden)
{
    Screen screen({.hasLiveRuns = false});
    auto &view = *screen.app.scheduler();
    screen.press(Qt::Key_4, Qt::AltModifier);
    const int hiddenBefore = view.hiddenCount();
    const int shownBefore = view.history()->rowCount();
    screen.item(u"historyList"_s)->forceActiveFocus(Qt::TabFocusReason);
    screen.press(Qt::Key_H);
    EXPECT_EQ(view.hiddenCount(), hiddenBefore + 1);
    EXPECT_EQ(view.history()->rowCount(), shownBefore - 1);
    EXPECT_EQ(view.history()->indexOf(u"history-"_s + uuidText(screen.profile.reportedRun())), -1);

    view.setShowsHidden(true);
    screen.update();
    const int row = view.history()->indexOf(u"history-"_s + uuidText(screen.profile.reportedRun()));
    ASSERT_EQ(row, 0);
    EXPECT_TRUE(view.history()->data(view.history()->index(row), HistoryModel::IsHidden).toBool());
    screen.item(u"historyList"_s)->setProperty("currentIndex", 0);
    screen.press(Qt::Key_H);
    EXPECT_EQ(view.hiddenCount(), hiddenBefore);
}

TEST(AgentsPanelTest, ATaskIsOneLineAndOnePageWithAllItsTurns)
{
    Screen screen({.hasLiveRuns = false});
    screen.press(Qt::Key_4, Qt::AltModifier);
    auto &history = *screen.app.scheduler()->history();
    const int row = history.indexOf(u"dispatch-"_s + screen.profile.task().id);
    ASSERT_GE(row, 0);
    EXPECT_EQ(history.at(row)->runIDs.size(), 3);
    for (const QUuid &run : screen.profile.task().runIDs) {
        screen.profile.model().selection().setSelectedRunID(run);
        screen.update();
        EXPECT_TRUE(screen.shows(u"Slow harbour page"_s));
        EXPECT_TRUE(screen.shows(u"FOLLOW-UP 2"_s));
        EXPECT_FALSE(screen.texts().filter(u"Does the phone view do the same?"_s).isEmpty());
    }
}

TEST(AgentsPanelTest, EverythingThatTabReachesSaysWhatItIs)
{
    Screen screen;
    for (int tab = 0; tab < 4; ++tab) {
        screen.item(u"agentsPanel"_s)->setProperty("tab", tab);
        screen.profile.model().selection().setSelectedRunID(tab == 2 ? screen.profile.blockedRun()
                                                                     : screen.profile.reportedRun());
        screen.update();
        QSet<QQuickItem *> reached;
        for (int step = 0; step < 80; ++step) {
            screen.press(Qt::Key_Tab);
            QQuickItem *item = screen.view().activeFocusItem();
            if (reached.contains(item))
                break;
            reached.insert(item);
            auto *accessible = QAccessible::queryAccessibleInterface(item);
            ASSERT_TRUE(accessible) << item->metaObject()->className();
            EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty())
                << "tab " << tab << ", " << item->metaObject()->className() << " "
                << item->objectName().toStdString();
        }
        EXPECT_GE(reached.size(), 9) << "the panels, the settings, the tabs, a list, and what is beside it";
    }
}

TEST(AgentsPanelTest, ANewLineShowsWhereTheNewestIsLookedAt)
{
    Screen screen({.hasLiveRuns = false});
    screen.press(Qt::Key_4, Qt::AltModifier);
    QQuickItem *list = screen.item(u"historyList"_s);
    auto &engine = screen.profile.model().scheduler();
    const auto finishOne = [&] {
        const auto runs = engine.enqueue(engine.slotList().value(0));
        settle();
        engine.stop(runs.value(0));
        settle();
        screen.update();
    };
    finishOne();
    EXPECT_TRUE(list->property("atYBeginning").toBool());
    list->setProperty("contentY", 900);
    screen.update();
    const QString before = rowOf(screen, u"historyList"_s, 14)->property("itemID").toString();
    finishOne();
    EXPECT_FALSE(list->property("atYBeginning").toBool());
    EXPECT_EQ(rowOf(screen, u"historyList"_s, 15)->property("itemID").toString(), before);
}

TEST(AgentsPanelTest, FindingNarrowsTheHistoryWhileOneTypes)
{
    Screen screen({.hasLiveRuns = false});
    screen.press(Qt::Key_F, Qt::ControlModifier);
    screen.type(u"mooring cache"_s);
    auto &history = *screen.app.scheduler()->history();
    EXPECT_EQ(history.rowCount(), 0) << "that is only in a summary, and reports are searched";
    screen.press(Qt::Key_Escape);
    screen.type(u"week 47"_s);
    EXPECT_EQ(history.rowCount(), 1);
}

TEST(AgentsPanelTest, LiveRunsTellTheirStateAndDestroyingAsksFirst)
{
    Screen screen;
    auto &model = screen.profile.model();
    screen.press(Qt::Key_3, Qt::AltModifier);
    for (const auto &text :
         {u"waiting for input"_s, u"you have control"_s, u"waiting on usage"_s, u"queued"_s})
        EXPECT_TRUE(screen.shows(text)) << text.toStdString();

    model.selection().setSelectedRunID(screen.profile.blockedRun());
    screen.update();
    EXPECT_TRUE(screen.shows(u"This session is waiting for an answer — open it in Herdr to unblock it."_s));
    screen.click(screen.item(u"stopButton"_s));
    EXPECT_FALSE(screen.profile.blockedRun().isNull()) << "asked, not done";
    screen.press(Qt::Key_Escape);
    EXPECT_FALSE(screen.profile.blockedRun().isNull());
}

TEST(AgentsPanelTest, WhatAgentsWroteIsTextAndNothingElse)
{
    Screen screen({.hasLiveRuns = false, .isHostile = true, .runs = 20});
    EXPECT_TRUE(screen.shows(u"<b>Bold</b><img src=\"file:///etc/passwd\"> & co"_s));
    screen.press(Qt::Key_4, Qt::AltModifier);
    for (const RunRecord &run : screen.profile.model().scheduler().history()) {
        screen.profile.model().selection().setSelectedRunID(run.id);
        screen.update();
        const auto texts = screen.texts();
        for (const QString &text : texts) {
            EXPECT_LT(text.size(), 20'000);
            EXPECT_FALSE(text.contains(u"<script"_s) && text.startsWith(u"<style"_s));
            EXPECT_FALSE(text.contains(u'\u001b'));
        }
    }
}

TEST(AgentsPanelTest, AFallbackDatabaseIsToldOnEveryPanelAndKeepsTheAgents)
{
    testing::internal::CaptureStderr();
    Screen screen({.hasLiveRuns = false, .hasBrokenDatabase = true});
    static_cast<void>(testing::internal::GetCapturedStderr());
    for (const Qt::Key key : {Qt::Key_1, Qt::Key_2, Qt::Key_4, Qt::Key_3}) {
        screen.press(key, Qt::ControlModifier);
        EXPECT_FALSE(screen.texts().filter(u"temporary one"_s).isEmpty());
    }
    EXPECT_EQ(screen.item(u"agentList"_s)->property("count").toInt(), 10);
}

} // namespace
} // namespace Keelhaven
