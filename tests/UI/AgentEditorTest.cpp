#include "App/AppSelection.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/QtChildProcess.h"
#include "UI/ScreenFixture.h"

#include <QAccessible>
#include <csignal>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The agents' panel with the editor on it, and the agents behind it.
class AgentEditorTest : public testing::Test
{
protected:
    Screen screen{{.hasLiveRuns = false, .runs = 5}};
    AgentEditorView &editor = *screen.app.agentEditor();
    SchedulerEngine &engine = screen.profile.model().scheduler();
    AppSelection &selection = screen.profile.model().selection();

    [[nodiscard]] QUuid agent(int index) const { return engine.slotList().value(index).id; }
    void open(int index)
    {
        selection.setSlotEditor(SlotEditorTarget::ofSlot(agent(index)));
        screen.update();
    }
    void focus(const QString &name)
    {
        screen.item(name)->forceActiveFocus(Qt::TabFocusReason);
        screen.update();
    }
    /// Types over what stands in a field.
    void enter(const QString &name, const QString &text)
    {
        focus(name);
        screen.press(Qt::Key_A, Qt::ControlModifier);
        screen.type(text);
    }
    [[nodiscard]] QString text(const QString &name) const
    {
        return screen.item(name)->property("text").toString();
    }
    [[nodiscard]] bool asks()
    {
        return screen.texts(screen.view().contentItem()).contains(u"Discard your changes?");
    }
    [[nodiscard]] QString focused()
    {
        return screen.view().activeFocusItem() ? screen.view().activeFocusItem()->objectName() : QString();
    }
};

TEST_F(AgentEditorTest, AnAgentIsMadeFromATemplateByKeyboardAlone)
{
    const auto before = engine.slotList().size();
    screen.press(Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(focused(), u"name");
    focus(u"template-security-review"_s);
    screen.press(Qt::Key_Return);
    EXPECT_EQ(text(u"name"_s), u"Security Review");
    EXPECT_TRUE(text(u"command"_s).startsWith(u"Audit this repo"));
    EXPECT_EQ(text(u"saveHint"_s), u"Add a project folder to save");
    EXPECT_FALSE(screen.item(u"saveButton"_s)->isEnabled());

    screen.press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(focused(), u"cwds-0") << "a refused save leads to what is missing";
    screen.type(u"~/code/harbour"_s);
    EXPECT_EQ(text(u"saveHint"_s), QString());
    EXPECT_TRUE(screen.item(u"saveButton"_s)->isEnabled());
    EXPECT_EQ(text(u"nextDate-0"_s), u"Tue 24 Nov, 2:00 AM");
    enter(u"time-0"_s, u"21:30"_s);
    EXPECT_EQ(text(u"time-0"_s), u"21:30") << "what is typed stays while it is typed";
    EXPECT_EQ(text(u"nextDate-0"_s), u"Mon 23 Nov, 9:30 PM");
    EXPECT_EQ(engine.slotList().size(), before) << "nothing is stored before the save";

    screen.press(Qt::Key_S, Qt::ControlModifier);
    ASSERT_EQ(engine.slotList().size(), before + 1);
    const SchedulerSlot &slot = engine.slotList().last();
    EXPECT_EQ(slot.name, u"Security Review");
    EXPECT_EQ(slot.cwds, QStringList{screen.profile.model().paths().home + u"/code/harbour"_s});
    EXPECT_EQ(slot.schedule, (ScheduleSpec{ScheduleSpec::Daily{{{21, 30}}}}));
    EXPECT_EQ(slot.maxUsagePercent, 50);
    EXPECT_TRUE(slot.runOnlyIfChanged);
    EXPECT_FALSE(slot.enabled);
    EXPECT_EQ(selection.slotEditor(), SlotEditorTarget::ofSlot(slot.id));
    EXPECT_EQ(text(u"saveHint"_s), u"Saved");
    EXPECT_EQ(text(u"editorTitle"_s), u"Security Review");
}

TEST_F(AgentEditorTest, HintsComeInTheirOrderAndHoldTheSaveBack)
{
    const struct
    {
        QString hint;
        QString field;
        QString typed;
    } steps[] = {
        {u"Name the agent to save"_s, u"name"_s, u"Tidy"_s},
        {u"Add a project folder to save"_s, u"cwds-0"_s, u"~/.claude/plugins/x"_s},
        {u"Enter a command or prompt to save"_s, u"command"_s, u"/tidy up"_s},
    };
    for (const auto &step : steps) {
        EXPECT_EQ(text(u"saveHint"_s), step.hint);
        EXPECT_FALSE(screen.item(u"saveButton"_s)->isEnabled());
        EXPECT_EQ(screen.item(u"saveButton"_s)->property("help").toString(), step.hint);
        enter(step.field, step.typed);
    }
    EXPECT_TRUE(text(u"saveHint"_s)
                    .endsWith(u"/.claude/plugins/x — runs are not allowed inside ~/.claude/plugins — use a "
                              u"project directory"));
    enter(u"cwds-0"_s, u"/srv/site"_s);
    EXPECT_EQ(text(u"saveHint"_s), QString());
    focus(u"provider"_s);
    screen.press(Qt::Key_Right);
    EXPECT_EQ(text(u"saveHint"_s),
              u"Use a plain-language prompt for Codex; Claude slash commands are not supported.");
    EXPECT_TRUE(screen.shows(u"Codex agents run manually only"_s));
    const auto before = engine.slotList().size();
    screen.press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(engine.slotList().size(), before);
}

TEST_F(AgentEditorTest, EditsAreNotLostUnasked)
{
    open(0);
    enter(u"name"_s, u"Evening brief"_s);
    screen.app.scheduler()->selectSlot(uuidText(agent(1)));
    screen.update();
    ASSERT_TRUE(asks());
    screen.press(Qt::Key_Escape);
    EXPECT_FALSE(asks());
    EXPECT_EQ(text(u"name"_s), u"Evening brief");
    EXPECT_EQ(selection.slotEditor(), SlotEditorTarget::ofSlot(agent(0)));

    focus(u"name"_s);
    screen.press(Qt::Key_Escape);
    ASSERT_TRUE(asks());
    screen.press(Qt::Key_Return); // Cancel has the focus
    EXPECT_EQ(text(u"name"_s), u"Evening brief");

    screen.press(Qt::Key_Q, Qt::ControlModifier);
    ASSERT_TRUE(asks());
    screen.press(Qt::Key_Escape);
    EXPECT_EQ(text(u"name"_s), u"Evening brief");

    screen.app.scheduler()->selectSlot(uuidText(agent(1)));
    screen.update();
    screen.press(Qt::Key_Tab);
    screen.press(Qt::Key_Return);
    EXPECT_FALSE(asks());
    EXPECT_EQ(text(u"name"_s), u"Dependency watch");
    EXPECT_EQ(engine.slotList()[0].name, u"Morning brief");

    // A run that is looked at in between keeps the edits as they are.
    enter(u"name"_s, u"Watch"_s);
    selection.setSelectedRunID(screen.profile.reportedRun());
    screen.update();
    selection.setSelectedRunID(std::nullopt);
    screen.update();
    EXPECT_FALSE(asks());
    EXPECT_EQ(text(u"name"_s), u"Watch");
    // And who deletes the agent has decided already.
    screen.app.scheduler()->deleteSlot(uuidText(agent(1)));
    screen.update();
    EXPECT_FALSE(asks());
    EXPECT_TRUE(editor.slotID().isEmpty());
}

TEST_F(AgentEditorTest, WhatChangesMeanwhileIsKept)
{
    open(0);
    enter(u"name"_s, u"Evening brief"_s);
    auto slot = *engine.slot(agent(0));
    slot.enabled = false;
    slot.lastFiredAt = screen.profile.clock().now();
    engine.upsert(slot);
    screen.update();
    EXPECT_EQ(text(u"name"_s), u"Evening brief");
    screen.press(Qt::Key_S, Qt::ControlModifier);
    slot.name = u"Evening brief"_s;
    EXPECT_EQ(*engine.slot(slot.id), slot);

    enter(u"name"_s, u"Late brief"_s);
    engine.deleteSlot(slot.id);
    screen.update();
    EXPECT_TRUE(screen.shows(u"This agent was deleted elsewhere. Saving brings it back."_s));
    screen.press(Qt::Key_S, Qt::ControlModifier);
    ASSERT_TRUE(engine.slot(slot.id));
    EXPECT_EQ(engine.slot(slot.id)->name, u"Late brief");
}

TEST_F(AgentEditorTest, LookingAtAPromptDoesNotChangeIt)
{
    auto slot = *engine.slot(agent(0));
    slot.command = u"one\u00a0two\r\nthree\u2028four\tfive \u202egnorw <b>x</b>"_s;
    engine.upsert(slot);
    open(0);
    EXPECT_FALSE(editor.hasChanges());
    enter(u"name"_s, u"Other"_s);
    screen.press(Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(engine.slot(slot.id)->command, slot.command);
    focus(u"command"_s);
    screen.press(Qt::Key_End, Qt::ControlModifier);
    screen.type(u"!"_s);
    EXPECT_TRUE(editor.hasChanges());
}

TEST_F(AgentEditorTest, EveryFieldReachesTheStore)
{
    open(0);
    const std::pair<QString, QVariant> fields[] = {
        {u"model"_s, u"opus"_s},         {u"scheduleKind"_s, 2},        {u"interval"_s, u"3"_s},
        {u"hasWindow"_s, true},          {u"windowStart"_s, 8},         {u"windowEnd"_s, 24},
        {u"preflight"_s, u"make"_s},     {u"priority"_s, u"-7"_s},      {u"timeoutMinutes"_s, u"30"_s},
        {u"stallMinutes"_s, u"4"_s},     {u"keepAwake"_s, false},       {u"enabled"_s, false},
        {u"maxUsagePercent"_s, u"65"_s}, {u"runOnlyIfChanged"_s, true}, {u"workspaceMode"_s, 1},
        {u"closeFinishedTab"_s, false},  {u"keepSessionOpen"_s, true},  {u"captainDecides"_s, true},
    };
    for (const auto &[key, value] : fields)
        EXPECT_TRUE(editor.set(key, value)) << key.toStdString();
    for (const auto &[key, value] : {std::pair(u"timeoutMinutes"_s, u"0"_s),
                                     {u"priority"_s, u"x"_s},
                                     {u"maxUsagePercent"_s, u"96"_s},
                                     {u"interval"_s, u"25"_s},
                                     {u"name2"_s, u"x"_s},
                                     {u"onceDay"_s, u"2027-02-30"_s}})
        EXPECT_FALSE(editor.set(key, value)) << key.toStdString();
    editor.setPlugin(u"lint@tools"_s, true);
    editor.addFolder(u"addDirs"_s, u"/srv/lib"_s);
    editor.addFolder(u"cwds"_s, u"/srv/two"_s);
    editor.moveFolder(u"cwds"_s, 1, 0);
    ASSERT_TRUE(editor.save());
    const SchedulerSlot slot = *engine.slot(agent(0));
    EXPECT_EQ(slot.model, u"opus"_s);
    EXPECT_EQ(slot.schedule, (ScheduleSpec{ScheduleSpec::EveryHours{3, ScheduleSpec::DayWindow{8, 24}}}));
    EXPECT_EQ(slot.preflight, u"make"_s);
    EXPECT_EQ(slot.priority, -7);
    EXPECT_EQ(slot.timeoutMinutes, 30);
    EXPECT_EQ(slot.stallMinutes, 4);
    EXPECT_EQ(slot.maxUsagePercent, 65);
    EXPECT_FALSE(slot.keepAwake || slot.enabled || slot.closeFinishedTab);
    EXPECT_TRUE(slot.runOnlyIfChanged && slot.keepSessionOpen && slot.captainDecides);
    EXPECT_EQ(slot.workspaceMode, WorkspaceMode::Shared);
    EXPECT_EQ(slot.plugins, QStringList{u"lint@tools"_s});
    EXPECT_EQ(slot.addDirs, QStringList{u"/srv/lib"_s});
    EXPECT_EQ(slot.cwds.value(0), u"/srv/two");
    EXPECT_EQ(editor.facts().value(u"warning"_s).toString(), u"Pick a ship — its Captain runs this agent.");
    editor.set(u"scheduleKind"_s, 3);
    EXPECT_TRUE(editor.set(u"onceDay"_s, u"2026-12-24"_s) && editor.set(u"onceTime"_s, u"6 pm"_s));
    ASSERT_TRUE(editor.save());
    EXPECT_EQ(SchedulerSlot(*engine.slot(agent(0))).schedule,
              (ScheduleSpec{ScheduleSpec::Once{
                  Calendar::current().resolve(std::chrono::year(2026) / 12 / 24, 18, 0)}}));
}

TEST_F(AgentEditorTest, CommandsAreOfferedWhileTheyAreTyped)
{
    const QString folder = screen.profile.model().paths().claudeDir() + u"/commands"_s;
    QDir().mkpath(folder);
    for (const QString &name : {u"deploy"_s, u"depend"_s}) {
        QFile file(folder + u'/' + name + u".md"_s);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    open(1);
    PromptField &field = editor.prompt()->field();
    ASSERT_TRUE(QTest::qWaitFor([&] { return field.model().commands().size() >= 2; }));
    enter(u"command"_s, u"/dep"_s);
    screen.profile.clock().advance(200ms);
    screen.update();
    ASSERT_TRUE(editor.prompt()->isOpen());
    EXPECT_TRUE(screen.texts(screen.view().contentItem()).contains(u"/depend"));
    screen.press(Qt::Key_Down);
    screen.press(Qt::Key_Return);
    EXPECT_EQ(text(u"command"_s), u"/deploy ");
    EXPECT_FALSE(editor.prompt()->isOpen());
    screen.press(Qt::Key_Tab);
    EXPECT_NE(focused(), u"command") << "with no list open, Tab goes on";
    EXPECT_EQ(text(u"command"_s), u"/deploy ");
    enter(u"command"_s, u"/nowhere to be"_s);
    screen.profile.clock().advance(200ms);
    screen.update();
    EXPECT_TRUE(screen.shows(u"no command named /nowhere found — it will be sent as typed"_s));
}

TEST(AgentEditorFirstAgentTest, CommandsAreThereBeforeAFolderIs)
{
    Screen screen({.isEmpty = true});
    const QString folder = screen.profile.model().paths().claudeDir() + u"/commands"_s;
    QDir().mkpath(folder);
    static_cast<void>(QFile(folder + u"/review.md"_s).open(QIODevice::WriteOnly));
    screen.press(Qt::Key_1, Qt::ControlModifier);
    screen.press(Qt::Key_N, Qt::ControlModifier);
    const auto &field = screen.app.agentEditor()->prompt()->field();
    EXPECT_TRUE(QTest::qWaitFor([&] { return field.model().commandSuggestions(u"review"_s).size() == 1; }));
}

TEST_F(AgentEditorTest, FoldersAreOfferedWhileTheyAreTyped)
{
    open(1);
    enter(u"cwds-1"_s, u"~/code/h"_s);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return editor.folderSuggestions() == QStringList{u"~/code/harbour/"_s}; }));
    screen.update();
    screen.press(Qt::Key_Tab);
    EXPECT_EQ(focused(), u"cwds-1");
    EXPECT_EQ(text(u"cwds-1"_s), u"~/code/harbour/");
    ASSERT_TRUE(QTest::qWaitFor([&] { return editor.folderSuggestions().isEmpty(); }));
    screen.press(Qt::Key_Tab);
    EXPECT_NE(focused(), u"cwds-1") << "there is nothing more to offer";
    EXPECT_EQ(text(u"cwds-1"_s), u"~/code/harbour");
}

/// What a screen reader tells of the thing with this role and name; null when there is none in sight.
QAccessibleInterface *told(QQuickItem *root, QAccessible::Role role, const QString &name)
{
    if (!root->isVisible())
        return nullptr;
    auto *accessible = QAccessible::queryAccessibleInterface(root);
    if (accessible && accessible->role() == role && accessible->text(QAccessible::Name) == name)
        return accessible;
    const auto children = root->childItems();
    for (QQuickItem *child : children) {
        if (auto *found = told(child, role, name))
            return found;
    }
    return nullptr;
}

TEST_F(AgentEditorTest, OffersAreReadOutAsLines)
{
    QQuickItem *window = screen.view().contentItem();
    open(1);
    enter(u"cwds-1"_s, u"~/code/h"_s);
    const auto offer = [&] { return told(window, QAccessible::ListItem, u"~/code/harbour/"_s); };
    ASSERT_TRUE(QTest::qWaitFor([&] { return offer() != nullptr; }));
    EXPECT_TRUE(offer()->state().selected);
}

TEST_F(AgentEditorTest, DaysAreReadOutAsCellsAndPickedByAClick)
{
    QQuickItem *window = screen.view().contentItem();
    open(3); // once, on the 26th
    QMetaObject::invokeMethod(screen.item(u"pickDay"_s), "clicked");
    screen.update();
    const auto *chosen = told(window, QAccessible::Cell, u"2026-11-26"_s);
    auto *wanted = told(window, QAccessible::Cell, u"2026-11-28"_s);
    ASSERT_TRUE(chosen && wanted);
    EXPECT_TRUE(chosen->state().selected);
    EXPECT_FALSE(wanted->state().selected);
    screen.click(qobject_cast<QQuickItem *>(wanted->object()));
    EXPECT_EQ(text(u"onceDay"_s), u"2026-11-28");
}

TEST_F(AgentEditorTest, TabReachesEveryControlAndEachHasAName)
{
    open(1);
    for (int group = 0; group < 5; ++group) {
        focus(u"group-%1"_s.arg(group));
        screen.press(Qt::Key_Return);
    }
    editor.set(u"name"_s, u"Watch"_s); // so that it can be saved
    editor.set(u"preflight"_s, u"true"_s);
    focus(u"name"_s);
    QQuickItem *page = screen.item(u"editorPage"_s);
    QStringList reached;
    for (int i = 0; i < 80 && !reached.contains(u"saveButton"); ++i) {
        screen.press(Qt::Key_Tab);
        QQuickItem *item = screen.view().activeFocusItem();
        const auto *accessible = QAccessible::queryAccessibleInterface(item);
        ASSERT_TRUE(accessible);
        EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty())
            << item->metaObject()->className() << " after " << reached.join(u' ').toStdString();
        if (page->isAncestorOf(item)) {
            const qreal top = item->mapToItem(page, {0, 0}).y();
            EXPECT_TRUE(top >= 0 && top < page->height())
                << item->objectName().toStdString() << " at " << top;
        }
        reached.append(item->objectName());
    }
    for (const QString &name :
         {u"cwds-0"_s, u"cwds-1"_s, u"provider"_s, u"scheduleKind"_s, u"day-2"_s, u"time-0"_s, u"addTime"_s,
          u"preflight"_s, u"tryPreflight"_s, u"workspaceMode"_s, u"addDirs-0"_s, u"ship"_s, u"saveButton"_s})
        EXPECT_TRUE(reached.contains(name))
            << name.toStdString() << " in " << reached.join(u' ').toStdString();
}

TEST_F(AgentEditorTest, NothingIsWiderThanASmallWindow)
{
    screen.view().resize(640, 520);
    open(8);
    for (int group = 0; group < 5; ++group) {
        focus(u"group-%1"_s.arg(group));
        screen.press(Qt::Key_Return);
    }
    QQuickItem *page = screen.item(u"editorPage"_s);
    QList<QQuickItem *> waiting{page};
    int seen = 0;
    while (!waiting.isEmpty()) {
        QQuickItem *item = waiting.takeLast();
        if (!item->isVisible())
            continue;
        waiting.append(item->childItems());
        if (item->property("text").toString().isEmpty())
            continue;
        ++seen;
        EXPECT_LE(item->mapToItem(page, {item->width(), 0}).x(), page->width() + 1)
            << item->property("text").toString().toStdString();
    }
    EXPECT_GT(seen, 40);
}

TEST(PreflightTrialTest, RunsInTheUsersShell)
{
    const TestHome home;
    MemorySettings settings;
    FakeProcessRunner processes;
    QtChildProcessFactory children;
    const ClaudeLocator locator(processes, settings, home.path());
    PreflightTrial trial(children, locator);
    trial.run(u"echo out; echo err >&2; printf unfinished; exit 7"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return trial.state() == u"failed"; }));
    EXPECT_TRUE(trial.result().startsWith(u"Failed · exit 7")) << trial.result().toStdString();
    EXPECT_EQ(trial.output(), u"out\nerr\nunfinished");
    trial.run(u"echo $$; sleep 60"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !trial.output().isEmpty(); }));
    const pid_t shell = trial.output().toInt();
    ASSERT_GT(shell, 0);
    trial.cancel();
    EXPECT_TRUE(QTest::qWaitFor([&] { return ::kill(shell, 0) != 0; })) << "the command goes with the trial";
}

TEST(PreflightTrialTest, ShowsHowTheCommandEndsAndCanBeCancelled)
{
    const TestHome home;
    MemorySettings settings;
    FakeProcessRunner processes;
    FakeChildProcessFactory children;
    const ClaudeLocator locator(processes, settings, home.path());
    PreflightTrial trial(children, locator);
    trial.run(u"  "_s);
    EXPECT_TRUE(children.children.isEmpty());

    trial.run(u" make check "_s);
    ASSERT_EQ(children.children.size(), 1);
    auto child = children.children.last();
    EXPECT_EQ(child->spec.arguments, (QStringList{u"-lc"_s, u"make check"_s}));
    EXPECT_TRUE(child->isInputClosed);
    EXPECT_EQ(trial.state(), u"running");
    trial.run(u"other"_s);
    EXPECT_EQ(children.children.size(), 1) << "one at a time";
    QFile log(child->spec.logFile);
    ASSERT_TRUE(log.open(QIODevice::WriteOnly));
    log.write("two tests \x1b[31mfailed\n");
    log.close();
    child->exit({ChildExit::Kind::Exited, 3, {}});
    EXPECT_EQ(trial.state(), u"failed");
    EXPECT_TRUE(trial.result().startsWith(u"Failed · exit 3 · ")) << trial.result().toStdString();
    EXPECT_EQ(trial.output(), u"two tests \ufffd[31mfailed");

    trial.run(u"make check"_s);
    children.children.last()->exit({ChildExit::Kind::Exited, 0, {}});
    EXPECT_TRUE(trial.result().startsWith(u"Passed · exit 0 · "));
    EXPECT_TRUE(trial.output().isEmpty());
    trial.run(u"nothing"_s);
    children.children.last()->exit({ChildExit::Kind::CannotStart, -1, u"no shell"_s});
    EXPECT_EQ(trial.result(), u"Could not start: no shell");
    trial.run(u"sleep 100"_s);
    child = children.children.last();
    trial.cancel();
    EXPECT_TRUE(child->isTerminated);
    EXPECT_EQ(trial.state(), u"cancelled");
    child->exit();
    EXPECT_EQ(trial.state(), u"cancelled");
}

} // namespace
} // namespace Keelhaven
