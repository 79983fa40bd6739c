#include "Platform/ClaudeLocator.h"
#include "Platform/FileSettingsStore.h"
#include "Platform/LoginShell.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Gives the answers it was handed, in order, and keeps what was asked.
class ScriptedRunner : public ProcessRunner
{
public:
    QCoro::Task<ProcessResult> run(ProcessSpec spec) override
    {
        asked.append(spec);
        const ProcessResult answer = answers.isEmpty() ? ProcessResult() : answers.takeFirst();
        co_return answer;
    }
    bool startDetached(const ProcessSpec &) override { return false; }

    void answer(const QByteArray &output, ProcessResult::Kind kind = ProcessResult::Kind::Exited,
                int code = 0)
    {
        ProcessResult result;
        result.kind = kind;
        result.exitCode = code;
        result.output = output;
        answers.append(result);
    }

    QList<ProcessSpec> asked;
    QList<ProcessResult> answers;
};

class Locator : public testing::Test
{
protected:
    void SetUp() override
    {
        // An executable per folder; the extra folders of this machine must not decide the test.
        m_home.write(u"old/claude"_s, "x");
        addTool(u"new/claude"_s);
        m_home.write(u"new/notes"_s, "x");
    }
    void addTool(const QString &relative) const
    {
        QFile::setPermissions(m_home.write(relative, "x"), QFile::ReadOwner | QFile::ExeOwner);
    }
    [[nodiscard]] QString path(const QString &relative) const { return m_home.path(relative); }
    [[nodiscard]] std::optional<QString> ask() { return await(m_locator.loginShell(u"echo hi"_s)); }

    const TestHome m_home;
    ScriptedRunner m_runner;
    FileSettingsStore m_settings{m_home.path(u"settings.json"_s)};
    ClaudeLocator m_locator{m_runner, m_settings, m_home.path()};
};

} // namespace

TEST_F(Locator, LeavesOutWhatAProfilePrints)
{
    m_runner.answer("Welcome!\n\xff nvm ready" + LoginShell::framed(" /usr/bin:/bin \r\n") + "bye\n\n",
                    ProcessResult::Kind::Exited, 3);
    EXPECT_EQ(ask(), u"/usr/bin:/bin"_s);
    EXPECT_EQ(m_runner.asked.first().arguments.first(), u"-lc"_s);
    EXPECT_TRUE(m_runner.asked.first().arguments.last().contains(u"echo hi"));
    EXPECT_EQ(m_runner.asked.first().errors, ProcessSpec::Errors::Discard);
    EXPECT_EQ(LoginShell::arguments(u"/bin/tcsh"_s, u"x"_s).first(), u"-c"_s) << "csh takes -l only alone";

    for (const QByteArray &noise : {QByteArray("This account is currently not available.\n"),
                                    LoginShell::framed("/bin").chopped(1), QByteArray("/usr/bin:/bin\n")}) {
        m_runner.answer(noise);
        EXPECT_EQ(ask(), std::nullopt) << noise.constData();
    }
}

TEST_F(Locator, HangingOrMissingShellGivesNothing)
{
    m_runner.answer(LoginShell::framed("/half/a/path"), ProcessResult::Kind::TimedOut, -1);
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(m_runner.asked.first().timeout, 5s);
    m_runner.answer({}, ProcessResult::Kind::CannotStart, -1);
    EXPECT_EQ(ask(), std::nullopt);
    for (const QByteArray answer : {"", "$PATH", "usr/bin:bin"}) {
        m_runner.answer(LoginShell::framed(answer));
        EXPECT_EQ(await(m_locator.loginShellPATH(false)), std::nullopt) << answer.constData();
    }
    EXPECT_EQ(m_settings.keys(), QStringList());
}

TEST_F(Locator, CachesTheRawAnswerAndAddsFoldersOnEachRead)
{
    m_runner.answer(LoginShell::framed("/usr/local/bin:/a"));
    EXPECT_EQ(m_locator.cachedPATH(), std::nullopt);
    EXPECT_EQ(await(m_locator.loginShellPATH(false)), u"/usr/local/bin:/a"_s);
    EXPECT_EQ(m_settings.text(u"loginShellPATH"_s), u"/usr/local/bin:/a");
    QDir().mkpath(path(u".local/bin"_s));
    const QString extended = u"/usr/local/bin:/a:"_s + path(u".local/bin"_s);
    EXPECT_EQ(await(m_locator.loginShellPATH(false)), extended);
    EXPECT_EQ(m_locator.cachedPATH(), extended);
    EXPECT_EQ(m_runner.asked.size(), 1);
    m_runner.answer({}, ProcessResult::Kind::TimedOut, -1);
    EXPECT_EQ(await(m_locator.loginShellPATH(true)), std::nullopt);
    EXPECT_EQ(m_locator.cachedPATH(), extended);
}

TEST_F(Locator, AsksAgainForAToolInstalledLater)
{
    m_settings.set(u"loginShellPATH"_s, path(u"old"_s));
    m_runner.answer(LoginShell::framed((path(u"old"_s) + u':' + path(u"new"_s)).toUtf8()));
    const auto found = await(m_locator.loginShellPATH(u"claude"_s));
    ASSERT_TRUE(found);
    EXPECT_EQ(ClaudeLocator::find(*found, u"claude"_s), path(u"new/claude"_s));
    EXPECT_FALSE(ClaudeLocator::contains(*found, u"notes"_s));
    EXPECT_EQ(await(m_locator.loginShellPATH(u"claude"_s)), found);
    EXPECT_EQ(m_runner.asked.size(), 1);
}

} // namespace Keelhaven
