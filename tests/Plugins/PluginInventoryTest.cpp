#include "Plugins/PluginInventory.h"

#include "Contract/BundledPlugin.h"
#include "Plugins/DispatchPluginCatalog.h"
#include "Plugins/LocalPluginInfo.h"
#include "Plugins/PluginsPayload.h"
#include "Support/TestHome.h"

#include <QDir>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

const Calendar berlin{QTimeZone("Europe/Berlin")};
const Date someTime = *dateFromISOText(u"2026-03-04T05:06:07.890Z");

class PluginInventoryTest : public testing::Test
{
protected:
    [[nodiscard]] QString folder(const QString &relative) const
    {
        QDir().mkpath(home.path(relative));
        return home.path(relative);
    }
    void putFile(const QString &name, QByteArray json) const
    {
        home.write(u".claude/"_s + name, json.replace("HOME", home.path().toUtf8()));
    }
    [[nodiscard]] PluginInventory scan() const
    {
        return PluginInventory::scan(home.paths().claudeDir(), someTime, berlin);
    }

    TestHome home;
};

TEST_F(PluginInventoryTest, ListsWhatIsInstalledAndWhatIsMissing)
{
    EXPECT_EQ(scan().scannedAt, u"2026-03-04T06:06:07"_s);
    EXPECT_TRUE(scan().saysTheSameAs(PluginInventory::empty())) << "no files, no notice";

    static_cast<void>(folder(u"here"_s));
    home.write(u"file"_s, "no folder");
    putFile(u"plugins/installed_plugins.json"_s, R"({"version": 2, "plugins": {
        "zeta@m": [{"scope": "user", "installPath": "HOME/gone", "version": "1.2"},
                   {"scope": "project", "projectPath": "/p", "installPath": "HOME/here", "installedAt": "t"}, 7],
        "a@b@c": [{"installPath": "HOME/file"}], "bare": [], "off@m": "?"}})");
    putFile(u"plugins/known_marketplaces.json"_s, R"({
        "m": {"installLocation": "HOME/here", "autoUpdate": true, "source": {"source": "github", "repo": "o/r", "path": "x"}},
        "d": {"installLocation": "HOME/gone", "source": {"source": "directory", "repo": "o/r", "path": "/x"}},
        "e": {"source": "?"}})");
    putFile(u"settings.json"_s, R"({"enabledPlugins": {"zeta@m": true, "a@b@c": "true", "off@m": false,
        "bare": true, "orphan@m": true, "asleep@m": false}})");
    const auto found = scan();
    QStringList plugins;
    for (const auto &plugin : found.plugins) {
        QString text = u"%1=%2+%3%4:"_s.arg(plugin.id, plugin.name, plugin.marketplace,
                                            plugin.enabledUser ? u" on"_s : QString());
        for (const auto &install : plugin.installs)
            text += install.missing ? u" missing"_s : u" there"_s;
        plugins.append(text);
    }
    EXPECT_EQ(plugins.join(u'\n'), u"a@b@c=a@b+c: missing\n"
                                   "bare=bare+ on:\n"
                                   "off@m=off+m:\n"
                                   "zeta@m=zeta+m on: missing there"_s);
    EXPECT_EQ(found.orphans, (QStringList{u"bare"_s, u"orphan@m"_s}));
    EXPECT_EQ(found.notices, QStringList());
    const auto *zeta = found.plugin(u"zeta@m");
    ASSERT_TRUE(zeta && zeta->presentInstall());
    EXPECT_EQ(*zeta->presentInstall(),
              (PluginInstall{u"project"_s, u"/p"_s, false, home.path(u"here"_s), std::nullopt, u"t"_s}));
    EXPECT_EQ(zeta->installs.first().version, u"1.2"_s);
    EXPECT_EQ(found.marketplaces.value(u"m"_s),
              (MarketplaceRecord{u"github"_s, u"o/r"_s, home.path(u"here"_s), true, false}));
    EXPECT_EQ(found.marketplaces.value(u"d"_s),
              (MarketplaceRecord{u"directory"_s, u"/x"_s, home.path(u"gone"_s), false, true}));
    EXPECT_EQ(found.marketplaces.value(u"e"_s),
              (MarketplaceRecord{std::nullopt, std::nullopt, std::nullopt, false, true}));
}

TEST_F(PluginInventoryTest, ReadsWhatItCanOfVersionsItDoesNotKnow)
{
    struct Case
    {
        const char *json;
        QString notice;
        int plugins;
    };
    const QString form = u"installed_plugins.json has unknown version %1; inventory is partial"_s;
    const Case cases[] = {
        {R"({"version": 1, "plugins": {"a@b": {"installPath": "HOME"}}})", form.arg(u"1"_s), 1},
        {R"({"plugins": {"a@b": [{"installPath": "HOME"}]}})", form.arg(u"nil"_s), 1},
        {R"({"version": 3, "plugins": ["a@b"]})", form.arg(u"3"_s), 0},
        {R"({"version": 2, "plugins": {"a@b": )", QString(), 0},
        {"[]", QString(), 0},
    };
    for (const auto &c : cases) {
        putFile(u"plugins/installed_plugins.json"_s, c.json);
        const auto found = scan();
        EXPECT_EQ(found.notices.join(u'|'), c.notice) << c.json;
        EXPECT_EQ(found.plugins.size(), c.plugins) << c.json;
        if (c.plugins == 1)
            EXPECT_TRUE(found.plugins.first().presentInstall()) << c.json;
    }
}

TEST_F(PluginInventoryTest, OptionsNameWhatAPluginOffers)
{
    home.write(u"one/.claude-plugin/plugin.json"_s, R"({"name": "tools", "description": "  Handy. "})");
    home.write(u"one/commands/lint.md"_s, "");
    home.write(u"one/commands/notes.txt"_s, "");
    home.write(u"one/commands/deep/er.md"_s, "");
    home.write(u"one/skills/lint/SKILL.md"_s, "");
    home.write(u"one/skills/fix/SKILL.md"_s, "");
    home.write(u"one/skills/empty/README.md"_s, "");
    home.write(u"two/.claude-plugin/plugin.json"_s, R"({"description": " "})");
    putFile(u"plugins/installed_plugins.json"_s, R"({"version": 2, "plugins": {
        "two@m": [{"installPath": "HOME/two"}], "gone@m": [{"installPath": "HOME/three"}],
        "one@m": [{"installPath": "HOME/three"}, {"installPath": "HOME/one"}]}})");
    putFile(u"settings.json"_s, R"({"enabledPlugins": {"two@m": true}})");
    const QList<PluginOption> expected{
        {u"one@m"_s, u"tools"_s, u"Handy."_s, {u"/tools:fix"_s, u"/tools:lint"_s}, false},
        {u"two@m"_s, u"two"_s, std::nullopt, {}, true}};
    EXPECT_EQ(DispatchPluginCatalog::options(scan()), expected);
}

TEST_F(PluginInventoryTest, PathsTellWhereverAChangeShows)
{
    home.write(u"one/commands/lint.md"_s, "");
    home.write(u"one/skills/fix/SKILL.md"_s, "");
    QDir(home.path()).mkpath(u"one/skills/empty"_s);
    QFile::link(home.path(u"elsewhere.md"_s), home.path(u"one/commands/linked.md"_s));
    QFile::link(home.path(u"later"_s), home.path(u"one/skills/linked"_s));
    putFile(u"plugins/known_marketplaces.json"_s, R"({"m": {"installLocation": "HOME/market"}})");
    putFile(u"plugins/installed_plugins.json"_s, R"({"version": 2, "plugins": {
        "one@m": [{"installPath": "HOME/gone"}, {"installPath": "HOME/one"}]}})");
    const auto inventory = scan();
    const QStringList paths =
        inventory.pathsBelow(home.paths().claudeDir()) + DispatchPluginCatalog::paths(inventory);
    for (const char *path :
         {".claude/settings.json", ".claude/plugins/installed_plugins.json",
          ".claude/plugins/known_marketplaces.json", "market", "gone", "one",
          "one/.claude-plugin/plugin.json", "one/commands", "one/commands/linked.md", "one/skills",
          "one/skills/fix/SKILL.md", "one/skills/empty/SKILL.md", "one/skills/linked/SKILL.md"})
        EXPECT_TRUE(paths.contains(home.path(QString::fromLatin1(path)))) << path;
    EXPECT_EQ(paths.size(), 13) << "an ordinary command's folder tells of it";
}

TEST(PluginPayloadTest, OneBadElementLosesOnlyItself)
{
    const auto json = [](const char *text) { return JSONValue::parse(QByteArrayView(text)).value(); };
    const auto payload = PluginsPayload::fromJSON(json(R"({
        "claude_cli": {"found": true, "path": "/bin/claude"},
        "inventory": {"plugins": [{"name": "x"}, 3, {"id": "a@b", "enabled_user": true, "installs": [4, {"missing": true}],
                        "enabled_in": [{"kind": "workspace", "workspace_id": "w"}, null]}],
                      "marketplaces": {"m": {"source_kind": "github", "source_text": "o/r", "auto_update": true}, "n": 1},
                      "orphans": ["c@d", 1], "scanned_at": "s"},
        "workspaces": [{"id": "w", "path": "/w"}, {"id": "x"}],
        "jobs": [{"action": "install"}, {"id": "j", "state": "queued"}, {"id": "k", "state": "done", "created_at": "c"}],
        "known_paths": ["/a", 2], "projects": "?"})"));
    EXPECT_TRUE(payload.claudeCLIFound);
    ASSERT_EQ(payload.inventory.plugins.size(), 1);
    const PluginRecord &plugin = payload.inventory.plugins.first();
    EXPECT_EQ(plugin.name + u'/' + plugin.marketplace, u"a/b"_s);
    EXPECT_EQ(plugin.installs.size(), 1);
    EXPECT_EQ(plugin.presentInstall(), nullptr);
    EXPECT_EQ(plugin.enabledIn.value(0).workspaceID, u"w"_s);
    EXPECT_EQ(payload.inventory.marketplaces.keys(), QStringList{u"m"_s});
    EXPECT_EQ(payload.inventory.marketplaces.value(u"m"_s).sourceText, u"o/r"_s);
    EXPECT_EQ(payload.workspaces.size(), 1);
    ASSERT_EQ(payload.jobs.size(), 2);
    EXPECT_TRUE(payload.jobs.first().isLive());
    EXPECT_FALSE(payload.jobs.last().isLive());
    EXPECT_EQ(payload.knownPaths, QStringList{u"/a"_s});
    EXPECT_EQ(PluginsPayload::fromJSON(JSONValue()), PluginsPayload());

    const auto popular =
        PopularPayload::fromJSON(json(R"({"stale": true, "error": "offline", "payload": {"plugins": [
        {"name": "n"}, {"name": "n", "slug": "s", "stars": 12, "card": {"summary": "u", "marketplaceRepo": "o/r"}}]}})"));
    ASSERT_EQ(popular.plugins.size(), 1);
    EXPECT_EQ(popular.plugins.first().marketplaceRepo, u"o/r"_s);
    EXPECT_EQ(popular.plugins.first().stars, 12);
    EXPECT_TRUE(popular.hasPayload && popular.stale);
    EXPECT_FALSE(PopularPayload::fromJSON(json(R"({"payload": null})")).hasPayload);
}

TEST(LocalPluginInfoTest, ReadsThePluginThatComesAlong)
{
    const auto info = LocalPluginInfo::read(QStringLiteral(KEELHAVEN_SOURCE_DIR "/plugin"));
    EXPECT_EQ(info.manifestName, BundledPlugin::name);
    EXPECT_EQ(info.author, u"Keelhaven"_s);
    EXPECT_TRUE(info.hasHooks);
    EXPECT_EQ(info.mcpServers, QStringList{u"keelhaven"_s});
    const auto sweep = std::ranges::find(info.commands, u"keelhaven"_s, &LocalPluginInfo::Entry::name);
    ASSERT_NE(sweep, info.commands.end());
    EXPECT_TRUE(sweep->description.value_or(QString()).startsWith(u"Look over all projects"_s));
    EXPECT_TRUE(info.readmeExcerpt.value_or(QString()).startsWith(u"What a Claude Code session loads"_s));
    EXPECT_EQ(LocalPluginInfo::read(u"/nowhere"_s).root, u"/nowhere"_s);
}

TEST(LocalPluginInfoTest, ReadsEachPartInItsForms)
{
    const TestHome home;
    home.write(u".claude-plugin/plugin.json"_s,
               R"({"author": "Me", "repository": {"url": "u"}, "keywords": ["a", 1], "license": "MIT"})");
    home.write(u"agents/b.md"_s, "---\ndescription: 'Does b'\n---\n");
    home.write(u"agents/a.md"_s, "no front matter");
    home.write(u"skills/s/SKILL.md"_s, "Text.");
    home.write(u"skills/none/x"_s, "");
    home.write(u".mcp.json"_s, R"({"mcpServers": {"z": {}, "a": {}}})");
    const auto info = LocalPluginInfo::read(home.path());
    EXPECT_EQ(info.author, u"Me"_s);
    EXPECT_EQ(info.repository, u"u"_s);
    EXPECT_EQ(info.keywords, QStringList{u"a"_s});
    const QList<LocalPluginInfo::Entry> agents{{u"a"_s, std::nullopt}, {u"b"_s, u"Does b"_s}};
    EXPECT_EQ(info.agents, agents);
    EXPECT_EQ(info.skills, (QList<LocalPluginInfo::Entry>{{u"s"_s, std::nullopt}}));
    EXPECT_EQ(info.mcpServers, (QStringList{u"a"_s, u"z"_s}));
    EXPECT_FALSE(info.hasHooks);
    EXPECT_EQ(info.readmeExcerpt, std::nullopt);
}

TEST(LocalPluginInfoTest, FindsDescriptionsOnlyInWholeFrontMatter)
{
    const std::pair<QString, std::optional<QString>> cases[] = {
        {u"---\r\nname: x\r\ndescription:  \"Says: hi\" \r\n---\r\nText"_s, u"Says: hi"_s},
        {u"---\nmeta:\n  description: nested\n---"_s, std::nullopt},
        {u"---\nname: x\n---\ndescription: text"_s, std::nullopt},
        {u"---\ndescription: never closed"_s, std::nullopt},
        {u"\n---\ndescription: late\n---"_s, std::nullopt},
        {u"---\ndescription:\n---"_s, std::nullopt},
        {u"---\ndescription: it's\n---"_s, u"it's"_s},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(frontmatterDescription(text), expected) << text.toStdString();
}

TEST(LocalPluginInfoTest, ExcerptsTheFirstParagraph)
{
    const QString line(700, u'x');
    const std::pair<QString, std::optional<QString>> cases[] = {
        {u"# Title\n\n[![badge](x)](y)\n<p>\n\n  One \nTwo\n \nThree"_s, u"One\nTwo"_s},
        {u"One\n![picture](x)\nTwo"_s, u"One\nTwo"_s},
        {u"# Title\n\n"_s, std::nullopt},
        {line + u'\n' + line, line + u'\n' + line.first(499) + u'…'},
        {QString(1200, u'x'), QString(1200, u'x')},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(readmeExcerpt(text), expected)
            << text.first(std::min<qsizetype>(text.size(), 40)).toStdString();
}

} // namespace
} // namespace Keelhaven
