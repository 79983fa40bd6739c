#include "Setup/SetupChecklist.h"

#include "Platform/LoginShell.h"
#include "Platform/Shell.h"
#include "Support/FakeDesktop.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// A machine whose login shell, python3 and claude answer as the test says.
class SetupTest : public ::testing::Test
{
protected:
    SetupTest()
    {
        processes.answer = [this](const ProcessSpec &spec) -> std::optional<ProcessResult> {
            const QString tool = QFileInfo(spec.program).fileName();
            if (tool == u"claude") {
                EXPECT_EQ(spec.arguments, (QStringList{u"auth"_s, u"status"_s, u"--json"_s}));
                claudePath = spec.environment.value(u"PATH"_s).value_or(QString());
                return FakeProcessRunner::exited(claudeStatus, claudeSays);
            }
            if (tool == u"python3")
                return systemPythonRuns ? FakeProcessRunner::exited(0, "Python 3.11.2\n")
                                        : FakeProcessRunner::exited(1);
            ++shellCalls;
            if (!shellPath)
                return isHolding ? std::nullopt : std::optional(ProcessResult());
            return FakeProcessRunner::exited(0, LoginShell::framed(shellPath->toUtf8()));
        };
    }

    void addTool(const QString &relative) const
    {
        QFile::setPermissions(home.write(relative, "x"), QFile::ReadOwner | QFile::ExeOwner);
    }
    [[nodiscard]] QString path(const QString &relative) const { return home.path(relative); }
    std::unique_ptr<SetupChecklist> checklist()
    {
        return std::make_unique<SetupChecklist>(
            SetupChecklist::Services{processes, settings, locator, python, desktop, home.path()});
    }
    std::optional<QString> findPython(bool refresh) { return await(python.resolve(refresh)); }

    const TestHome home;
    FakeProcessRunner processes;
    FakeDesktop desktop;
    MemorySettings settings;
    std::optional<QString> shellPath = home.path(u"bin"_s);
    bool isHolding = false; ///< the shell does not answer yet
    bool systemPythonRuns = true;
    int shellCalls = 0;
    int claudeStatus = 0;
    QByteArray claudeSays = R"({"loggedIn": true})";
    QString claudePath;
    ClaudeLocator locator{processes, settings, home.path()};
    PythonLocator python{processes, locator, desktop, home.path(u"system/python3"_s)};
};

} // namespace

TEST_F(SetupTest, PythonIsTheFirstOnThePathThatIsReal)
{
    addTool(u"system/python3"_s);
    home.write(u"notes/python3"_s, "no program");
    ASSERT_TRUE(QFile::link(path(u"system"_s), path(u"linked"_s)));
    shellPath =
        QStringList{path(u"notes"_s), path(u"none"_s), path(u"system"_s), path(u"linked"_s)}.join(u':');
    EXPECT_EQ(findPython(false), path(u"system/python3"_s));
    systemPythonRuns = false;
    EXPECT_EQ(findPython(false), std::nullopt);
    EXPECT_EQ(shellCalls, 1) << "the PATH is remembered";

    addTool(u"pyenv/python3"_s);
    shellPath = *shellPath + u':' + path(u"pyenv"_s);
    EXPECT_EQ(findPython(true), path(u"pyenv/python3"_s));
    EXPECT_EQ(shellCalls, 2);
}

TEST_F(SetupTest, ClaudesStateFollowsWhatItSaysOfItself)
{
    const auto state = [&](bool refresh) { return await(claudeState(&locator, &processes, refresh)); };
    EXPECT_EQ(state(false), ClaudeState::missing);
    EXPECT_EQ(shellCalls, 2) << "a remembered PATH without it is asked for again";
    addTool(u".local/bin/claude"_s);
    struct Case
    {
        QByteArray says;
        int status;
        ClaudeState state;
    };
    for (const Case &each :
         {Case{R"({"loggedIn": true, "email": "x"})", 1, ClaudeState::ready},
          Case{R"({"loggedIn": false})", 0, ClaudeState::signedOut},
          Case{R"({"loggedIn": "true"})", 0, ClaudeState::signedOut},
          Case{R"({"loggedIn": 1})", 0, ClaudeState::signedOut}, Case{R"([true])", 0, ClaudeState::signedOut},
          Case{"unknown command auth\n", 0, ClaudeState::signedOut}, Case{"", 0, ClaudeState::signedOut}}) {
        claudeSays = each.says;
        claudeStatus = each.status;
        EXPECT_EQ(state(false), each.state) << each.says.constData();
    }
    EXPECT_EQ(claudePath, path(u"bin"_s) + u':' + path(u".local/bin"_s) +
                              (QFileInfo(u"/usr/local/bin"_s).isDir() ? u":/usr/local/bin"_s : QString()));
    EXPECT_EQ(shellCalls, 2) << "found in a tool folder that the shell does not name";
    shellPath.reset();
    EXPECT_EQ(state(false), ClaudeState::signedOut) << "the remembered PATH still leads to it";
    EXPECT_EQ(state(true), ClaudeState::missing);
}

TEST_F(SetupTest, ClosesByItselfWhenEverythingPasses)
{
    auto setup = checklist();
    int finished = 0;
    setup->onFinish = [&] { ++finished; };
    EXPECT_FALSE(setup->showsSetup()) << "nothing is shown before the first check";
    EXPECT_EQ(setup->rows()[0].detail, u"Checking");
    addTool(u"bin/python3"_s);
    await(setup->refresh(true));
    EXPECT_TRUE(setup->showsSetup());
    EXPECT_TRUE(setup->pythonReady());
    EXPECT_EQ(setup->rows()[0].command, u"curl -fsSL https://claude.ai/install.sh | bash");
    EXPECT_EQ(setup->rows()[0].action, SetupAction::installClaude);

    addTool(u"bin/claude"_s);
    setup->chooseRunDirectory(path(u"Code"_s));
    await(setup->refresh(true));
    EXPECT_FALSE(setup->allPassed());
    EXPECT_EQ(setup->rows()[2].detail, u"Keelhaven run directory is missing: "_s + path(u"Code"_s));
    EXPECT_TRUE(QDir().mkpath(path(u"Code"_s)));
    await(setup->refresh(false));
    EXPECT_TRUE(setup->done());
    EXPECT_FALSE(setup->showsSetup());
    EXPECT_TRUE(settings.flag(u"setupDone"_s));
    EXPECT_EQ(setup->rows()[2].detail, path(u"Code"_s));
    setup->skip();
    await(setup->refresh(true));
    EXPECT_EQ(finished, 1);
    EXPECT_TRUE(checklist()->done());
}

TEST_F(SetupTest, AShellThatTellsNoPathIsNamed)
{
    addTool(u"bin/claude"_s);
    auto setup = checklist();
    shellPath.reset();
    EXPECT_EQ(setup->note(), QString());
    await(setup->refresh(false));
    EXPECT_EQ(setup->claude(), ClaudeState::missing);
    EXPECT_TRUE(setup->note().contains(userShell()));
    shellPath = home.path(u"bin"_s);
    await(setup->refresh(true));
    EXPECT_FALSE(setup->pythonReady());
    EXPECT_EQ(setup->note(), QString()) << "then it is really not there";
}

TEST_F(SetupTest, OneWhoHasSweptNeverSeesIt)
{
    settings.set(u"keelhavenLastSweepAt"_s, Date());
    auto setup = checklist();
    await(setup->refresh(false));
    EXPECT_TRUE(setup->done());
    EXPECT_FALSE(setup->showsSetup());
    EXPECT_FALSE(settings.value(u"setupDone"_s));
}

TEST_F(SetupTest, ASecondCheckDuringTheFirstReturnsAtOnce)
{
    shellPath.reset();
    isHolding = true;
    auto setup = checklist();
    const auto first = setup->refresh(true);
    EXPECT_TRUE(setup->checking());
    await(setup->refresh(true));
    EXPECT_EQ(shellCalls, 1);
    isHolding = false;
    processes.finishPending({});
    settle();
    EXPECT_TRUE(setup->checked());
    EXPECT_FALSE(setup->checking());
    EXPECT_EQ(setup->claude(), ClaudeState::missing);
}

TEST_F(SetupTest, TheUserMaySkipAndMayGoInTheMiddleOfACheck)
{
    shellPath.reset();
    isHolding = true;
    auto setup = checklist();
    const auto check = setup->refresh(false);
    setup->skip();
    EXPECT_TRUE(settings.flag(u"setupDone"_s));
    EXPECT_TRUE(setup->perform(SetupAction::openTerminal));
    EXPECT_FALSE(setup->perform(SetupAction::chooseFolder));
    EXPECT_EQ(desktop.terminals.size(), 1);
    setup.reset();
    processes.finishPending({});
    settle();
}

} // namespace Keelhaven
