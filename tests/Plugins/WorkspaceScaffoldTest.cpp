#include "Plugins/WorkspaceScaffold.h"

#include "Platform/ClaudeLocator.h"
#include "Platform/LoginShell.h"
#include "Platform/QtProcessRunner.h"
#include "Platform/Shell.h"
#include "Platform/Tasks.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QScopeGuard>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class WorkspaceScaffoldTest : public testing::Test
{
protected:
    WorkspaceScaffoldTest()
    {
        plan.dir = scaffold.root() + u"/nightly"_s;
        plan.slug = u"nightly"_s;
        plan.task = u"shared"_s;
        plan.brief = u"Look after it."_s;
    }
    [[nodiscard]] JSONValue json(const QString &file) const
    {
        return JSONValue::parse(home.read(u"KeelhavenWork/nightly/"_s + file)).value();
    }
    [[nodiscard]] QString text(const QString &key) const
    {
        const auto record = json(u"workspace.json"_s);
        const JSONValue *value = record[key];
        return value ? value->serialized() : QString();
    }

    TestHome home;
    VirtualClock clock;
    FakeProcessRunner processes;
    MemorySettings preferences;
    ClaudeLocator commands{processes, preferences, home.path()};
    WorkspaceScaffold scaffold{clock, commands, home.path(), [] { return Calendar(QTimeZone(7200)); }};
    WorkspaceScaffold::Plan plan;
};

TEST_F(WorkspaceScaffoldTest, WritesTheWholeWorkspace)
{
    home.write(u".claude/plugins/known_marketplaces.json"_s,
               R"({"c":{"source":{"repo":"r"},"x":1},"bad":5})");
    plan.plugins = {u"plain"_s, u"a@b@c"_s};
    plan.projectFolders = {u"/p/one"_s, u"/p/two"_s};
    plan.slotID = QUuid("0A1B2C3D-0000-4000-8000-00000000000F");
    const auto result = scaffold.ensure(plan);
    ASSERT_TRUE(result) << result.error().message().toStdString();
    EXPECT_TRUE(result->created);
    EXPECT_EQ(result->pluginsToInstall, plan.plugins);
    EXPECT_EQ(home.read(u"KeelhavenWork/nightly/CLAUDE.md"_s).toStdString(),
              "# Task: nightly\n\n"
              "This folder is a Keelhaven task workspace. Your persistent archive is\n"
              "`./work/` — read it before writing new output so you build on previous runs,\n"
              "and save your results into it. Do not modify `.claude/`, `CLAUDE.md`, or\n"
              "`workspace.json`; they belong to the Keelhaven dashboard.\n\n"
              "## Project folders\n\n"
              "The code this task is about lives outside this workspace; you have access to it:\n\n"
              "- /p/one\n- /p/two\n\n"
              "## Brief\n\nLook after it.\n");
    EXPECT_EQ(
        json(u".claude/settings.json"_s).serialized(),
        uR"({"enabledPlugins": {"a@b@c": true, "plain": true}, "extraKnownMarketplaces": {"c": {"source": {"repo": "r"}}}})"_s);
    EXPECT_TRUE(QFileInfo(plan.dir + u"/work"_s).isDir());
    EXPECT_EQ(json(u"workspace.json"_s).objectValue()->keys().join(u' '),
              u"brief created_at id plugins project project_folders slot_id task version"_s);
    EXPECT_EQ(text(u"created_at"_s), u"\"2026-03-04T07:05:07\""_s);
    EXPECT_EQ(text(u"slot_id"_s), u"\"0A1B2C3D-0000-4000-8000-00000000000F\""_s);
    EXPECT_EQ(text(u"id"_s).size(), 34);
    EXPECT_EQ(text(u"id"_s), text(u"id"_s).toLower());
}

TEST_F(WorkspaceScaffoldTest, ASecondEnsureKeepsIdentityAndForeignKeys)
{
    plan.plugins = {u"old"_s};
    ASSERT_TRUE(scaffold.ensure(plan));
    const QString id = text(u"id"_s);
    auto record = *json(u"workspace.json"_s).objectValue();
    record.set(u"from_the_future"_s, 7);
    home.write(u"KeelhavenWork/nightly/workspace.json"_s, JSONValue(record).encoded());
    home.write(u"KeelhavenWork/nightly/work/notes.txt"_s, "mine");

    clock.advance(std::chrono::hours(1));
    plan.task = u"app"_s;
    plan.brief.clear();
    plan.plugins = {u"old"_s, u"new"_s};
    const auto result = scaffold.ensure(plan);
    ASSERT_TRUE(result);
    EXPECT_FALSE(result->created);
    EXPECT_EQ(result->pluginsToInstall, QStringList{u"new"_s});
    EXPECT_EQ(text(u"id"_s), id);
    EXPECT_EQ(text(u"created_at"_s), u"\"2026-03-04T07:05:07\""_s);
    EXPECT_EQ(text(u"from_the_future"_s), u"7"_s);
    EXPECT_EQ(home.read(u"KeelhavenWork/nightly/work/notes.txt"_s), "mine");
    const QByteArray markdown = home.read(u"KeelhavenWork/nightly/CLAUDE.md"_s);
    EXPECT_TRUE(markdown.startsWith("# Task: nightly (app)\n\n"));
    EXPECT_TRUE(markdown.endsWith("dashboard.\n\n## Brief\n\n(no brief yet)\n"));

    home.write(u"KeelhavenWork/nightly/workspace.json"_s, "[broken");
    EXPECT_TRUE(scaffold.ensure(plan)->created);
}

TEST_F(WorkspaceScaffoldTest, AnUnknownMarketplaceStopsBeforeAnythingIsWritten)
{
    home.write(u".claude/plugins/known_marketplaces.json"_s, R"({"m":"no object"})");
    plan.plugins = {u"p@m"_s};
    auto result = scaffold.ensure(plan);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, WorkspaceError::Kind::UnknownMarketplace);
    EXPECT_EQ(result.error().message().toStdString(),
              "p@m: marketplace “m” isn't known to Claude — add it first "
              "(claude plugin marketplace add …)");
    EXPECT_FALSE(QFileInfo::exists(plan.dir + u"/CLAUDE.md"_s));
    home.write(u".claude/plugins/known_marketplaces.json"_s, R"({"m":{"source":"s"}})");
    EXPECT_TRUE(scaffold.ensure(plan)) << "added meanwhile";
}

TEST_F(WorkspaceScaffoldTest, AFileInTheWayIsAnErrorThatNamesIt)
{
    home.write(u"KeelhavenWork"_s, "a file");
    const auto result = scaffold.ensure(plan);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message(),
              u"cannot create folder %1: a file stands there"_s.arg(home.path(u"KeelhavenWork"_s)));
    ASSERT_TRUE(QFile::remove(scaffold.root()));
    ASSERT_TRUE(QFile::link(u"/media/unplugged"_s, scaffold.root()));
    EXPECT_EQ(scaffold.ensure(plan).error().message(),
              u"cannot create folder %1: a link that leads to no folder stands there"_s.arg(scaffold.root()));
}

TEST_F(WorkspaceScaffoldTest, WritesThroughNoLinkThatStandsInItsPlace)
{
    home.write(u".claude/settings.json"_s, "the user's");
    home.write(u"project/CLAUDE.md"_s, "the project's");
    home.write(u"project/workspace.json"_s, R"({"id": "kept"})");
    home.write(u"elsewhere/notes"_s, "mine");
    home.write(u"moved/nightly/x"_s, {});
    const auto link = [&](const QString &target, const QString &name) {
        ASSERT_TRUE(QFile::link(home.path(target), scaffold.root() + u'/' + name)) << name.toStdString();
    };
    QDir().mkpath(scaffold.root());
    link(u"moved/nightly"_s, u"nightly"_s);
    link(u".claude"_s, u"nightly/.claude"_s);
    link(u"project/CLAUDE.md"_s, u"nightly/CLAUDE.md"_s);
    link(u"project/workspace.json"_s, u"nightly/workspace.json"_s);
    link(u"elsewhere"_s, u"nightly/work"_s);
    const auto result = scaffold.ensure(plan);
    ASSERT_TRUE(result) << result.error().message().toStdString();
    EXPECT_EQ(home.read(u".claude/settings.json"_s), "the user's");
    EXPECT_EQ(home.read(u"project/CLAUDE.md"_s), "the project's");
    EXPECT_EQ(home.read(u"project/workspace.json"_s), R"({"id": "kept"})");
    EXPECT_TRUE(QFileInfo(home.path(u"moved/nightly/CLAUDE.md"_s)).isFile()) << "the workspace may be one";
    EXPECT_TRUE(QFileInfo(home.path(u"moved/nightly/work"_s)).isSymLink()) << "and so may the archive";
    EXPECT_EQ(text(u"id"_s), u"\"kept\""_s);

    ASSERT_TRUE(QFile::remove(plan.dir + u"/.claude/settings.json"_s));
    link(u".claude/settings.json"_s, u"nightly/.claude/settings.json"_s);
    ASSERT_TRUE(scaffold.ensure(plan));
    EXPECT_EQ(home.read(u".claude/settings.json"_s), "the user's");
}

TEST_F(WorkspaceScaffoldTest, RemovesOnlyBelowItsRoot)
{
    ASSERT_TRUE(scaffold.ensure(plan));
    home.write(u"KeelhavenWork-old/x/file"_s, "");
    home.write(u"project/file"_s, "");
    QFile::link(home.path(u"project"_s), scaffold.root() + u"/link"_s);
    for (const QString &outside :
         {home.path(u"KeelhavenWork-old/x"_s), scaffold.root(), scaffold.root() + u"/nightly/.."_s,
          scaffold.root() + u"/../project"_s, scaffold.root() + u"/link"_s, home.path(), QString()}) {
        const auto removed = scaffold.remove(outside);
        ASSERT_FALSE(removed) << outside.toStdString();
        EXPECT_EQ(removed.error().message(), u"refusing to delete outside ~/KeelhavenWork: "_s + outside);
    }
    EXPECT_TRUE(QFileInfo::exists(home.path(u"project/file"_s)));
    QFile::link(home.path(u"project"_s), plan.dir + u"/work/link"_s);
    EXPECT_TRUE(scaffold.remove(plan.dir));
    EXPECT_FALSE(QFileInfo::exists(plan.dir));
    EXPECT_TRUE(QFileInfo::exists(home.path(u"project/file"_s))) << "a link inside goes, its target stays";
}

TEST_F(WorkspaceScaffoldTest, RemovesNothingThatItWasNotNamed)
{
    ASSERT_TRUE(scaffold.ensure(plan));
    const QString root = scaffold.root();
    home.write(u"KeelhavenWork/other/work/notes"_s, "mine");
    home.write(u"project/deep/notes"_s, "mine");
    QDir().mkpath(root + u"/odd/work"_s);
    for (const auto &[target, name] :
         std::initializer_list<std::pair<QString, QString>>{{root + u"/other"_s, u"alias"_s},
                                                            {home.path(u"project/deep"_s), u"odd/work/out"_s},
                                                            {home.path(u"project/gone"_s), u"dangling"_s},
                                                            {root, u"nightly/up"_s}})
        ASSERT_TRUE(QFile::link(target, root + u'/' + name)) << name.toStdString();

    const QString before = QDir::currentPath();
    const auto restore = qScopeGuard([&] { QDir::setCurrent(before); });
    QDir::setCurrent(root);
    const QString folderName = u"/../"_s + QFileInfo(root).fileName();
    for (const QString &path :
         {u"other"_s, u"./other"_s, u"~/KeelhavenWork/other"_s, u" "_s, u"/"_s, root + u"//."_s,
          root + folderName, root + u"/other/../../project"_s, root + u"/odd/work/out"_s,
          root + u"/odd/work/out/.."_s, root + u"/nightly/up"_s, root + u"/nightly/up/../project"_s,
          root + u"/dangling"_s, root + u"-old"_s, root + u"/../KeelhavenWork-old/x"_s, root.toLower()}) {
        const auto removed = scaffold.remove(path);
        ASSERT_FALSE(removed) << path.toStdString();
        EXPECT_EQ(removed.error().kind, WorkspaceError::Kind::OutsideRoot) << path.toStdString();
    }
    for (const QString &alias : {root + u"/alias"_s, root + u"/nightly/up/alias/."_s}) {
        EXPECT_TRUE(scaffold.remove(alias));
        EXPECT_FALSE(QFileInfo(root + u"/alias"_s).isSymLink());
        EXPECT_TRUE(QFileInfo::exists(root + u"/other/work/notes"_s)) << "another workspace's";
        ASSERT_TRUE(QFile::link(root + u"/other"_s, root + u"/alias"_s));
    }
    EXPECT_TRUE(scaffold.remove(root + u"/nightly/../odd/"_s));
    EXPECT_FALSE(QFileInfo::exists(root + u"/odd"_s));
    EXPECT_TRUE(scaffold.remove(root + u"/nightly/up/nightly"_s)) << "a long way to the same folder";
    EXPECT_FALSE(QFileInfo::exists(plan.dir));
    EXPECT_TRUE(scaffold.remove(plan.dir)) << "gone already";
    EXPECT_EQ(home.read(u"project/deep/notes"_s), "mine");
    EXPECT_EQ(home.read(u"KeelhavenWork/other/work/notes"_s), "mine");
}

TEST_F(WorkspaceScaffoldTest, InstallsOneAfterAnotherAndLogsWhatCameOut)
{
    QStringList outputs{u"🚢"_s.repeated(400) + u"end"_s, QString()};
    processes.answer = [&](const ProcessSpec &) {
        return FakeProcessRunner::exited(1, "Welcome!" + LoginShell::framed(outputs.takeFirst().toUtf8()));
    };
    QStringList lines;
    await(scaffold.installPlugins({u"a@m"_s, u"--config=x@m"_s, u"b"_s}, u"/w/it's"_s,
                                  [&](const QString &line) { lines.append(line); }));
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines.takeAt(1), u"workspace it's: install --config=x@m → no plugin's name begins with a dash");
    EXPECT_EQ(processes.runs.size(), 2);
    EXPECT_EQ(lines[0], u"workspace it's: install a@m → "_s + u"🚢"_s.repeated(297) + u"end"_s);
    EXPECT_EQ(lines[1], u"workspace it's: install b → (no output)"_s);
    EXPECT_EQ(processes.runs[0].program, userShell());
    EXPECT_EQ(processes.runs[0].arguments,
              LoginShell::arguments(
                  userShell(), u"cd '/w/it'\\''s' && claude plugin install 'a@m' --scope project 2>&1"_s));
}

TEST_F(WorkspaceScaffoldTest, WorkspacesInstallOneAfterAnother)
{
    processes.answer = [](const ProcessSpec &) { return std::nullopt; };
    QStringList lines;
    Tasks tasks;
    for (const QString &dir : {u"/w/one"_s, u"/w/two"_s, u"/w/two"_s, u"/w/one"_s})
        tasks.spawn(
            scaffold.installPlugins({u"a@m"_s}, dir, [&](const QString &line) { lines.append(line); }), "t");
    for (int running = 1; running <= 3; ++running) {
        EXPECT_EQ(processes.runs.size(), running);
        processes.finishPending(FakeProcessRunner::exited(0));
    }
    EXPECT_EQ(tasks.running(), 0);
    EXPECT_EQ(lines, (QStringList{u"workspace one: install a@m → (no output)"_s,
                                  u"workspace two: install a@m → (no output)"_s,
                                  u"workspace one: install a@m → (no output)"_s}));
}

TEST_F(WorkspaceScaffoldTest, InstallsByTheCommandOfTheUsersShell)
{
    const auto oldHome = qgetenv("HOME");
    const auto oldShell = qgetenv("SHELL");
    const auto restore = qScopeGuard([&] {
        qputenv("HOME", oldHome);
        qputenv("SHELL", oldShell);
    });
    qputenv("HOME", home.path().toUtf8());
    qputenv("SHELL", "/bin/sh");
    QtProcessRunner real;
    const ClaudeLocator realCommands(real, preferences, home.path());
    const WorkspaceScaffold installer(clock, realCommands, home.path());
    const QString dir = home.path(u"Keel Haven's"_s);
    QDir().mkpath(dir);
    QString line;
    const auto install = [&] {
        await(installer.installPlugins({u"a@m"_s}, dir, [&](const QString &text) { line = text; }));
    };
    home.write(u".profile"_s, "PATH=/usr/bin:/bin\necho Welcome\n");
    install();
    EXPECT_TRUE(line.contains(u"not found"_s)) << "no claude: " << line.toStdString();

    home.write(u".profile"_s, "PATH=$HOME/tools:$PATH\n");
    const QString claude = home.write(u"tools/claude"_s, "#!/bin/sh\npwd; echo \"$@\" >&2; exit 1\n");
    QFile::setPermissions(claude, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    install();
    EXPECT_EQ(line,
              u"workspace Keel Haven's: install a@m → %1\nplugin install a@m --scope project"_s.arg(dir));
}

} // namespace
} // namespace Keelhaven
