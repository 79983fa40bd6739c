#include "Contract/KeelhavenPaths.h"
#include "Support/TestHome.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Sets variables for one test and puts the test home's environment back afterwards.
class PathEnvironment : public testing::Test
{
protected:
    ~PathEnvironment() override
    {
        for (const auto &[name, value] : m_saved.asKeyValueRange())
            value.isNull() ? qunsetenv(name.constData()) : qputenv(name.constData(), value);
    }

    void set(const char *name, const QByteArray &value)
    {
        m_saved.insert(name, qEnvironmentVariableIsSet(name) ? qgetenv(name) : QByteArray());
        qputenv(name, value);
    }

private:
    QMap<QByteArray, QByteArray> m_saved;
};

} // namespace

TEST_F(PathEnvironment, XDGFoldersCountOnlyWhenAbsolute)
{
    set("HOME", "/h");
    set("XDG_DATA_HOME", "/data/");
    set("XDG_CONFIG_HOME", "relative");
    set("XDG_RUNTIME_DIR", "");
    set("XDG_CACHE_HOME", "/elsewhere");
    const auto paths = KeelhavenPaths::fromEnvironment();
    EXPECT_EQ(paths.databaseFile(), u"/data/keelhaven/keelhaven.sqlite");
    EXPECT_EQ(paths.settingsFile(), u"/h/.config/keelhaven/settings.json");
    EXPECT_EQ(paths.controlSocket(), u"/data/keelhaven/run/control.sock");
    EXPECT_EQ(paths.stateFile(), u"/h/.cache/keelhaven/state.json");
    set("XDG_RUNTIME_DIR", "/run/user/1000");
    EXPECT_EQ(KeelhavenPaths::fromEnvironment().runtimeDir, u"/run/user/1000/keelhaven");
}

TEST(KeelhavenPaths, NamesSharedWithTheService)
{
    const auto paths = KeelhavenPaths::forHome(u"/h"_s);
    const QString cache = u"/h/.cache/keelhaven/"_s;
    EXPECT_EQ(paths.allFiles(),
              QStringList({cache + u"state.json"_s, cache + u"ai.json"_s, cache + u"context.json"_s,
                           cache + u"credentials.json"_s, cache + u"events.jsonl"_s}));
    EXPECT_EQ(paths.codexRunsDir(), cache + u"codex-runs"_s);
    const auto id = QUuid::fromString(u"{0a1b2c3d-0000-4000-8000-00000000abcd}"_s);
    EXPECT_EQ(paths.shipDir(id), u"/h/.local/share/keelhaven/ships/0A1B2C3D-0000-4000-8000-00000000ABCD");
    EXPECT_TRUE(paths.runDir(id).startsWith(paths.runsDir() + u'/'));
    EXPECT_EQ(paths.slotsFile(), u"/h/.local/share/keelhaven/scheduler/slots.json");
}

TEST(KeelhavenPaths, PluginCountsOnlyWithItsService)
{
    const TestHome home;
    auto paths = home.paths();
    paths.resourcesDir = home.path();
    home.write(u"plugin/README.md"_s, "x");
    EXPECT_EQ(paths.bundledPluginRoot(), std::nullopt);
    home.write(u"plugin/keelhaven/app.py"_s, "x");
    EXPECT_EQ(paths.bundledPluginRoot(), home.path(u"plugin"_s));
}

} // namespace Keelhaven
