#include "Plugins/PluginInventoryStore.h"

#include "Platform/ClaudeLocator.h"
#include "Platform/InotifyDirectoryWatch.h"
#include "Platform/LoginShell.h"
#include "Platform/SystemClock.h"
#include "Platform/Tasks.h"
#include "Plugins/OwnSessionTracking.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Status = OwnSessionTracking::Status;

/// Watches that a test makes speak.
class SpokenWatchFactory : public DirectoryWatchFactory
{
public:
    std::unique_ptr<DirectoryWatch> watch(const QString &folder, std::function<void()> onEvent,
                                          std::function<void()> onLost) override
    {
        if (!QDir(folder).exists())
            return nullptr;
        onEvents.insert(folder, onEvent);
        onLosts.insert(folder, onLost);
        return std::make_unique<DirectoryWatch>();
    }
    QMap<QString, std::function<void()>> onEvents;
    QMap<QString, std::function<void()>> onLosts;
};

class PluginInventoryStoreTest : public testing::Test
{
protected:
    PluginInventoryStoreTest()
    {
        QObject::connect(&store, &PluginInventoryStore::changed, &store, [this] { ++changes; });
    }
    void install(const QByteArray &ids)
    {
        QByteArray plugins;
        for (const QByteArray &id : ids.split(' '))
            plugins += (plugins.isEmpty() ? "\"" : ", \"") + id + R"(": [{"installPath": ")" +
                       home.path().toUtf8() + "\"}]";
        home.write(u".claude/plugins/installed_plugins.json"_s,
                   R"({"version": 2, "plugins": {)" + plugins + "}}");
    }
    void finish()
    {
        ASSERT_TRUE(waitUntil([this] { return tasks.running() == 0; }));
    }
    [[nodiscard]] QString shown() const
    {
        QStringList texts;
        for (const auto &option : store.options())
            texts.append(option.id + (option.enabledUser ? u" on"_s : QString()));
        return texts.join(u", "_s);
    }

    TestHome home;
    VirtualClock clock;
    SpokenWatchFactory factory;
    Tasks tasks;
    PluginInventoryStore store{home.paths().claudeDir(), clock, factory, tasks};
    int changes = 0;
};

TEST_F(PluginInventoryStoreTest, FollowsPluginsAndSettingsByEvents)
{
    install("a@m");
    store.start();
    finish();
    EXPECT_EQ(shown(), u"a@m"_s);
    EXPECT_EQ(changes, 1);

    install("a@m b@m");
    factory.onEvents.value(home.path(u".claude/plugins"_s))();
    clock.advance(200ms);
    finish();
    EXPECT_EQ(shown(), u"a@m, b@m"_s);

    const auto &settings = factory.onEvents.value(home.path(u".claude"_s));
    home.write(u".claude/settings.json"_s, R"({"enabledPlugins": {"b@m": true}})");
    settings();
    clock.advance(200ms);
    finish();
    EXPECT_EQ(shown(), u"a@m, b@m on"_s);
    EXPECT_EQ(changes, 3);

    home.write(u".claude/history.jsonl"_s, "{}");
    settings();
    clock.advance(200ms);
    EXPECT_EQ(tasks.running(), 0) << "another file in the folder is no reason to scan";

    const auto before = store.current().scannedAt;
    clock.advance(31s);
    finish();
    EXPECT_NE(store.current().scannedAt, before);
    EXPECT_EQ(changes, 3) << "the same plugins are no news";
    store.stop();
    clock.advance(5min);
    EXPECT_EQ(tasks.running(), 0);
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST_F(PluginInventoryStoreTest, LooksForTheFolderAgainAfterItWasLost)
{
    install("a@m");
    store.start();
    finish();
    QDir(home.path(u".claude"_s)).removeRecursively();
    factory.onLosts.take(home.path(u".claude"_s))();
    factory.onEvents.clear();
    clock.advance(30s);
    finish();
    EXPECT_EQ(shown(), QString());
    install("b@m");
    clock.advance(30s);
    finish();
    EXPECT_EQ(shown(), u"b@m"_s);
    EXPECT_TRUE(factory.onEvents.contains(home.path(u".claude"_s)));
}

TEST_F(PluginInventoryStoreTest, ScansAtThePollOnlyWhatChanged)
{
    store.start();
    finish();
    const auto before = store.current().scannedAt;
    clock.advance(30s);
    EXPECT_EQ(tasks.running(), 0) << "no thread is woken where nothing changed";
    EXPECT_NE(store.current().scannedAt, before) << "it was looked at";
    install("a@m");
    clock.advance(30s);
    finish();
    EXPECT_EQ(shown(), u"a@m"_s);
}

TEST(PluginInventoryFilesTest, ARealChangeOfTheSettingsArrivesWithoutThePoll)
{
    const TestHome home;
    home.write(u".claude/settings.json"_s, "{}");
    SystemClock clock;
    InotifyDirectoryWatchFactory factory;
    Tasks tasks;
    PluginInventoryStore store(home.paths().claudeDir(), clock, factory, tasks);
    store.start();
    ASSERT_TRUE(waitUntil([&] { return tasks.running() == 0; }));
    home.write(u".claude/settings.json"_s, R"({"enabledPlugins": {"a@m": true}})");
    EXPECT_TRUE(waitUntil([&] { return store.current().orphans == QStringList{u"a@m"_s}; }));
    store.stop();
    ASSERT_TRUE(waitUntil([&] { return tasks.running() == 0; }));
}

TEST(OwnSessionTrackingTest, CommandsFollowWhatIsInstalled)
{
    const QString id = u"'keelhaven@keelhaven-marketplace'"_s;
    const QString enable = u"claude plugin enable %1 2>&1"_s.arg(id);
    const QString disable = u"claude plugin disable %1 2>&1"_s.arg(id);
    const QString install =
        u"claude plugin marketplace add '/it'\\''s here' 2>&1; claude plugin install %1 --scope "
        u"user 2>&1; %2"_s.arg(id, enable);
    struct Case
    {
        bool on;
        Status status;
        std::optional<QString> root;
        std::optional<QString> command;
    };
    const Case cases[] = {
        {false, Status::NotInstalled, std::nullopt, disable},
        {false, Status::Enabled, u"/x"_s, disable},
        {true, Status::NotInstalled, std::nullopt, std::nullopt},
        {true, Status::NotInstalled, u"/it's here"_s, install},
        {true, Status::Disabled, u"/x"_s, enable},
        {true, Status::Unknown, std::nullopt, enable},
    };
    for (const auto &c : cases)
        EXPECT_EQ(OwnSessionTracking::command(c.on, c.status, c.root), c.command) << int(c.status);
}

TEST(OwnSessionTrackingTest, StatusFollowsWhatIsFoundAndNotHowTheCommandEnded)
{
    const TestHome home;
    const QString claudeDir = home.paths().claudeDir();
    VirtualClock clock;
    MemorySettings settings;
    FakeProcessRunner runner;
    const ClaudeLocator locator(runner, settings, home.path());
    OwnSessionTracking tracking(locator, clock);
    const auto installed = [&](const char *installs, const char *enabled) {
        home.write(u".claude/plugins/installed_plugins.json"_s,
                   QByteArray(R"({"version": 2, "plugins": {"keelhaven@keelhaven-marketplace": )") +
                       installs + "}}");
        home.write(u".claude/settings.json"_s,
                   QByteArray(R"({"enabledPlugins": {"keelhaven@keelhaven-marketplace": )") + enabled + "}}");
    };
    EXPECT_EQ(tracking.status(), Status::Unknown);
    await(tracking.setEnabled(true, std::nullopt, claudeDir));
    EXPECT_EQ(tracking.status(), Status::NotInstalled);
    EXPECT_TRUE(runner.runs.isEmpty()) << "nothing to install from";
    installed("[]", "true");
    await(tracking.refresh(claudeDir));
    EXPECT_EQ(tracking.status(), Status::NotInstalled);

    runner.answer = [&](const ProcessSpec &) {
        installed(R"([{"scope": "user"}])", "true");
        return FakeProcessRunner::exited(1, LoginShell::framed("Failed to enable\n"));
    };
    await(tracking.setEnabled(true, u"/plugin"_s, claudeDir));
    EXPECT_TRUE(tracking.isOn());
    EXPECT_EQ(tracking.lastOutput(), u"Failed to enable"_s);
    EXPECT_FALSE(tracking.busy());

    runner.answer = [](const ProcessSpec &) { return std::nullopt; };
    const auto first = tracking.setEnabled(false, std::nullopt, claudeDir);
    EXPECT_TRUE(tracking.busy());
    await(tracking.setEnabled(false, std::nullopt, claudeDir));
    EXPECT_EQ(runner.runs.size(), 2) << "one at a time";
    installed(R"([{"scope": "user"}])", "false");
    runner.finishPending(FakeProcessRunner::exited(0, LoginShell::framed("")));
    ASSERT_TRUE(waitUntil([&] { return !tracking.busy(); }));
    EXPECT_EQ(tracking.status(), Status::Disabled);
    EXPECT_EQ(tracking.lastOutput(), u"(no output)"_s);
}

} // namespace
} // namespace Keelhaven
