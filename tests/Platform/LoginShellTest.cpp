#include "Platform/LoginShell.h"

#include "Platform/ClaudeLocator.h"
#include "Platform/QtProcessRunner.h"
#include "Platform/Shell.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QStandardPaths>
#include <gtest/gtest.h>

// Real shells with start-up files that are in the way.
namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class LoginShellTest : public ::testing::Test
{
protected:
    LoginShellTest()
    {
        m_home.enter();
        m_shell = qgetenv("SHELL");
        qputenv("SHELL", "/bin/sh");
    }
    ~LoginShellTest() override { m_shell.isNull() ? qunsetenv("SHELL") : qputenv("SHELL", m_shell); }

    std::optional<QString> path(const QByteArray &profile)
    {
        m_home.write(u".profile"_s, profile);
        m_home.write(u".bash_profile"_s, profile);
        const auto found = await(m_locator.loginShellPATH(true));
        return found ? std::optional(m_settings.text(u"loginShellPATH"_s)) : std::nullopt;
    }

    const TestHome m_home;
    QtProcessRunner m_processes;
    MemorySettings m_settings;
    ClaudeLocator m_locator{m_processes, m_settings, m_home.path()};

private:
    QByteArray m_shell;
};

} // namespace

TEST_F(LoginShellTest, WhatOnlyRefusesALoginIsNoShell)
{
    for (const char *refusing : {"/usr/sbin/nologin", "/bin/false", "/usr/bin", "sh", ""}) {
        qputenv("SHELL", refusing);
        EXPECT_NE(userShell(), QLatin1StringView(refusing));
        EXPECT_TRUE(QFileInfo(userShell()).isExecutable());
    }
    EXPECT_EQ(loginShellArguments(u"/bin/zsh"_s, u"x"_s), (QStringList{u"-lc"_s, u"x"_s}));
    EXPECT_EQ(loginShellArguments(u"/bin/csh"_s, u"x"_s), (QStringList{u"-c"_s, u"x"_s}));
}

TEST_F(LoginShellTest, NoisyProfilesFoolNobody)
{
    QStringList shells{u"/bin/sh"_s};
    for (const char16_t *name : {u"bash", u"zsh", u"dash"}) {
        if (const QString found = QStandardPaths::findExecutable(QString::fromUtf16(name)); !found.isEmpty())
            shells.append(found);
    }
    for (const QString &shell : std::as_const(shells)) {
        qputenv("SHELL", shell.toUtf8());
        m_home.write(u".zprofile"_s, "PATH=/mine:/usr/bin:/bin\necho hello\n");
        m_home.write(u".zlogout"_s, "echo /not/this\n");
        m_home.write(u".bash_logout"_s, "echo /not/this\n");
        EXPECT_EQ(path("PATH=/mine:/usr/bin:/bin\necho 'Today: 12 mails'\nprintf 'no line end'\n"
                       "echo() { printf 'twisted'; }\ntrap 'printf \"/not/this\\n\"' EXIT\n"
                       "set -u\nexport PATH\n"),
                  u"/mine:/usr/bin:/bin")
            << shell.toStdString();
    }
    EXPECT_EQ(path("echo /usr/bin:/bin; exit 0\n"), std::nullopt) << "a profile that ends the shell";
    EXPECT_EQ(path("exec echo /usr/bin:/bin\n"), std::nullopt) << "a profile that becomes another program";
    qputenv("SHELL", "/bin/true");
    EXPECT_EQ(path(""), std::nullopt) << "a shell that does nothing";
}

TEST_F(LoginShellTest, AJobThatAProfileLeavesBehindIsNotWaitedFor)
{
    const QString pidFile = m_home.path(u"pid"_s);
    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_EQ(path("PATH=/mine:/usr/bin:/bin\nsleep 60 &\necho $! > '" + pidFile.toUtf8() + "'\n"),
              u"/mine:/usr/bin:/bin");
    EXPECT_LT(elapsed.elapsed(), 4000);
    ::kill(m_home.read(u"pid"_s).trimmed().toInt(), SIGKILL);
}

TEST_F(LoginShellTest, AProfileThatReadsFromTheTerminalFindsNone)
{
    EXPECT_EQ(path("PATH=/mine:/usr/bin:/bin\nread -r answer\n(: < /dev/tty) && PATH=/tty\n"),
              u"/mine:/usr/bin:/bin");
}

TEST_F(LoginShellTest, AHangingProfileIsGivenUpAndEnded)
{
    const ClaudeLocator impatient(m_processes, m_settings, m_home.path(), 300ms);
    m_home.write(u".profile"_s, "echo $$ > \"$HOME/pid\"\ntrap '' TERM\nwhile :; do sleep 1; done\n");
    EXPECT_EQ(await(impatient.loginShellPATH(true)), std::nullopt);
    const int shell = m_home.read(u"pid"_s).trimmed().toInt();
    ASSERT_GT(shell, 0);
    EXPECT_TRUE(waitUntil([&] { return ::kill(shell, 0) != 0; })) << "it ignored the first signal";
}

} // namespace Keelhaven
