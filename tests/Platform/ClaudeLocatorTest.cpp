#include "Platform/ClaudeLocator.h"
#include "Platform/FileSettingsStore.h"
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

TEST_F(Locator, TakesTheLastLineOfANoisyProfile)
{
    m_runner.answer("Welcome!\n\xff nvm ready\n\n  /usr/bin:/bin \r\n\n \n", ProcessResult::Kind::Exited, 3);
    EXPECT_EQ(ask(), u"/usr/bin:/bin"_s);
    EXPECT_EQ(m_runner.asked.first().arguments, QStringList({u"-lc"_s, u"echo hi"_s}));
    EXPECT_EQ(m_runner.asked.first().errors, ProcessSpec::Errors::Discard);
}

TEST_F(Locator, HangingOrMissingShellGivesNothing)
{
    m_runner.answer("/half/a/path\n", ProcessResult::Kind::TimedOut, -1);
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(m_runner.asked.first().timeout, 5s);
    m_runner.answer({}, ProcessResult::Kind::CannotStart, -1);
    EXPECT_EQ(ask(), std::nullopt);
    m_runner.answer(" \n");
    EXPECT_EQ(await(m_locator.loginShellPATH(false)), std::nullopt);
    EXPECT_EQ(m_settings.keys(), QStringList());
}

TEST_F(Locator, CachesTheRawAnswerAndAddsFoldersOnEachRead)
{
    m_runner.answer("/usr/local/bin:/a\n");
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
    m_runner.answer((path(u"old"_s) + u':' + path(u"new"_s)).toUtf8());
    const auto found = await(m_locator.loginShellPATH(u"claude"_s));
    ASSERT_TRUE(found);
    EXPECT_EQ(ClaudeLocator::find(*found, u"claude"_s), path(u"new/claude"_s));
    EXPECT_FALSE(ClaudeLocator::contains(*found, u"notes"_s));
    EXPECT_EQ(await(m_locator.loginShellPATH(u"claude"_s)), found);
    EXPECT_EQ(m_runner.asked.size(), 1);
}

} // namespace Keelhaven
