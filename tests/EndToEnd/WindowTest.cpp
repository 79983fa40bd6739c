// The window with a real session behind it: session host, tmux, scripted agent, hooks, in a throw-away home.
#include "App/AppModel.h"
#include "App/Instance.h"
#include "App/Machine.h"
#include "EndToEnd/WindowUser.h"
#include "Scheduler/SchedulerEngine.h"
#include "Support/TestHome.h"
#include "UI/WindowFront.h"

#include <QGuiApplication>
#include <QProcess>
#include <QTimer>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QString agentName = u"Add Test Coverage"_s;

/// A home whose login shell finds the scripted agent as `claude`; the session host in it ends with it.
class AgentHome
{
public:
    AgentHome()
    {
        m_home.enter();
        QFile::link(QStringLiteral(KEELHAVEN_SOURCE_DIR) + u"/tools/scripted-agent"_s,
                    m_home.path(u"claude"_s));
        m_home.write(u".profile"_s, "export PATH=\"" + m_home.path().toUtf8() + ":$PATH\"\n");
        QDir().mkpath(project());
        m_home.write(u".scripted-agent.json"_s,
                     R"({"SCRIPTED_WORK_SECONDS": 0, "SCRIPTED_WORK_UNTIL": ")" + gate().toUtf8() + "\"}");
    }
    AgentHome(const AgentHome &) = delete;
    AgentHome &operator=(const AgentHome &) = delete;
    ~AgentHome()
    {
        QProcess stop;
        stop.start(QStringLiteral(KEELHAVEN_BIN_DIR) + u"/keelhaven-host"_s,
                   {u"server"_s, u"stop"_s, u"--panes"_s});
        stop.waitForFinished();
        // The installed host's folder is read-only.
        const QDir hosts(m_home.path(u".local/share/keelhaven/herdr"_s));
        for (const QFileInfo &host : hosts.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot))
            QFile::setPermissions(host.filePath(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    [[nodiscard]] QString project() const { return m_home.path(u"lighthouse"_s); }
    /// Lets the agent come to the end of its turn.
    void openGate() const { m_home.write(u"gate"_s, {}); }

private:
    [[nodiscard]] QString gate() const { return m_home.path(u"gate"_s); }

    TestHome m_home;
};

/// What the test and the person in front of the window have to do with.
struct Stage
{
    AgentHome &home;
    SchedulerEngine &engine;
    WindowUser user;

    [[nodiscard]] bool hasFinished() const
    {
        return engine.active().isEmpty() && !engine.history().isEmpty();
    }
};

/// Starts the application as its program does, has `script` use its window, and ends it.
void runInWindow(const std::function<void(Stage &)> &script)
{
    AgentHome home;
    bool wasShown = false;
    const int status =
        runInstance({}, [&](AppModel &model, Machine &machine, const std::function<void()> &begin) {
            auto front = std::make_unique<WindowFront>(model, machine.sessionBus, begin);
            QTimer::singleShot(0, front.get(), [&] {
                try {
                    auto *window = qobject_cast<QQuickWindow *>(QGuiApplication::topLevelWindows().value(0));
                    if (!window)
                        throw std::runtime_error("there is no window");
                    // It opened within the screen, which is small here.
                    window->resize(1280, 800);
                    Stage stage{home, model.scheduler(), WindowUser(*window)};
                    wasShown = true;
                    script(stage);
                } catch (const std::exception &error) {
                    ADD_FAILURE() << error.what();
                }
                QCoreApplication::exit();
            });
            return front;
        });
    EXPECT_TRUE(wasShown);
    EXPECT_EQ(status, 0);
}

/// The session is live, its state and its terminal are told; then its turn ends, and so does the run.
void watchItWork(Stage &stage)
{
    auto &user = stage.user;
    user.awaitSight(QAccessible::StaticText, u"Claude · working"_s);
    user.awaitSight(QAccessible::Heading, u"ITS TERMINAL"_s);
    user.await(u"the terminal to show the agent's work"_s,
               [&] { return user.sees(QAccessible::ListItem, u"● Working on it."_s); });
    EXPECT_TRUE(user.sees(QAccessible::Button, u"Agents, 1 live"_s));
    ASSERT_EQ(stage.engine.active().size(), 1);
    EXPECT_EQ(stage.engine.active().first()->agentState, AgentState::Working);

    stage.home.openGate();
    user.awaitSight(QAccessible::Heading, u"WHAT IT REPORTED"_s);
    EXPECT_TRUE(user.sees(QAccessible::StaticText, u"Claude · completed"_s));
    user.await(u"the report"_s, [&] {
        const auto paragraphs = user.names(QAccessible::Paragraph);
        return paragraphs.size() == 1 &&
               paragraphs[0].startsWith(u"Done: Find the most important untested code paths in this repo"_s);
    });
    EXPECT_TRUE(stage.hasFinished());
}

/// The dates that the form shows for a quarter past something.
QStringList nextDates(const WindowUser &user)
{
    QStringList dates = user.names(QAccessible::ListItem);
    dates.removeIf([](const QString &text) { return !text.contains(u":15"); });
    dates.removeDuplicates();
    return dates;
}

TEST(WindowTest, OneThatIsNotWantedYetStaysOutOfSight)
{
    const AgentHome home;
    QList<bool> sights;
    const int status =
        runInstance({}, [&](AppModel &model, Machine &machine, const std::function<void()> &begin) {
            auto front = std::make_unique<WindowFront>(model, machine.sessionBus, begin,
                                                       WindowFront::Sight::WhenWanted);
            QObject::connect(&model, &AppModel::started, front.get(), [&] {
                const auto *window = QGuiApplication::topLevelWindows().value(0);
                for (const QString &link : {u"keelhaven://scheduler/wake"_s, u"keelhaven://runs"_s}) {
                    model.handleDeepLink(link);
                    sights.append(window && window->isVisible());
                }
                QCoreApplication::exit();
            });
            return front;
        });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(sights, (QList<bool>{false, true}));
}

TEST(WindowTest, AnAgentIsSetUpWatchedAndReadByPointer)
{
    runInWindow([](Stage &stage) {
        auto &user = stage.user;
        user.click(QAccessible::Button, u"Agents"_s);
        user.click(QAccessible::Button, u"New agent"_s);
        user.click(QAccessible::RadioButton, agentName);
        EXPECT_TRUE(user.isChecked(QAccessible::RadioButton, agentName));
        user.click(QAccessible::EditableText, u"Project folders 1"_s);
        user.type(stage.home.project());
        user.click(QAccessible::ComboBox, u"Schedule"_s);
        user.click(QAccessible::ListItem, u"Weekly"_s);
        user.awaitSight(QAccessible::CheckBox, u"Sat"_s);
        const bool wasOn = user.isChecked(QAccessible::CheckBox, u"Sat"_s);
        user.click(QAccessible::CheckBox, u"Sat"_s);
        EXPECT_NE(user.isChecked(QAccessible::CheckBox, u"Sat"_s), wasOn);
        user.click(QAccessible::EditableText, u"Time 1"_s);
        user.press(Qt::Key_A, Qt::ControlModifier);
        user.type(u"06:15"_s);
        user.await(u"the next five dates"_s, [&] { return nextDates(user).size() == 5; });

        user.click(QAccessible::Button, u"Save agent"_s);
        user.awaitSight(QAccessible::ListItem, agentName);
        ASSERT_EQ(stage.engine.slotList().size(), 1);
        EXPECT_EQ(stage.engine.slotList().first().cwds, QStringList{stage.home.project()});

        user.click(QAccessible::Button, u"Run now"_s);
        watchItWork(stage);

        user.click(QAccessible::PageTab, u"History"_s);
        user.pointAt(QAccessible::ListItem, agentName);
        user.click(QAccessible::Button, u"Hide"_s);
        user.awaitAbsence(QAccessible::ListItem, agentName);
        user.click(QAccessible::Button, u"More"_s);
        user.click(QAccessible::MenuItem, u"Show hidden runs"_s);
        user.awaitSight(QAccessible::ListItem, agentName);
        EXPECT_TRUE(user.names(QAccessible::ListItem).last().endsWith(u", hidden"_s));

        ASSERT_GT(user.frames(), 0);
        EXPECT_TRUE(user.staysStill(3s, 8s)) << user.frames() << " frames so far";
    });
}

TEST(WindowTest, TheKeyboardAloneDoesTheSame)
{
    runInWindow([](Stage &stage) {
        auto &user = stage.user;
        user.press(Qt::Key_N, Qt::ControlModifier);
        user.tabTo(QAccessible::RadioButton, agentName, Qt::Key_Backtab);
        user.press(Qt::Key_Return);
        user.tabTo(QAccessible::EditableText, u"Project folders 1"_s);
        user.type(stage.home.project());
        user.tabTo(QAccessible::EditableText, u"Time 1"_s);
        user.press(Qt::Key_A, Qt::ControlModifier);
        user.type(u"06:15"_s);
        user.await(u"the next five dates"_s, [&] { return nextDates(user).size() == 5; });
        user.press(Qt::Key_S, Qt::ControlModifier);
        user.awaitSight(QAccessible::ListItem, agentName);
        ASSERT_EQ(stage.engine.slotList().size(), 1);

        user.tabTo(QAccessible::Button, u"Run now"_s);
        user.press(Qt::Key_Return);
        watchItWork(stage);

        user.press(Qt::Key_4, Qt::AltModifier);
        user.tabTo(QAccessible::ListItem, agentName);
        user.press(Qt::Key_H);
        user.awaitAbsence(QAccessible::ListItem, agentName);
        user.tabTo(QAccessible::Button, u"More"_s);
        user.press(Qt::Key_Return);
        user.awaitSight(QAccessible::MenuItem, u"Show hidden runs"_s);
        user.press(Qt::Key_Down);
        user.press(Qt::Key_Return);
        user.awaitSight(QAccessible::ListItem, agentName);
        EXPECT_TRUE(user.names(QAccessible::ListItem).last().endsWith(u", hidden"_s));
    });
}

} // namespace
} // namespace Keelhaven

/// As TestMain, for a window that stands for the whole application.
int main(int argc, char **argv)
{
    const QStringList kept{u"PATH"_qs, u"LANG"_qs, u"USER"_qs, u"LOGNAME"_qs};
    for (const QString &name : QProcessEnvironment::systemEnvironment().keys()) {
        if (!kept.contains(name))
            qunsetenv(name.toLocal8Bit());
    }
    const Keelhaven::TestHome processHome;
    processHome.enter();
    qputenv("SHELL", "/bin/bash");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QAccessible::setActive(true);
    Keelhaven::Appearance::applyFont();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
