#include "Herdr/HerdrExternalOpen.h"
#include "Herdr/HerdrLaunchArguments.h"
#include "Herdr/HerdrPlacement.h"
#include "Herdr/PromptDelivery.h"
#include "Herdr/ProtectedFolders.h"
#include "HerdrFixture.h"
#include "Platform/QtProcessRunner.h"
#include "Support/FakeDesktop.h"

#include <QFileInfo>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(PromptDeliveryTest, LongTextsOfClaudeGoToABrief)
{
    using namespace PromptDelivery;
    const auto isBrief = [](const QString &text, const std::optional<QString> &dir,
                            AgentProvider provider = AgentProvider::Claude) {
        return std::holds_alternative<Brief>(plan(text, dir, provider, 0));
    };
    EXPECT_FALSE(isBrief(QString(800, u'x'), u"/r"_s));
    EXPECT_TRUE(isBrief(QString(801, u'x'), u"/r"_s));
    EXPECT_TRUE(isBrief(QString(500, u'é'), u"/r"_s));
    EXPECT_FALSE(isBrief(QString(5000, u'x'), std::nullopt));
    EXPECT_FALSE(isBrief(QString(5000, u'x'), u"/r"_s, AgentProvider::Codex));

    const QString text(801, u'x');
    const Plan second = plan(text, u"/r"_s, AgentProvider::Claude, 1);
    EXPECT_EQ(std::get<Brief>(second).file, u"/r/brief-1.md");
    EXPECT_EQ(std::get<Brief>(second).contents, text);
    EXPECT_EQ(typed(second), u"My brief for you is in the file /r/brief-1.md — read it now and carry it out "
                             u"exactly. Everything in it is "
                             u"my own instruction to you, including how to report when you are done.");
}

TEST(PromptDeliveryTest, CountsTheBriefsOfARun)
{
    const TestHome home;
    EXPECT_EQ(PromptDelivery::briefCount(home.path(u"run"_s)), 0);
    for (const auto &name : {u"brief.md"_s, u"brief-1.md"_s, u"brief.txt"_s, u"result.json"_s})
        home.write(u"run/"_s + name, "x");
    EXPECT_EQ(PromptDelivery::briefCount(home.path(u"run"_s)), 2);
}

TEST(ProtectedFoldersTest, AProjectOpensTheFolderItLiesInAndNoOther)
{
    const QString home = u"/home/ann"_s;
    const auto denied = [&home](const QString &cwd, const QStringList &addDirs = {}) {
        return ProtectedFolders::denied(home, cwd, addDirs);
    };
    const QStringList all = denied(u"/srv/app"_s);
    EXPECT_EQ(all, (QStringList{home + u"/Desktop"_s, home + u"/Documents"_s, home + u"/Downloads"_s,
                                home + u"/Pictures"_s, home + u"/Music"_s, home + u"/Movies"_s,
                                home + u"/Library/Mobile Documents"_s, u"/Volumes"_s}));
    const auto without = [&all](const QString &path) {
        QStringList rest = all;
        rest.removeOne(path);
        return rest;
    };
    EXPECT_EQ(denied(home), all);
    EXPECT_EQ(denied(home + u"/DocumentsOld"_s), all);
    EXPECT_EQ(denied(u"~/Documents/app/"_s), without(home + u"/Documents"_s));
    EXPECT_EQ(denied(home + u"/x/../Music"_s), without(home + u"/Music"_s));
    EXPECT_EQ(denied(u"/srv"_s, {u"/Volumes/dev/./x"_s}), without(u"/Volumes"_s));
    EXPECT_EQ(ProtectedFolders::environmentValue({u"/a"_s, u"/b"_s}), u"/a:/b");
    EXPECT_EQ(ProtectedFolders::normalized(u"/../.."_s, home), u"/");
}

TEST(ProtectedFoldersTest, AProjectBehindALinkIsNotShutOutOfItsOwnFolder)
{
    const TestHome home;
    home.write(u"data/papers/app/file"_s, {});
    home.write(u"Music/mix/file"_s, {});
    QFile::link(home.path(u"data/papers"_s), home.path(u"Documents"_s));
    QFile::link(home.path(u"Music/mix"_s), home.path(u"mix"_s));
    const auto opens = [&](const QString &cwd, const QString &folder) {
        return !ProtectedFolders::denied(home.path(), cwd, {}).contains(home.path(folder));
    };
    EXPECT_TRUE(opens(home.path(u"data/papers/app"_s), u"Documents"_s)) << "the folder is a link";
    EXPECT_TRUE(opens(home.path(u"mix"_s), u"Music"_s)) << "the project is one";
    EXPECT_FALSE(opens(home.path(u"data"_s), u"Documents"_s));
    EXPECT_FALSE(opens(home.path(u"mix"_s), u"Documents"_s));
}

TEST(ProtectedFoldersTest, ThePromptCarriesTheRule)
{
    const QString rule = ProtectedFolders::guarded(u" \n"_s);
    EXPECT_EQ(rule, u"Unattended run: stay inside this project and Keelhaven's dispatch folder; never read "
                    u"Desktop, Documents, Downloads, "
                    u"Pictures, Music, Movies, iCloud Drive or /Volumes (macOS would block on a dialog).");
    EXPECT_EQ(ProtectedFolders::guarded(u"\n do it \n"_s), u"do it "_s + rule);
}

TEST(HerdrPlacementTest, AWorkspaceIsNamedAfterItsFolder)
{
    for (const auto &[folder, label] :
         std::initializer_list<std::pair<QString, QString>>{{u" /home/ann/web app/ "_s, u"web app"_s},
                                                            {u"/"_s, u"Runs"_s},
                                                            {u""_s, u"Runs"_s},
                                                            {u"."_s, u"Runs"_s},
                                                            {u"notes"_s, u"notes"_s}})
        EXPECT_EQ(HerdrPlacement::workspaceLabel(folder), label) << folder.toStdString();
}

TEST(HerdrExternalOpenTest, KnowsAnAttachedClientByItsCommandLine)
{
    const QString binary = u"/data/herdr/0.9.1/herdr"_s;
    for (const auto &[line, attached] :
         std::initializer_list<std::pair<QString, bool>>{{u" /data/herdr/0.9.1/herdr "_s, true},
                                                         {u"herdr --session keelhaven"_s, true},
                                                         {u"/data/herdr/0.9.1/herdr server"_s, false},
                                                         {u"herdr --session other"_s, false},
                                                         {u"vi herdr"_s, false}})
        EXPECT_EQ(HerdrExternalOpen::hasAttachedClient(u"init\n"_s + line + u"\nsh"_s, binary), attached)
            << line.toStdString();
}

TEST(HerdrExternalOpenTest, WritesAnExecutableScript)
{
    const TestHome home;
    const auto script = HerdrExternalOpen::writeAttachScript(home.paths(), u"/a \"$b`/herdr"_s);
    ASSERT_TRUE(script);
    EXPECT_TRUE(QFileInfo(*script).isExecutable());
    EXPECT_EQ(home.read(u".local/share/keelhaven/attach-herdr.command"_s),
              "#!/bin/sh\nunset HERDR_ENV HERDR_SOCKET_PATH HERDR_CLIENT_SOCKET_PATH HERDR_PANE_ID\n"
              "exec \"/a \\\"\\$b\\`/herdr\" --session keelhaven\n");
}

/// Both texts with double quotes, carried out by a shell, under a name that holds what is special to one.
TEST(HerdrExternalOpenTest, NoNameBreaksOutOfItsQuotes)
{
    const TestHome home;
    const QString odd = u"-a \"q\" 'x' $(touch out) `touch out` ${HOME} \\ !1\nü; exit 7 #"_s;
    const QString binary = home.write(odd + u"/herdr"_s, "#!/bin/sh\nprintf '%s|' \"$@\"\n");
    QFile::setPermissions(binary, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    home.write(odd + u"/Guard/protected_paths_hook.py"_s, "print('guard', end='')\n");
    KeelhavenPaths paths = home.paths();
    paths.resourcesDir = home.path(odd);
    const QList<std::pair<QString, QString>> cases{
        {HerdrExternalOpen::attachScript(binary), u"--session|keelhaven|"_s},
        {HerdrExternalOpen::attachCommand(binary), u"--session|keelhaven|"_s},
        {HerdrLaunchArguments::guardHookCommand(paths).value(), u"guard"_s}};
    QtProcessRunner processes;
    for (const auto &[command, output] : cases) {
        ProcessSpec spec;
        spec.program = u"/bin/sh"_s;
        spec.arguments = QStringList{u"-c"_s, command};
        spec.workingDirectory = home.path();
        EXPECT_EQ(await(processes.run(spec)).output, output.toUtf8()) << command.toStdString();
    }
    EXPECT_FALSE(QFileInfo::exists(home.path(u"out"_s)));
}

struct ExternalOpenTest : HerdrFixture
{};

TEST_F(ExternalOpenTest, AttachesATerminalUnlessOneIs)
{
    using HerdrExternalOpen::Outcome;
    FakeDesktop desktop;
    QByteArray running = "init\n";
    processes.output = [&](const ProcessSpec &spec) {
        return spec.program == u"/bin/ps" ? running : QByteArray();
    };
    const auto opened = [&] {
        return finish(HerdrExternalOpen::open(&locator, &processes, home.paths(), &desktop));
    };
    EXPECT_EQ(opened(), Outcome::NoBinary);
    const QString binary = executable(u"b'in/herdr"_s);
    settings.set(u"herdrPathOverride"_s, binary);
    EXPECT_EQ(opened(), Outcome::Opened);
    const QString script = home.path(u".local/share/keelhaven/attach-herdr.command"_s);
    EXPECT_EQ(desktop.terminals, QList<QStringList>{QStringList{script}});
    running = "init\n" + binary.toUtf8() + " --session keelhaven\n";
    EXPECT_EQ(opened(), Outcome::AlreadyAttached);
    EXPECT_EQ(desktop.terminals.size(), 1);
    running.clear();
    desktop.hasTerminal = false;
    EXPECT_EQ(opened(), Outcome::NoTerminal) << "a failed ps counts as nobody attached";
    QFile::remove(script);
    home.write(u".local/share/keelhaven/attach-herdr.command/in-the-way"_s, {});
    EXPECT_EQ(opened(), Outcome::NoScript);
    EXPECT_EQ(desktop.terminals.size(), 2);
    EXPECT_EQ(HerdrExternalOpen::attachCommand(u"/b'in/herdr"_s), u"'/b'\\''in/herdr' --session keelhaven");
}

} // namespace Keelhaven
