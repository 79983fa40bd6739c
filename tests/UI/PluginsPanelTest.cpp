#include "App/AppSelection.h"
#include "Platform/LoginShell.h"
#include "Plugins/OwnSessionTracking.h"
#include "UI/ScreenFixture.h"
#include "UI/WindowViews.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class PluginsScreen : public Screen
{
public:
    explicit PluginsScreen(const DemoProfile::Options &options, QSize size = {1280, 800})
        : Screen(options, size)
        , plugins(WindowViews::of(*view().engine()).plugins)
    {
        profile.model().selection().setPanel(AppPanel::Plugins);
        finish();
    }
    /// Lets scans and commands end.
    void finish()
    {
        update();
        EXPECT_TRUE(waitUntil([this] { return profile.model().tasks().running() == 0; }));
        update();
    }
    [[nodiscard]] QStringList rows() const
    {
        QStringList list;
        for (const PluginRow &row : plugins.plugins()->rows())
            list.append(row.name + u": "_s + row.state);
        return list;
    }
    [[nodiscard]] bool says(const QString &part) const
    {
        return std::ranges::any_of(texts(), [&](const QString &text) { return text.contains(part); });
    }

    PluginsView &plugins;
};

const DemoProfile::Options seeded{.hasLiveRuns = false, .runs = 3, .hasPlugins = true};

TEST(PluginsPanelTest, ListsWhatIsThereAndWhatIsWrong)
{
    PluginsScreen screen(seeded);
    const QStringList all{u"keelhaven: In every run"_s, u"code-review: On"_s, u"old-linter: Folder gone"_s,
                          u"release-tools: Off"_s,      u"style-guide: On"_s, u"tide: Not installed"_s};
    EXPECT_EQ(screen.rows(), all);
    EXPECT_TRUE(screen.shows(u"4 installed, 2 on"_s));
    EXPECT_TRUE(screen.shows(u"team · 2.4.1 · 2 commands, 1 agent, 1 skill, 2 MCP servers, hooks"_s));
    EXPECT_FALSE(screen.plugins.isClaudeMissing());

    // A skill's name finds its plugin; Escape shows all again.
    screen.press(Qt::Key_F, Qt::ControlModifier);
    screen.type(u"threat"_s);
    EXPECT_EQ(screen.rows(), QStringList{u"code-review: On"_s});
    screen.type(u"xyz"_s);
    EXPECT_TRUE(screen.shows(u"No plugin matches."_s));
    screen.press(Qt::Key_Escape);
    EXPECT_EQ(screen.rows(), all);
}

TEST(PluginsPanelTest, TheKeyboardOpensAPluginAndLeavesIt)
{
    PluginsScreen screen(seeded);
    screen.press(Qt::Key_F, Qt::ControlModifier);
    screen.press(Qt::Key_Down);
    screen.press(Qt::Key_Down);
    screen.press(Qt::Key_Return);
    EXPECT_EQ(screen.plugins.selected(), u"installed:code-review@team"_s);
    for (const QString &text : {u"/code-review:explain"_s, u"Tell what a change does, for its message"_s,
                                u"second-reader"_s, u"berths"_s, u"team · harbour/claude-plugins"_s,
                                u"For all folders"_s, u"On in yours; a folder's own may switch it off"_s,
                                u"Harbour tools"_s, u"~/.claude/plugins/cache/team/code-review"_s})
        EXPECT_TRUE(screen.shows(text)) << qPrintable(text);
    screen.item(u"pluginDetail"_s)->forceActiveFocus();
    screen.press(Qt::Key_Escape);
    EXPECT_EQ(screen.plugins.selected(), QString());
    EXPECT_TRUE(screen.item(u"pluginList"_s)->hasActiveFocus());

    screen.plugins.setSelected(u"installed:old-linter@attic"_s);
    EXPECT_TRUE(screen.says(u"Its folder is gone"_s));
    screen.plugins.setSelected(u"orphan:tide@team"_s);
    EXPECT_TRUE(screen.says(u"it is not installed, so it does nothing"_s));
}

TEST(PluginsPanelTest, TheSwitchFollowsWhatIsFoundAfterTheCommands)
{
    PluginsScreen screen(seeded);
    QQuickItem *toggle = screen.item(u"ownSessionsSwitch"_s);
    ASSERT_TRUE(toggle->isEnabled()) << qPrintable(screen.plugins.trackingBlocked());
    auto &processes = screen.profile.processes();
    processes.answer = [](const ProcessSpec &) {
        return FakeProcessRunner::exited(1, LoginShell::framed("no network <b>here</b>"));
    };
    screen.click(toggle);
    screen.finish();
    EXPECT_FALSE(toggle->property("checked").toBool()) << "nothing was installed";
    EXPECT_TRUE(screen.shows(u"no network <b>here</b>"_s));
    ASSERT_FALSE(processes.runs.isEmpty());
    EXPECT_TRUE(processes.runs.last().arguments.last().contains(u"claude plugin marketplace add"_s));

    const QString home = screen.profile.home();
    processes.answer = [home](const ProcessSpec &) {
        QFile file(home + u"/.claude/plugins/installed_plugins.json"_s);
        static_cast<void>(file.open(QIODevice::WriteOnly));
        file.write(R"({"version":1,"plugins":{"keelhaven@keelhaven-marketplace":[{"scope":"user"}]}})");
        QFile settings(home + u"/.claude/settings.json"_s);
        static_cast<void>(settings.open(QIODevice::WriteOnly));
        settings.write(R"({"enabledPlugins":{"keelhaven@keelhaven-marketplace":true}})");
        return FakeProcessRunner::exited(0, LoginShell::framed("done"));
    };
    toggle->forceActiveFocus();
    screen.press(Qt::Key_Space);
    screen.finish();
    EXPECT_TRUE(toggle->property("checked").toBool());
    EXPECT_TRUE(screen.shows(u"installed_plugins.json has unknown version 1; inventory is partial"_s));
}

TEST(PluginsPanelTest, WithoutClaudeItSaysSoAndStaysUsable)
{
    PluginsScreen screen({.isEmpty = true});
    EXPECT_TRUE(screen.plugins.isClaudeMissing());
    EXPECT_FALSE(screen.plugins.isLoading());
    EXPECT_TRUE(screen.item(u"claudeMissing"_s)->isVisible());
    EXPECT_FALSE(screen.item(u"ownSessionsSwitch"_s)->isEnabled());
    EXPECT_TRUE(screen.says(u"What you add with “claude plugin install” shows here by itself."_s));
    screen.profile.processes().runs.clear();
    screen.plugins.setTracking(true);
    EXPECT_TRUE(screen.profile.processes().runs.isEmpty());
}

TEST(PluginsPanelTest, NamesAreTextAndBounded)
{
    PluginsScreen screen({.hasLiveRuns = false, .isHostile = true, .runs = 3, .hasPlugins = true},
                         {640, 520});
    const auto &rows = screen.plugins.plugins()->rows();
    const auto hostile =
        std::ranges::find_if(rows, [](const PluginRow &row) { return row.name.contains(u'W'); });
    ASSERT_NE(hostile, rows.end());
    EXPECT_LE(hostile->name.size(), 401);
    EXPECT_FALSE(hostile->name.contains(QChar(0x202e)));
    EXPECT_TRUE(hostile->name.contains(u"<b>x</b>"_s));
    screen.plugins.setSelected(hostile->key);
    screen.update();
    EXPECT_TRUE(screen.shows(hostile->name));
    QQuickItem *detail = screen.item(u"pluginDetail"_s);
    EXPECT_TRUE(detail->isVisible());
    EXPECT_FALSE(screen.item(u"pluginList"_s)->isVisible()) << "one half at a time";
}

} // namespace
} // namespace Keelhaven
