#include "App/AppSelection.h"
#include "Scheduler/PowerAssertionController.h"
#include "Scheduler/SweepRunner.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "UI/ScreenFixture.h"
#include "UI/TrayIcon.h"
#include "UI/WindowViews.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class Board : public Screen
{
public:
    explicit Board(const DemoProfile::Options &options, QSize size = {1280, 800})
        : Screen(options, size)
        , views(WindowViews::of(*view().engine()))
    {
        profile.model().selection().setPanel(AppPanel::Keelhaven);
        update();
    }
    [[nodiscard]] bool saysAnywhere(const QString &text)
    {
        return texts(view().contentItem()).contains(text);
    }

    WindowViews &views;
};

TEST(BoardPanelTest, TheFirstStartShowsTheChecklistUntilItIsSkipped)
{
    Board board({.isEmpty = true, .isFirstStart = true});
    EXPECT_TRUE(board.shows(u"Set up Keelhaven"_s));
    EXPECT_TRUE(board.shows(u"Three things this Mac needs before Keelhaven can run your agents."_s));
    EXPECT_EQ(board.item(u"morningReport"_s)->isVisible(), false);
    EXPECT_FALSE(board.item(u"setupNote"_s)->isVisible());
    board.profile.processes().answer = [](const ProcessSpec &) { return ProcessResult(); };
    board.click(board.item(u"setupCheck"_s));
    EXPECT_TRUE(board.item(u"setupNote"_s)->isVisible()) << "the shell is to blame";
    const auto rows = board.views.setup.rows();
    ASSERT_EQ(rows.size(), 3);
    EXPECT_TRUE(rows[0].toMap()[u"blocks"_s].toList().value(0).toMap()[u"text"_s].toString().contains(
        u"<code>claude</code>"_s));

    // "Open Terminal" of the first row, then a folder for the third.
    board.click(board.item(u"setupAction0"_s));
    EXPECT_EQ(board.profile.desktop().terminals.size(), 1);
    board.views.setup.chooseFolder(QUrl::fromLocalFile(board.profile.home()));
    board.update();
    EXPECT_TRUE(board.views.setup.rows()[2].toMap()[u"passed"_s].toBool());
    EXPECT_TRUE(board.shows(board.profile.home()));

    board.click(board.item(u"setupSkip"_s));
    EXPECT_FALSE(board.shows(u"Set up Keelhaven"_s));
    EXPECT_TRUE(board.shows(u"Morning report"_s));
    EXPECT_TRUE(board.profile.settings().flag(u"setupDone"_s));
}

TEST(BoardPanelTest, WhatTheKeyboardIsOnIsInSight)
{
    Board board({.hasSweeps = true}, {900, 400});
    const QQuickItem *page = board.item(u"boardPage"_s);
    ASSERT_GT(page->property("contentHeight").toReal(), page->height());
    QSet<QQuickItem *> onPage;
    for (int step = 0; step < 40; ++step) {
        board.press(Qt::Key_Tab);
        QQuickItem *item = board.view().activeFocusItem();
        if (!item || item == page || !page->isAncestorOf(item))
            continue;
        const QRectF place = item->mapRectToItem(page, {0, 0, item->width(), item->height()});
        EXPECT_GE(place.top(), 0);
        EXPECT_LE(place.bottom(), page->height());
        onPage.insert(item);
    }
    EXPECT_GE(onPage.size(), 5) << "both buttons, the follow-up and the earlier reports";
    board.item(u"boardPage"_s)->forceActiveFocus(Qt::TabFocusReason);
    board.press(Qt::Key_End);
    EXPECT_TRUE(page->property("atYEnd").toBool());
    board.press(Qt::Key_Home);
    EXPECT_TRUE(page->property("atYBeginning").toBool());
}

TEST(BoardPanelTest, ANewerReleaseIsAnnouncedUntilItIsSkipped)
{
    Board board({.hasLiveRuns = false, .runs = 3, .newestVersion = u"7.5"_s});
    EXPECT_TRUE(board.shows(board.views.setup.updateBanner()));
    EXPECT_TRUE(board.views.setup.updateBanner().startsWith(u"Keelhaven 7.5 is available — you're on "_s));
    board.click(board.item(u"skipVersion"_s));
    EXPECT_FALSE(board.item(u"updateBanner"_s)->isVisible());
    EXPECT_EQ(board.profile.settings().text(u"skippedUpdateVersion"_s), u"7.5"_s);
    EXPECT_TRUE(board.views.setup.updateCaption().endsWith(u"Skipping 7.5 until the next release."_s));
    board.views.setup.checkUpdates();
    board.update();
    EXPECT_TRUE(board.item(u"updateBanner"_s)->isVisible()) << "asked by hand it tells of it again";
}

TEST(BoardPanelTest, TheMorningReportCanBePickedUp)
{
    Board board({.hasLiveRuns = false, .runs = 3, .hasSweeps = true});
    EXPECT_GT(board.views.sweep.blocks().size(), 4);
    EXPECT_EQ(board.views.sweep.earlier().size(), 2);
    EXPECT_EQ(board.views.sweep.followUps().size(), 1);
    EXPECT_EQ(board.views.sweep.runBlocked(), QString());
    board.click(board.item(u"resumeSweep"_s));
    EXPECT_FALSE(board.item(u"resumeSweep"_s)->isEnabled());
    EXPECT_FALSE(board.item(u"runSweep"_s)->isEnabled());
    EXPECT_NE(board.views.sweep.state(), QString());
    EXPECT_EQ(board.item(u"runSweep"_s)->property("help"), u"A sweep is under way already."_s);
}

TEST(BoardPanelTest, ABlockedSweepSaysWhy)
{
    Board board({.hasLiveRuns = false, .runs = 3});
    const QString reason = u"Set a Keelhaven run directory in Settings — the sweep needs a project folder."_s;
    EXPECT_FALSE(board.item(u"runSweep"_s)->isEnabled());
    EXPECT_TRUE(board.shows(reason));
    board.views.settings.setPath(u"keelhavenRunDirectory"_s, board.profile.home());
    board.update();
    EXPECT_TRUE(board.item(u"runSweep"_s)->isEnabled());
    EXPECT_FALSE(board.shows(reason));
    board.profile.sessions().holdLaunches = true;
    board.click(board.item(u"runSweep"_s));
    ASSERT_TRUE(waitUntil([&] { return board.profile.model().sweep().launchingSweep().has_value(); }));
    board.update();
    EXPECT_EQ(board.views.sweep.state(), u"Waiting to start"_s) << "also while its session is being opened";
    EXPECT_FALSE(board.item(u"runSweep"_s)->isEnabled());
    board.profile.sessions().releaseLaunches();
    board.update();
}

TEST(BoardPanelTest, TheUsageStripTellsWhatIsAheadOfItsPace)
{
    Board board({.hasLiveRuns = false, .runs = 3});
    EXPECT_TRUE(board.shows(u"No usage data (~/.claude.json). Scheduled runs aren't gated."_s));
    const Date now = board.profile.clock().now();
    using Meter = UsageSnapshot::Meter;
    UsageSnapshot snapshot{.fetchedAt = now, .meters = {}};
    snapshot.meters.append(Meter{Meter::Kind::session(), 38, now + std::chrono::hours(2), true, 0});
    snapshot.meters.append(Meter{Meter::Kind::weeklyAll(), 71, now + std::chrono::hours(92), true, 0});
    board.profile.model().usage().adopt(snapshot);
    board.update();
    EXPECT_TRUE(board.shows(u"Session (5h)"_s));
    EXPECT_TRUE(board.shows(u"71%"_s));
    const auto meters = board.views.usage.meters();
    EXPECT_FALSE(meters[0].toMap()[u"ahead"_s].toBool());
    EXPECT_TRUE(meters[1].toMap()[u"ahead"_s].toBool());
    EXPECT_EQ(board.views.usage.notices(), QStringList());
    board.click(board.item(u"usageRefresh"_s));
    board.update();
    EXPECT_TRUE(board.views.usage.notices().join(u' ').startsWith(u"Couldn't fetch live usage"_s));

    board.views.usage.setProvider(u"codex"_s);
    board.update();
    EXPECT_TRUE(board.views.usage.notices().join(u' ').startsWith(u"Codex usage unavailable. "_s));
}

TEST(BoardPanelTest, TheUsageStripSaysHowMuchOfCodexIsLeft)
{
    Board board({.hasLiveRuns = false, .runs = 3});
    const QString bin = board.profile.home() + u"/bin"_s;
    QDir().mkpath(bin);
    QFile codex(bin + u"/codex"_s);
    ASSERT_TRUE(codex.open(QIODevice::WriteOnly));
    codex.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    board.profile.settings().set(u"loginShellPATH"_s, bin);
    board.views.usage.setProvider(u"codex"_s);
    ASSERT_TRUE(waitUntil([&] { return !board.profile.children().children.isEmpty(); }));
    const auto &server = *board.profile.children().children.last();
    const auto reset = qint64(secondsSince1970(board.profile.clock().now() + std::chrono::hours(3)));
    server.say(R"({"id":1,"result":{}})");
    server.say(
        R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":27,"windowDurationMins":300,"resetsAt":)" +
        QByteArray::number(reset) + R"(}}}})");
    board.update();
    EXPECT_TRUE(board.shows(u"Session"_s));
    EXPECT_TRUE(board.shows(u"27% used; 73% remaining · resets in 3 hours"_s));
}

TEST(BoardPanelTest, TheGlanceTellsOfRunsAndSwitchesThePower)
{
    Board board({});
    QQuickItem *button = board.item(u"glanceButton"_s);
    ASSERT_TRUE(button->isVisible()) << "no status area here";
    board.click(button);
    board.update();
    const auto runs = board.views.glance.runs();
    EXPECT_EQ(runs.size(), board.profile.model().scheduler().active().size());
    EXPECT_TRUE(board.saysAnywhere(runs[0].toMap()[u"text"_s].toString()));
    EXPECT_TRUE(board.saysAnywhere(board.views.glance.nextFire()));

    board.views.glance.setKeepAwake(true);
    EXPECT_TRUE(board.profile.model().power().keepAwake());
    EXPECT_TRUE(board.profile.settings().flag(u"keepMacAwake"_s));
    EXPECT_EQ(board.views.settings.value(u"keepMacAwake"_s), true);
    board.views.settings.set(u"preventMacLockScreen"_s, true);
    EXPECT_TRUE(board.views.glance.preventsLock());

    board.views.glance.showRun(runs[0].toMap()[u"runID"_s].toString());
    EXPECT_EQ(board.profile.model().selection().panel(), AppPanel::Scheduler);
    EXPECT_TRUE(board.profile.model().selection().selectedRunID().has_value());
    board.views.glance.setHasTray(true);
    board.update();
    EXPECT_FALSE(button->isVisible());
}

TEST(BoardPanelTest, TheTrayPanelComesAndGoesWithTheIcon)
{
    Board board({});
    QQmlComponent component(board.view().engine(), board.app.screen(u"TrayPanel"_s));
    const std::unique_ptr<QObject> made(component.create());
    auto *panel = qobject_cast<QQuickWindow *>(made.get());
    ASSERT_NE(panel, nullptr) << qPrintable(component.errorString());
    QMetaObject::invokeMethod(panel, "toggle", Q_ARG(QVariant, 5), Q_ARG(QVariant, 5));
    EXPECT_TRUE(panel->isVisible());
    EXPECT_GE(panel->x(), 0);
    EXPECT_TRUE(board.texts(panel->contentItem()).contains(u"Open Keelhaven"_s));
    QMetaObject::invokeMethod(panel, "toggle", Q_ARG(QVariant, 5), Q_ARG(QVariant, 5));
    EXPECT_FALSE(panel->isVisible());
}

TEST(MainWindowTest, ClosingItNeverPutsItOutOfReach)
{
    DemoProfile profile({.hasLiveRuns = false, .runs = 3});
    AppView app(profile.model());
    Appearance appearance(nullptr);
    QQmlApplicationEngine engine;
    equip(engine, app, appearance);
    engine.load(QUrl(u"qrc:/qt/qml/Keelhaven/qml/Main.qml"_s));
    ASSERT_EQ(engine.rootObjects().size(), 1);
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().first());
    window->show();
    const auto *dialog = window->findChild<QObject *>(u"leaveDialog"_s);

    window->close();
    EXPECT_TRUE(window->isVisible()) << "nothing would bring it back but a command";
    EXPECT_TRUE(dialog->property("visible").toBool());
    auto *hide = dialog->property("contentItem").value<QQuickItem *>()->findChild<QObject *>(u"leaveHide"_s);
    QMetaObject::invokeMethod(hide, "clicked");
    EXPECT_FALSE(window->isVisible());
    profile.model().handleDeepLink(u"keelhaven://window"_s);
    EXPECT_TRUE(window->isVisible());

    WindowViews::of(engine).glance.setHasTray(true);
    window->close();
    EXPECT_FALSE(window->isVisible());
    WindowViews::of(engine).glance.open(u"scheduler"_s);
    EXPECT_TRUE(window->isVisible());
}

TEST(TrayIconTest, IsDrawnInTheGivenColourAtEverySize)
{
    const auto sizes = TrayIcon::drawn(QColor(0x2e, 0x34, 0x36));
    ASSERT_EQ(sizes.size(), 6);
    for (const StatusPixmap &icon : sizes) {
        ASSERT_EQ(icon.pixels.size(), icon.width * icon.height * 4);
        bool hasInk = false;
        for (qsizetype i = 0; i < icon.pixels.size(); i += 4)
            hasInk = hasInk || icon.pixels.mid(i, 4) == QByteArray::fromHex("ff2e3436");
        EXPECT_TRUE(hasInk) << icon.width;
    }
}

} // namespace
} // namespace Keelhaven
