#include "Platform/XdgDesktop.h"

#include "Platform/QtProcessRunner.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QFile>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class XdgDesktopTest : public testing::Test
{
protected:
    XdgDesktopTest()
    {
        for (const char *name : names)
            m_old.append(qgetenv(name));
        qputenv("DISPLAY", ":7");
        qunsetenv("WAYLAND_DISPLAY");
        qunsetenv("TERMINAL");
        qputenv("TMUX", "/tmp/socket,1,0");
        qputenv("PATH", home.path(u"bin"_s).toUtf8() + ":/usr/bin:/bin");
    }
    ~XdgDesktopTest() override
    {
        for (qsizetype i = 0; i < m_old.size(); ++i) {
            if (m_old[i].isNull())
                qunsetenv(names[static_cast<size_t>(i)]);
            else
                qputenv(names[static_cast<size_t>(i)], m_old[i]);
        }
    }

    static constexpr std::array names{"DISPLAY", "WAYLAND_DISPLAY", "TERMINAL", "TMUX", "PATH"};
    TestHome home;
    MemorySettings settings;

private:
    QList<QByteArray> m_old;
};

TEST_F(XdgDesktopTest, EachEmulatorGetsTheCommandItsOwnWay)
{
    const QStringList command{u"/a b/attach"_s, u"-x"_s};
    const std::pair<QStringList, const char *> cases[] = {
        {{u"xterm"_s}, "xterm|-e|/a b/attach|-x"},
        {{u"/usr/bin/gnome-terminal"_s}, "/usr/bin/gnome-terminal|--|/a b/attach|-x"},
        {{u"kitty"_s, u"--single-instance"_s}, "kitty|--single-instance|/a b/attach|-x"},
        {{u"wezterm"_s}, "wezterm|start|--|/a b/attach|-x"},
        {{u"my-own"_s}, "my-own|-e|/a b/attach|-x"},
        {{}, ""},
    };
    for (const auto &[emulator, words] : cases)
        EXPECT_EQ(XdgDesktop::terminalArguments(emulator, command).join(u'|').toStdString(), words);
}

/// Starts only what the test says there is.
class FewPrograms : public FakeProcessRunner
{
public:
    QStringList installed;
    [[nodiscard]] bool startDetached(const ProcessSpec &spec) override
    {
        return FakeProcessRunner::startDetached(spec) && installed.contains(spec.program);
    }
};

TEST_F(XdgDesktopTest, TheUsersChoiceGoesFirstAndTheFirstThatStartsWins)
{
    FewPrograms processes;
    XdgDesktop desktop(processes, settings);
    const auto opens = [&](const QStringList &installed) {
        processes.installed = installed;
        processes.detached.clear();
        const bool opened = desktop.openTerminal({u"attach"_s});
        EXPECT_EQ(opened, !installed.isEmpty());
        return processes.detached.isEmpty() ? QString() : processes.detached.last().program;
    };
    opens({});
    EXPECT_GT(processes.detached.size(), 10) << "all known ones were tried";
    EXPECT_EQ(opens({u"konsole"_s, u"x-terminal-emulator"_s}), u"x-terminal-emulator"_s);
    qputenv("TERMINAL", "konsole");
    EXPECT_EQ(opens({u"konsole"_s, u"x-terminal-emulator"_s}), u"konsole"_s);
    settings.set(u"terminalCommand"_s, u"\"my term\" --tab"_s);
    EXPECT_EQ(opens({u"konsole"_s, u"my term"_s}), u"my term"_s);
    EXPECT_EQ(processes.detached.last().arguments, (QStringList{u"--tab"_s, u"-e"_s, u"attach"_s}));
    EXPECT_EQ(opens({u"xterm"_s}), u"xterm"_s) << "a choice that is not installed is passed over";

    processes.detached.clear();
    qunsetenv("DISPLAY");
    EXPECT_FALSE(desktop.openTerminal({u"attach"_s}));
    EXPECT_TRUE(processes.detached.isEmpty());
    qputenv("WAYLAND_DISPLAY", "wayland-0");
    EXPECT_TRUE(desktop.openTerminal({u"attach"_s}));
}

TEST_F(XdgDesktopTest, StartsARealProgramOutsideTmux)
{
    const QString file = home.write(u"bin/x-terminal-emulator"_s,
                                    "#!/bin/sh\nprintf '%s|' \"tmux=$TMUX\" \"$@\" > \"$0.out.part\"\n"
                                    "mv \"$0.out.part\" \"$0.out\"\n");
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    settings.set(u"terminalCommand"_s, u"no-such-terminal"_s);
    QtProcessRunner processes;
    XdgDesktop desktop(processes, settings);
    ASSERT_TRUE(desktop.openTerminal({u"/a b/attach"_s, u"--session"_s}));
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(file + u".out"_s); }));
    EXPECT_EQ(home.read(u"bin/x-terminal-emulator.out"_s), "tmux=|-e|/a b/attach|--session|");
}

} // namespace
} // namespace Keelhaven
