// Draws the window's screens as pictures: scripts/screenshots runs it. It shows a throw-away profile, never
// the user's own.
#include "FewColors.h"

#include "App/AppSelection.h"
#include "Platform/LoginShell.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "UI/AppView.h"
#include "UI/DemoProfile.h"
#include "UI/WindowFront.h"
#include "UI/WindowViews.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickView>
#include <cstdio>

using namespace Keelhaven;
using namespace Qt::StringLiterals;

namespace {

struct Scene
{
    QString name;
    DemoProfile::Options profile;
    std::function<void(DemoProfile &, QQuickItem &)> arrange;
    QString source = u"qrc:/qt/qml/Keelhaven/qml/parts/Shell.qml"_s;
};

QQuickItem *findItem(QQuickItem &root, const QString &name)
{
    if (root.objectName() == name)
        return &root;
    const auto children = root.childItems();
    for (QQuickItem *child : children) {
        if (QQuickItem *found = findItem(*child, name))
            return found;
    }
    return nullptr;
}

void run(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

void showTab(QQuickItem &root, int tab)
{
    if (QQuickItem *panel = findItem(root, u"agentsPanel"_s))
        panel->setProperty("tab", tab);
}

/// Opens an agent in its editor, and some of the groups in it; `down` scrolls.
void edit(DemoProfile &profile, QQuickItem &root, int agent, const QList<int> &groups, qreal down)
{
    const auto id = profile.model().scheduler().slotList().value(agent).id;
    profile.model().selection().setSlotEditor(SlotEditorTarget::ofSlot(id));
    run(60);
    for (const int group : groups)
        QMetaObject::invokeMethod(findItem(root, u"group-%1"_s.arg(group)), "clicked");
    run(60);
    findItem(root, u"editorPage"_s)->setProperty("contentY", down);
}

/// Meters of which one is ahead of its pace and one is partly estimated.
void showMeters(DemoProfile &profile)
{
    const Date now = profile.clock().now();
    using Meter = UsageSnapshot::Meter;
    UsageSnapshot snapshot{.fetchedAt = now, .meters = {}};
    snapshot.meters.append(Meter{Meter::Kind::session(), 38, now + std::chrono::minutes(130), true, 6});
    snapshot.meters.append(Meter{Meter::Kind::weeklyAll(), 71, now + std::chrono::hours(92), true, 0});
    snapshot.meters.append(
        Meter{Meter::Kind::weeklyModel(u"Opus"_s), 24, now + std::chrono::hours(92), true, 0});
    profile.model().usage().adopt(snapshot);
}

QList<Scene> editorScenes()
{
    const DemoProfile::Options full;
    return {
        {u"editor-weekly"_s, full,
         [](DemoProfile &profile, QQuickItem &root) { edit(profile, root, 1, {}, 0); }},
        {u"editor-hours"_s, full,
         [](DemoProfile &profile, QQuickItem &root) { edit(profile, root, 2, {}, 380); }},
        {u"editor-once"_s, full,
         [](DemoProfile &profile, QQuickItem &root) { edit(profile, root, 3, {3, 4}, 420); }},
        {u"editor-gates"_s, full,
         [](DemoProfile &profile, QQuickItem &root) { edit(profile, root, 8, {0, 1}, 640); }},
        {u"editor-workspace"_s, full,
         [](DemoProfile &profile, QQuickItem &root) { edit(profile, root, 6, {2}, 640); }},
        {u"editor-template"_s, full,
         [](DemoProfile &profile, QQuickItem &) {
             profile.model().selection().setSlotEditor(SlotEditorTarget::ofTemplate(u"security-review"_s));
         }},
        {u"editor-tried"_s, full,
         [](DemoProfile &profile, QQuickItem &root) {
             edit(profile, root, 8, {0}, 640);
             QMetaObject::invokeMethod(findItem(root, u"tryPreflight"_s), "clicked");
             run(1200);
             profile.children().children.last()->exit({ChildExit::Kind::Exited, 1, {}});
         }},
        {u"editor-completion"_s, full,
         [](DemoProfile &profile, QQuickItem &root) {
             const QString folder = profile.home() + u"/.claude/commands/"_s;
             QDir().mkpath(folder + u"git"_s);
             for (const QString &name :
                  {u"review"_s, u"release"_s, u"git/commit"_s, u"git/tidy"_s, u"deps"_s})
                 static_cast<void>(QFile(folder + name + u".md"_s).open(QIODevice::WriteOnly));
             edit(profile, root, 1, {}, 0);
             run(500);
             QQuickItem *field = findItem(root, u"command"_s);
             field->forceActiveFocus();
             field->setProperty("text", u"/"_s);
             field->property("area").value<QQuickItem *>()->setProperty("cursorPosition", 1);
             profile.clock().advance(std::chrono::milliseconds(300));
         }},
        {u"editor-discard"_s, full,
         [](DemoProfile &profile, QQuickItem &root) {
             edit(profile, root, 1, {}, 0);
             findItem(root, u"name"_s)->setProperty("text", u"Watch"_s);
             QMetaObject::invokeMethod(findItem(root, u"name"_s), "textEdited");
             profile.model().selection().setSlotEditor(SlotEditorTarget::blank());
         }},
        {u"editor-month"_s, full,
         [](DemoProfile &profile, QQuickItem &root) {
             edit(profile, root, 3, {}, 420);
             QMetaObject::invokeMethod(findItem(root, u"pickDay"_s), "clicked");
         }},
        {u"editor-hostile"_s,
         {.hasLiveRuns = false, .isHostile = true, .runs = 40},
         [](DemoProfile &profile, QQuickItem &root) {
             auto slot = profile.model().scheduler().slotList().value(2);
             slot.command =
                 u"\u202egnorw <b>x</b> 👩‍👩‍👧‍👦\u0007 "_s + QString(100'000, u'x');
             slot.cwds = QStringList{u"/srv/"_s + QString(3'000, u'd'), u"/tmp/מימין/👍"_s};
             slot.plugins = QStringList{QString(3'000, u'p'), u"<i>x</i>@m"_s};
             profile.model().scheduler().upsert(slot);
             edit(profile, root, 2, {2}, 0);
         }},
        {u"editor-plugins"_s, full,
         [](DemoProfile &profile, QQuickItem &root) {
             auto slot = profile.model().scheduler().slotList().value(4);
             slot.plugins = QStringList{u"code-review@team"_s, u"release-tools@team"_s};
             slot.workspaceMode = WorkspaceMode::Shared;
             profile.model().scheduler().upsert(slot);
             edit(profile, root, 4, {2}, 760);
         }},
        {u"editor-path"_s, full,
         [](DemoProfile &profile, QQuickItem &root) {
             edit(profile, root, 1, {}, 0);
             QQuickItem *field = findItem(root, u"cwds-1"_s);
             field->forceActiveFocus();
             field->setProperty("text", u"~/code/"_s);
             QMetaObject::invokeMethod(field, "textEdited");
         }},
        {u"editor-hint"_s, full,
         [](DemoProfile &, QQuickItem &root) {
             QMetaObject::invokeMethod(findItem(root, u"agentEditor"_s), "save");
         }},
    };
}

QList<Scene> scenes()
{
    const DemoProfile::Options full;
    const auto select = [](DemoProfile &profile, const QUuid &run) {
        profile.model().selection().setSelectedRunID(run);
    };
    return {
        {u"agents"_s, full,
         [](DemoProfile &profile, QQuickItem &) {
             const auto id = profile.model().scheduler().slotList().value(0).id;
             profile.model().selection().setSlotEditor(SlotEditorTarget::ofSlot(id));
         }},
        {u"agenda"_s, full, [](DemoProfile &, QQuickItem &root) { showTab(root, 1); }},
        {u"queue"_s, full,
         [select](DemoProfile &profile, QQuickItem &root) {
             showTab(root, 2);
             select(profile, profile.blockedRun());
         }},
        {u"live"_s, full,
         [select](DemoProfile &profile, QQuickItem &root) {
             showTab(root, 2);
             select(profile, profile.model().scheduler().active().value(2)->record.id);
         }},
        {u"history"_s, full,
         [select](DemoProfile &profile, QQuickItem &root) {
             showTab(root, 3);
             select(profile, profile.reportedRun());
         }},
        {u"task"_s, full,
         [select](DemoProfile &profile, QQuickItem &root) {
             showTab(root, 3);
             select(profile, profile.task().runIDs.last());
         }},
        {u"failed"_s, full,
         [select](DemoProfile &profile, QQuickItem &root) {
             showTab(root, 3);
             select(profile, profile.failedRun());
         }},
        {u"raw-output"_s, full,
         [select](DemoProfile &profile, QQuickItem &root) {
             showTab(root, 3);
             select(profile, profile.reportedRun());
             if (QQuickItem *pane = findItem(root, u"runDetail"_s))
                 pane->property("detail").value<QObject *>()->setProperty("showsRawOutput", true);
         }},
        {u"agent-menu"_s, full,
         [](DemoProfile &, QQuickItem &root) {
             QQuickItem *row = nullptr;
             QMetaObject::invokeMethod(findItem(root, u"agentList"_s), "itemAtIndex",
                                       Q_RETURN_ARG(QQuickItem *, row), Q_ARG(int, 2));
             QMetaObject::invokeMethod(row, "showMenu");
         }},
        {u"clear-history"_s, full,
         [](DemoProfile &, QQuickItem &root) {
             showTab(root, 3);
             QMetaObject::invokeMethod(findItem(root, u"historyPane"_s), "askToClear");
         }},
        {u"keyboard"_s, full,
         [](DemoProfile &, QQuickItem &root) {
             showTab(root, 3);
             run(50);
             QQuickItem *list = findItem(root, u"historyList"_s);
             list->forceActiveFocus(Qt::TabFocusReason);
             list->setProperty("currentIndex", 2);
             list->setProperty("showsFocus", true);
         }},
        {u"shortcuts"_s, full,
         [](DemoProfile &, QQuickItem &root) { QMetaObject::invokeMethod(&root, "showShortcuts"); }},
        {u"controls"_s,
         {.isEmpty = true},
         [](DemoProfile &, QQuickItem &) {},
         u"file://"_s + QStringLiteral(KEELHAVEN_GALLERY)},
        {u"settings"_s, full,
         [](DemoProfile &profile, QQuickItem &) { profile.model().selection().setShowSettings(true); }},
        {u"settings-sources"_s, full,
         [](DemoProfile &profile, QQuickItem &) {
             profile.model().selection().showSettingsPage(SettingsPage::Sources);
         }},
        {u"settings-integrations"_s, full,
         [](DemoProfile &profile, QQuickItem &) {
             profile.secrets().secrets.insert(u"com.keelhaven.telegram-bot"_s, u"1"_s);
             profile.model().selection().showSettingsPage(SettingsPage::Integrations);
         }},
        {u"settings-misc"_s, full,
         [](DemoProfile &profile, QQuickItem &) {
             profile.model().selection().showSettingsPage(SettingsPage::Misc);
         }},
        {u"settings-updates"_s,
         {.newestVersion = u"1.4"_s},
         [](DemoProfile &profile, QQuickItem &root) {
             profile.model().selection().showSettingsPage(SettingsPage::Misc);
             run(80);
             if (QQuickItem *content = findItem(*root.window()->contentItem(), u"settingsContent"_s))
                 content->setProperty("contentY", 620);
         }},
        {u"morning-report"_s,
         {.hasSweeps = true, .newestVersion = u"1.4"_s},
         [](DemoProfile &profile, QQuickItem &) {
             showMeters(profile);
             profile.model().selection().setPanel(AppPanel::Keelhaven);
         }},
        {u"setup"_s,
         {.isEmpty = true, .isFirstStart = true},
         [](DemoProfile &profile, QQuickItem &) {
             profile.model().selection().setPanel(AppPanel::Keelhaven);
         }},
        {u"glance"_s, full,
         [](DemoProfile &profile, QQuickItem &root) {
             showMeters(profile);
             if (QQuickItem *button = findItem(root, u"glanceButton"_s))
                 QMetaObject::invokeMethod(button, "clicked");
         }},
        {u"board"_s, full,
         [](DemoProfile &profile, QQuickItem &) {
             profile.model().selection().setPanel(AppPanel::Keelhaven);
         }},
        {u"plugins"_s,
         {.hasPlugins = true},
         [](DemoProfile &profile, QQuickItem &root) {
             profile.model().selection().setPanel(AppPanel::Plugins);
             run(150);
             WindowViews::of(*qmlEngine(&root)).plugins.setSelected(u"installed:code-review@team"_s);
         }},
        {u"plugins-none"_s,
         {.isEmpty = true},
         [](DemoProfile &profile, QQuickItem &) { profile.model().selection().setPanel(AppPanel::Plugins); }},
        {u"plugins-printed"_s,
         {.hasLiveRuns = false, .runs = 40, .hasPlugins = true},
         [](DemoProfile &profile, QQuickItem &root) {
             profile.processes().answer = [](const ProcessSpec &) {
                 return FakeProcessRunner::exited(
                     1, LoginShell::framed("Adding marketplace…\nFailed: https://example.org cannot be "
                                           "reached. Check the connection and try again."));
             };
             profile.model().selection().setPanel(AppPanel::Plugins);
             run(150);
             WindowViews::of(*qmlEngine(&root)).plugins.setTracking(true);
         }},
        {u"plugins-hostile"_s,
         {.hasLiveRuns = false, .isHostile = true, .runs = 40, .hasPlugins = true},
         [](DemoProfile &profile, QQuickItem &root) {
             profile.model().selection().setPanel(AppPanel::Plugins);
             run(150);
             auto &plugins = WindowViews::of(*qmlEngine(&root)).plugins;
             for (const PluginRow &row : plugins.plugins()->rows()) {
                 if (row.name.contains(u"WWW"_s))
                     plugins.setSelected(QString(row.key));
             }
         }},
        {u"first-start"_s, {.isEmpty = true}, [](DemoProfile &, QQuickItem &) {}},
        {u"fallback"_s, {.hasBrokenDatabase = true}, [](DemoProfile &, QQuickItem &) {}},
        {u"hostile"_s,
         {.hasLiveRuns = false, .isHostile = true, .runs = 40},
         [select](DemoProfile &profile, QQuickItem &root) {
             showTab(root, 3);
             select(profile, profile.model().scheduler().history().value(0).id);
         }},
        {u"hostile-agents"_s,
         {.hasLiveRuns = false, .isHostile = true, .runs = 40},
         [](DemoProfile &, QQuickItem &) {}},
    };
}

bool draw(const Scene &scene, QSize size, bool dark, const QString &folder)
{
    DemoProfile profile(scene.profile);
    AppView app(profile.model());
    Appearance appearance(nullptr);
    appearance.setDark(dark);
    appearance.setReducedMotion(true);
    QQuickView view;
    equip(*view.engine(), app, appearance);
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setSource(QUrl(scene.source));
    if (view.status() != QQuickView::Ready)
        return false;
    view.resize(size);
    view.show();
    run(60);
    scene.arrange(profile, *view.rootObject());
    run(320);
    const QString file = u"%1/%2-%3x%4-%5.png"_s.arg(folder, scene.name)
                             .arg(size.width())
                             .arg(size.height())
                             .arg(dark ? u"dark"_s : u"light"_s);
    constexpr int smallest = 0; // the file, not the quality: PNG loses nothing
    return withFewColors(view.grabWindow()).save(file, "PNG", smallest);
}

} // namespace

/// keelhaven-screens FOLDER [WIDTHxHEIGHT[,…]] [light|dark|both] [SCENE…]
int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(u"keelhaven"_s);
    QGuiApplication::setApplicationVersion(u"1.3"_s);
    Appearance::applyFont();
    const QStringList words = QGuiApplication::arguments().mid(1);
    if (words.isEmpty()) {
        std::fputs("usage: keelhaven-screens FOLDER [WIDTHxHEIGHT,…] [light|dark|both] [SCENE…]\n", stderr);
        return 2;
    }
    const QString folder = words[0];
    const QStringList sizes = words.value(1, u"1280x800"_s).split(u',');
    const QString mode = words.value(2, u"both"_s);
    QDir().mkpath(folder);
    bool isGood = true;
    for (const Scene &scene : scenes() + editorScenes()) {
        if (words.size() > 3 && !words.mid(3).contains(scene.name))
            continue;
        for (const QString &size : sizes) {
            const QSize pixels(size.section(u'x', 0, 0).toInt(), size.section(u'x', 1, 1).toInt());
            for (const bool dark : {false, true}) {
                if (mode == u"both" || (mode == u"dark") == dark)
                    isGood = draw(scene, pixels, dark, folder) && isGood;
            }
        }
    }
    return isGood ? 0 : 1;
}
