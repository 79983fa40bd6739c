#include "Contract/BundledPlugin.h"
#include "Scheduler/Prompt/PathCompleter.h"
#include "Scheduler/Prompt/PluginEnablementResolver.h"
#include "Scheduler/Prompt/PromptCatalogScan.h"
#include "Scheduler/Prompt/PromptTokenizer.h"
#include "Support/TestHome.h"

#include <QDir>
#include <fstream>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using Source = SlashCommand::Source;

QString shown(const QList<PromptSuggestion> &suggestions)
{
    QStringList texts;
    for (const auto &suggestion : suggestions)
        texts.append(suggestion.label + u' ' + suggestion.detail);
    return texts.join(u", "_s);
}

TEST(PromptTokenizerTest, TellsWhatTheCaretStandsOn)
{
    // The caret is "|"; a command shows as "/partial@start+length", a path as its text.
    const std::pair<QString, QString> cases[] = {
        {u"/fix|"_s, u"/fix@0+4"_s},
        {u"/|"_s, u"/@0+1"_s},
        {u"/f|ix it"_s, u"/f@0+2"_s},
        {u"/größe_2:a-b|"_s, u"/größe_2:a-b@0+12"_s},
        {u" /fix|"_s, u"path /fix@1+4"_s},
        {u"/a/b|"_s, u"path /a/b@0+4"_s},
        {u"/a.b|"_s, u"path /a.b@0+4"_s},
        {u"do /|"_s, u"path /@3+1"_s},
        {u"/fix\n~/x|"_s, u"path ~/x@5+3"_s},
        {u"see ./src/|"_s, u"path ./src/@4+6"_s},
        {u"see ../x|"_s, QString()},
        {u"a/b|"_s, QString()},
        {u"/fix |"_s, QString()},
        {u"|/fix"_s, QString()},
        {u"~|"_s, QString()},
    };
    for (const auto &[marked, expected] : cases) {
        const qsizetype caret = marked.indexOf(u'|');
        const auto token = PromptTokenizer::activeToken(QString(marked).remove(u'|'), caret);
        const bool isCommand = token && token->kind == PromptToken::Kind::SlashCommand;
        const QString text = token ? u"%1%2@%3+%4"_s.arg(isCommand ? u"/"_s : u"path "_s, token->partial)
                                         .arg(token->start)
                                         .arg(token->length)
                                   : QString();
        EXPECT_EQ(text, expected) << marked.toStdString();
    }
    EXPECT_EQ(PromptTokenizer::activeToken(u"/fix"_s, 5), std::nullopt);
    EXPECT_EQ(PromptTokenizer::activeToken(u"/fix"_s, -1), std::nullopt);
}

TEST(PromptTokenizerTest, TellsTheCommandThatATextBeginsWith)
{
    using Leading = PromptTokenizer::LeadingCommand;
    const std::pair<QString, std::optional<Leading>> cases[] = {
        {u"/fix"_s, Leading{u"fix"_s, false}},
        {u"/fix\nit"_s, Leading{u"fix"_s, true}},
        {u"/"_s, Leading{QString(), false}},
        {u"/ x"_s, Leading{QString(), true}},
        {u"/usr/bin"_s, std::nullopt},
        {u" /fix"_s, std::nullopt},
        {QString(), std::nullopt},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(PromptTokenizer::leadingSlashCommand(text), expected) << text.toStdString();
    EXPECT_EQ(PromptTokenizer::commandName(u"/fix it"_s), u"fix"_s);
    EXPECT_EQ(PromptTokenizer::commandName(u"/ it"_s), std::nullopt);
}

TEST(SlashCommandTest, NamesComeFromPathsAndFrontMatter)
{
    using namespace SlashCommandDeriver;
    EXPECT_EQ(name(u"git/commit.md"_s), u"git:commit"_s);
    EXPECT_EQ(name(u"/a//b.md"_s), u"a:b"_s);
    EXPECT_EQ(name(u".md"_s), std::nullopt);
    EXPECT_EQ(name(u"a.txt"_s), std::nullopt);
    const std::pair<std::optional<QString>, QString> cases[] = {
        {std::nullopt, u"dir"_s},
        {u"---\ndescription: x\n name : fix\n---\n"_s, u"fix"_s},
        {u"---\r\nname: \"fix\"\r\n---"_s, u"fix"_s},
        {u"---\nname:\nname: second\n---"_s, u"second"_s},
        {u"---\nname: open"_s, u"dir"_s},
        {u"text\n---\nname: late\n---"_s, u"dir"_s},
        {u"---\nnames: x\n---\nname: y"_s, u"dir"_s},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(skillName(text, u"dir"_s), expected) << text.value_or(QString()).toStdString();
    const QList<SlashCommand> expected{
        {u"tools:git:commit"_s,
         {u"git:commit"_s},
         Source::plugin(u"t@m"_s, u"tools"_s),
         u"/p/commands/git/commit.md"_s},
        {u"tools:lint"_s, {u"lint"_s}, Source::pluginSkill(u"t@m"_s, u"tools"_s), u"/p/skills/d/SKILL.md"_s}};
    EXPECT_EQ(commands(u"t@m"_s, u"tools"_s, u"/p"_s, {u"git/commit.md"_s, u"README"_s},
                       {{u"d"_s, u"---\nname: lint\n---"_s}}),
              expected);
}

TEST(SlashCommandTest, SuggestionsMatchByPrefixAndShowEachOriginOnce)
{
    const SlashCommandCatalog catalog(
        {{u"review"_s, {}, Source::user(), u"/u/review.md"_s},
         {u"review"_s, {}, Source::project(u"/a"_s), u"/a/review.md"_s},
         {u"review"_s, {}, Source::project(u"/b"_s), u"/b/review.md"_s},
         {u"tools:lint"_s, {u"lint"_s}, Source::plugin(u"t@m"_s, u"tools"_s), u"/p"_s},
         {u"my:splint"_s, {}, Source::user(), u"/u/splint.md"_s},
         {u"Alpha"_s, {}, Source::user(), u"/u/Alpha.md"_s}});
    const std::pair<QString, QString> cases[] = {
        {QString(), u"/Alpha user, /my:splint user, /review user, /review project, /tools:lint tools"_s},
        {u"LINT"_s, u"/tools:lint tools"_s},
        {u"tools:l"_s, u"/tools:lint tools"_s},
        {u"al"_s, u"/Alpha user"_s},
        {u"view"_s, QString()},
    };
    for (const auto &[prefix, expected] : cases) {
        EXPECT_EQ(shown(catalog.suggestions(prefix, 10)), expected) << prefix.toStdString();
        for (const auto &command : catalog.commands())
            EXPECT_EQ(command.matches(prefix), expected.contains(u'/' + command.name + u' '))
                << prefix.toStdString();
    }
    EXPECT_EQ(catalog.suggestions(u"rev"_s, 1).value(0),
              (PromptSuggestion{u"/review "_s, u"/review"_s, u"user"_s}));
    EXPECT_EQ(catalog.suggestions(QString(), 2).size(), 2);
    EXPECT_EQ(catalog.exactMatch(u"Review"_s)->filePath, u"/u/review.md"_s);
    EXPECT_EQ(catalog.exactMatch(u"LINT"_s)->name, u"tools:lint"_s);
    EXPECT_EQ(catalog.exactMatch(u"lin"_s), nullptr);

    const SlashCommandCatalog shadowed({{u"p:fix"_s, {u"fix"_s}, Source::plugin(u"p@m"_s, u"p"_s), u"/p"_s},
                                        {u"fix"_s, {}, Source::user(), u"/u"_s}});
    EXPECT_EQ(shadowed.exactMatch(u"fix"_s)->filePath, u"/u"_s) << "a name goes before an earlier alias";
}

TEST(PathCompleterTest, ListsTheFolderThatIsTyped)
{
    struct Case
    {
        QString partial;
        QString cwd;
        QString asked; ///< the folder that is listed
        QString found;
    };
    const Case cases[] = {
        {u"~/"_s, u"/w"_s, u"/home/me"_s, u"~/Lib/ ~/src/ ~/beta ~/README"_s},
        {u"~/re"_s, u"/w"_s, u"/home/me"_s, u"~/README"_s},
        {u"./x/.G"_s, u"/w"_s, u"/w/x"_s, u"./x/.git/ ./x/.gitignore"_s},
        {u"./"_s, u"~/w"_s, u"/home/me/w"_s, u"./Lib/ ./src/ ./beta ./README"_s},
        {u"./"_s, QString(), QString(), QString()},
        {u"/"_s, u"/w"_s, u"/"_s, u"/Lib/ /src/ /beta /README"_s},
        {u"/etc/s"_s, u"/w"_s, u"/etc"_s, u"/etc/src/"_s},
        {u"name"_s, u"/w"_s, QString(), QString()},
    };
    for (const auto &c : cases) {
        QString asked;
        const auto lister = [&](const QString &folder) {
            asked = folder;
            return QList<PathCompleter::DirectoryEntry>{
                {u"README"_s, false}, {u"src"_s, true},         {u".git"_s, true}, {u"beta"_s, false},
                {u"Lib"_s, true},     {u".gitignore"_s, false}, {u"a\nb"_s, false}};
        };
        EXPECT_EQ(PathCompleter::completions(c.partial, c.cwd, u"/home/me"_s, lister).join(u' '), c.found)
            << c.partial.toStdString();
        EXPECT_EQ(asked, c.asked) << c.partial.toStdString();
        const auto first = PathCompleter::completions(c.partial, c.cwd, u"/home/me"_s, lister, 1);
        EXPECT_EQ(first.join(u' '), c.found.section(u' ', 0, 0)) << c.partial.toStdString();
    }
}

TEST(PathCompleterTest, ListsRealFolders)
{
    const TestHome home;
    home.write(u"d/in"_s, "");
    home.write(u"ä.txt"_s, "");
    QFile::link(home.path(u"d"_s), home.path(u"link"_s));
    QFile::link(home.path(u"nowhere"_s), home.path(u"broken"_s));
    std::ofstream(home.path().toStdString() + "/no\xffUTF-8") << "x";
    const auto found = PathCompleter::completions(u"./"_s, home.path(), u"/none"_s);
    EXPECT_EQ(QSet<QString>(found.cbegin(), found.cend()),
              (QSet<QString>{u"./d/"_s, u"./link/"_s, u"./ä.txt"_s, u"./broken"_s}));
    EXPECT_EQ(PathCompleter::completions(u"./d/x/"_s, home.path(), u"/none"_s), QStringList());
}

TEST(PluginEnablementTest, TheClosestSettingsDecide)
{
    using namespace PluginEnablementResolver;
    using Opinion = std::optional<bool>;
    struct Case
    {
        Opinion local, project, user;
        bool isOn;
    };
    const Case cases[] = {
        {false, true, true, false},
        {true, false, false, true},
        {std::nullopt, true, false, true},
        {std::nullopt, false, true, false},
        {std::nullopt, std::nullopt, true, true},
        {std::nullopt, std::nullopt, std::nullopt, false},
    };
    const auto map = [](const Opinion &opinion) {
        return opinion ? EnablementMap{{u"a@m"_s, *opinion}} : EnablementMap{{u"other@m"_s, true}};
    };
    for (const auto &c : cases)
        EXPECT_EQ(isEnabled(u"a@m"_s, map(c.user), map(c.project), map(c.local)), c.isOn);

    const TestHome home;
    home.write(u".claude/settings.json"_s,
               R"({"enabledPlugins": {"a@m": true, "b@m": "yes", "c@m": false}})");
    home.write(u"w/.claude/settings.json"_s, R"({"enabledPlugins": {"a@m": true})");
    home.write(u"w/.claude/settings.local.json"_s, R"({"enabledPlugins": {"a@m": false}})");
    const auto found = snapshot({u"~/w"_s, u"/none"_s}, home.paths().claudeDir(), home.path());
    EXPECT_EQ(found.userMap, (EnablementMap{{u"a@m"_s, true}, {u"c@m"_s, false}}));
    EXPECT_EQ(found.folders.value(u"~/w"_s), (FolderMaps{{}, {{u"a@m"_s, false}}}))
        << "a broken file says nothing";
    EXPECT_FALSE(found.isEnabled(u"a@m"_s, u"~/w"_s));
    EXPECT_TRUE(found.isEnabled(u"a@m"_s, u"/unknown"_s));
}

class PromptScanTest : public testing::Test
{
protected:
    [[nodiscard]] QString scanned(bool isBundled)
    {
        auto paths = home.paths();
        paths.resourcesDir = home.path(isBundled ? u"resources"_s : u"none"_s);
        PluginInventory inventory;
        const auto add = [&](const QString &id, const QStringList &folders) {
            PluginRecord plugin;
            plugin.id = id;
            plugin.name = id.section(u'@', 0, 0);
            for (const QString &folder : folders)
                plugin.installs.append({{}, {}, false, folder, {}, {}});
            inventory.plugins.append(plugin);
        };
        add(u"tools@m"_s, {home.path(u"gone"_s), u"~/tools"_s});
        add(u"gone@m"_s, {home.path(u"gone"_s)});
        add(BundledPlugin::installedID.toString(), {home.path(u"tools"_s)});
        QStringList texts;
        for (const auto &command : PromptCatalogScan::scan({u"~/w"_s}, inventory, paths).catalog.commands())
            texts.append(u"%1 %2 %3"_s.arg(command.name, command.pluginID().value_or(command.sourceTag()),
                                           QDir(home.path()).relativeFilePath(command.filePath)));
        return texts.join(u'\n');
    }

    TestHome home;
};

TEST_F(PromptScanTest, FindsCommandsInTheOrderOfTheirPlaces)
{
    home.write(u".claude/commands/zed.md"_s, "");
    home.write(u".claude/commands/git/commit.md"_s, "");
    home.write(u".claude/commands/git/notes.txt"_s, "");
    home.write(u"w/.claude/commands/deploy.md"_s, "");
    home.write(u"tools/commands/lint.md"_s, "");
    home.write(u"tools/skills/plain/notes"_s, "");
    home.write(u"resources/plugin/keelhaven/app.py"_s, "");
    home.write(u"resources/plugin/commands/captain.md"_s, "");
    QFile::link(home.path(u".claude/commands"_s), home.path(u".claude/commands/git/again"_s));
    const QString plain = u"git:commit user .claude/commands/git/commit.md\n"
                          "zed user .claude/commands/zed.md\n"
                          "deploy project w/.claude/commands/deploy.md\n"_s;
    const QString tools = u"tools:lint tools@m tools/commands/lint.md\n"
                          "tools:plain tools@m tools/skills/plain/SKILL.md"_s;
    EXPECT_EQ(scanned(true),
              plain + u"keelhaven:captain keelhaven@bundled resources/plugin/commands/captain.md\n"_s +
                  tools);
    const QString own = u"\nkeelhaven:lint keelhaven@keelhaven-marketplace tools/commands/lint.md\n"
                        "keelhaven:plain keelhaven@keelhaven-marketplace tools/skills/plain/SKILL.md"_s;
    EXPECT_EQ(scanned(false), plain + tools + own) << "without a bundled plugin the user's copy counts";
}

} // namespace
} // namespace Keelhaven
