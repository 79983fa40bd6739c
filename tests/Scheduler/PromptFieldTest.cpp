#include "Scheduler/Prompt/PromptField.h"

#include "Platform/OneShot.h"
#include "Platform/Tasks.h"
#include "Support/HeldPool.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// A service's answer that a test gives when it likes.
QCoro::Task<> until(OneShot<bool> done)
{
    const bool ignored = co_await done;
    static_cast<void>(ignored);
}

/// Without the plugin that comes along.
KeelhavenPaths paths(const TestHome &home)
{
    auto paths = home.paths();
    paths.resourcesDir = home.path(u"none"_s);
    return paths;
}

class PromptFieldTest : public testing::Test
{
protected:
    PromptFieldTest()
    {
        home.write(u"w/.claude/commands/review.md"_s, "");
        home.write(u"tools/commands/lint.md"_s, "");
        home.write(u"w/notes.txt"_s, "");
        home.write(u"w/nested/x"_s, "");
        home.write(u"on/.claude/settings.json"_s, R"({"enabledPlugins": {"tools@m": true}})");
        PluginRecord plugin;
        plugin.id = u"tools@m"_s;
        plugin.name = u"tools"_s;
        plugin.installs.append({{}, {}, false, home.path(u"tools"_s), {}, {}});
        inventory.plugins.append(plugin);
        field.setSurroundings(cwds, inventory);
        finish();
    }
    void finish()
    {
        ASSERT_TRUE(waitUntil([this] { return tasks.running() == 0; }));
    }
    void type(const QString &text)
    {
        field.edited(text, text.size());
        clock.advance(120ms);
        finish();
    }
    [[nodiscard]] QString list() const
    {
        QStringList texts;
        for (const auto &suggestion : field.suggestions())
            texts.append(suggestion.label);
        return field.isOpen() ? texts.join(u' ') : u"closed"_s;
    }
    [[nodiscard]] QString notices() const
    {
        QStringList texts;
        for (const auto &notice : field.notices())
            texts.append(notice.text);
        return texts.join(u'\n');
    }

    TestHome home;
    VirtualClock clock;
    Tasks tasks;
    PluginInventory inventory;
    QStringList cwds{home.path(u"w"_s), home.path(u"on"_s)};
    PromptField field{paths(home), clock, tasks};
};

TEST_F(PromptFieldTest, SuggestsAfterABurstOfTyping)
{
    field.edited(u"/"_s, 1);
    clock.advance(119ms);
    EXPECT_EQ(list(), u"closed"_s);
    field.edited(u"/r"_s, 2);
    clock.advance(119ms);
    EXPECT_EQ(list(), u"closed"_s);
    clock.advance(1ms);
    EXPECT_EQ(list(), u"/review"_s);
    EXPECT_EQ(clock.timerCount(), 0U);
    type(u"/"_s);
    EXPECT_EQ(list(), u"/review /tools:lint"_s);
    EXPECT_TRUE(field.moveSelection(5));
    EXPECT_EQ(field.selection(), 1);
    EXPECT_EQ(field.accept(), (PromptEdit{0, 1, u"/tools:lint "_s}));
    EXPECT_EQ(list(), u"closed"_s);
    EXPECT_EQ(field.selection(), 0);
    type(u"/tools:lint "_s);
    EXPECT_EQ(list(), u"closed"_s);
    EXPECT_FALSE(field.moveSelection(1)) << "the keys are the field's again";
    EXPECT_EQ(field.accept(), std::nullopt);
}

TEST_F(PromptFieldTest, EscapeClosesUntilTheNextEdit)
{
    type(u"/"_s);
    EXPECT_TRUE(field.dismiss());
    EXPECT_FALSE(field.dismiss());
    field.caretMoved(0);
    field.caretMoved(1);
    clock.advance(1s);
    EXPECT_EQ(list(), u"closed"_s);
    type(u"/r"_s);
    EXPECT_EQ(list(), u"/review"_s);
    field.edited(u"/rx"_s, 3);
    EXPECT_EQ(field.accept(), std::nullopt) << "the list is for what stood here before";
}

TEST_F(PromptFieldTest, GoesOnIntoAFolder)
{
    type(u"see ./"_s);
    EXPECT_EQ(list(), u"./nested/ ./notes.txt"_s);
    EXPECT_EQ(field.suggestions().first().detail + field.suggestions().last().detail, u"dirfile"_s);
    const auto edit = field.accept(0);
    EXPECT_EQ(edit, (PromptEdit{4, 2, u"./nested/"_s}));
    EXPECT_EQ(edit->caretAfter(), 13);
    type(u"see ./nested/"_s);
    EXPECT_EQ(list(), u"./nested/x"_s);

    field.edited(u"see ./"_s, 6);
    clock.advance(120ms);
    field.edited(u"see"_s, 3);
    clock.advance(120ms);
    finish();
    EXPECT_EQ(list(), u"closed"_s) << "an answer to an earlier text is dropped";
}

TEST_F(PromptFieldTest, OneFolderIsListedAtATime)
{
    auto slow = std::make_unique<HeldPool>();
    for (const QString &text : {u"./n"_s, u"./ne"_s, u"./nested/"_s}) {
        field.edited(text, text.size());
        clock.advance(120ms);
        EXPECT_EQ(tasks.running(), 1) << text.toStdString();
    }
    slow.reset();
    finish();
    EXPECT_EQ(list(), u"./nested/x"_s);
}

TEST_F(PromptFieldTest, WhoTypesBeforeTheCommandsAreFoundGetsThemThen)
{
    PromptField early(paths(home), clock, tasks);
    auto slow = std::make_unique<HeldPool>();
    early.setSurroundings(cwds, inventory);
    early.edited(u"/r"_s, 2);
    clock.advance(120ms);
    EXPECT_FALSE(early.isOpen());
    slow.reset();
    finish();
    EXPECT_TRUE(early.isOpen());
    early.load(u"/r"_s);
    early.setSurroundings(cwds, inventory);
    finish();
    EXPECT_FALSE(early.isOpen()) << "no list opens over a text that nobody edits";
}

TEST_F(PromptFieldTest, TakesWhatStillFitsTheLastKeystrokes)
{
    // Typed, then more before the list follows, then Tab: what becomes of the text.
    const std::tuple<QString, QString, QString> cases[] = {
        {u"/r"_s, u"/revi"_s, u"/review "_s},  {u"/l"_s, u"/LIN"_s, u"/tools:lint "_s}, // by its alias
        {u"/r"_s, u"/rx"_s, QString()},        {u"/r"_s, u"/r x"_s, QString()},
        {u"./"_s, u"./NES"_s, u"./nested/"_s}, {u"./n"_s, u"./nested/x"_s, QString()},
        {u"./n"_s, u"./nested/"_s, QString()}, {u"./"_s, u"a ./"_s, QString()},
    };
    for (const auto &[first, then, expected] : cases) {
        type(first);
        EXPECT_TRUE(field.isOpen()) << first.toStdString();
        field.edited(then, then.size());
        const auto edit = field.accept();
        EXPECT_EQ(edit ? QString(then).replace(edit->start, edit->length, edit->insertion) : QString(),
                  expected)
            << then.toStdString();
        field.load({});
    }
}

TEST_F(PromptFieldTest, ReturnEndsALineBehindAWholeFileName)
{
    type(u"see ./notes.txt"_s);
    EXPECT_EQ(list(), u"./notes.txt"_s);
    EXPECT_EQ(field.accept(), std::nullopt);
    EXPECT_EQ(list(), u"closed"_s);
    type(u"see ./notes.txt\n./no"_s);
    EXPECT_EQ(list(), u"./notes.txt"_s);
}

TEST_F(PromptFieldTest, WarnsOfACommandThatWillNotBeThere)
{
    const QString off = u"⚠ /tools:lint comes from tools, which isn't enabled in w"_s;
    const std::pair<QString, QString> cases[] = {
        {u"/lint all"_s, off}, // by its alias, in one of the two folders
        {u"/tools:LINT"_s, off},
        {u"/review"_s, QString()},
        {u"/nope x"_s, u"no command named /nope found — it will be sent as typed"_s},
        {u"/nope"_s, QString()}, // still being typed
        {u"/ x"_s, QString()},
        {u"please /lint"_s, QString()},
    };
    for (const auto &[text, expected] : cases) {
        type(text);
        EXPECT_EQ(notices(), expected) << text.toStdString();
    }
    field.load(u"/lint"_s);
    EXPECT_EQ(notices(), off);
    EXPECT_EQ(list(), u"closed"_s);
    field.setPickedPlugins({u"tools@m"_s});
    EXPECT_EQ(notices(), QString());
    field.setPickedPlugins({});
    field.setSurroundings({}, inventory);
    finish();
    EXPECT_EQ(notices(), QString()) << "no folders, no issue";
}

TEST_F(PromptFieldTest, EnablesAPluginInAFolderOnceAndLooksAgain)
{
    type(u"/lint"_s);
    ASSERT_EQ(field.notices().size(), 1);
    auto notice = field.notices().first();
    EXPECT_FALSE(notice.offersAdd || notice.canEnable);
    EXPECT_EQ(notice.enableLabel, u"Enable in w"_s);
    EXPECT_EQ(notice.enableHelp, u"Start the service (or the web dashboard) to enable it here."_s);
    EXPECT_EQ(notice.help,
              u"Enabling in a folder edits its .claude settings and needs the service; adding it "
              "to the agent doesn't."_s);

    QStringList calls;
    OneShot<bool> done;
    field.enableInFolder = [&](const QString &id, const QString &folder) {
        calls.append(id + u" in "_s + folder);
        return until(done);
    };
    field.onAddPlugin = [&](const QString &id) { calls.append(u"add "_s + id); };
    field.enable(*notice.issue);
    EXPECT_TRUE(calls.isEmpty()) << "the service is down";
    field.canMutate = [] { return true; };
    field.serviceChanged();
    notice = field.notices().first();
    EXPECT_TRUE(notice.offersAdd && notice.canEnable);
    EXPECT_EQ(notice.enableHelp, QString());
    field.addToAgent(*notice.issue);
    field.enable(*notice.issue);
    field.enable(*notice.issue);
    EXPECT_EQ(calls, (QStringList{u"add tools@m"_s, u"tools@m in "_s + cwds.first()}));
    EXPECT_FALSE(field.notices().first().canEnable) << "it is under way";
    home.write(u"w/.claude/settings.json"_s, R"({"enabledPlugins": {"tools@m": true}})");
    done.resolve(true);
    finish();
    EXPECT_EQ(notices(), QString());
}

TEST_F(PromptFieldTest, OnlyTheNewestSurroundingsArePublished)
{
    field.setSurroundings({home.path(u"none"_s)}, PluginInventory::empty());
    field.setSurroundings(cwds, inventory);
    finish();
    type(u"/"_s);
    EXPECT_EQ(list(), u"/review /tools:lint"_s);
    EXPECT_EQ(field.model().folders().keys(), (QStringList{home.path(u"on"_s), home.path(u"w"_s)}));
}

TEST(PromptFieldLifetimeTest, FieldMayGoWhileItLooks)
{
    const TestHome home;
    VirtualClock clock;
    Tasks tasks;
    auto field = std::make_unique<PromptField>(home.paths(), clock, tasks);
    field->setSurroundings({home.path()}, PluginInventory::empty());
    field->edited(u"~/"_s, 2);
    clock.advance(120ms);
    field.reset();
    ASSERT_TRUE(waitUntil([&] { return tasks.running() == 0; }));
}

} // namespace
} // namespace Keelhaven
