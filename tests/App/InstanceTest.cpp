#include "App/ControlAddress.h"
#include "App/ProgramsFixture.h"

#include <fcntl.h>
#include <poll.h>
#include <thread>

// Who is the instance, how it comes up and what its end leaves.
namespace Keelhaven {

namespace {

class InstanceTest : public ProgramsTest
{
protected:
    /// Ends an instance that is nobody's child; the lock names it.
    void endDetached() const
    {
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        QFile file(m_home.path(u".local/share/keelhaven/instance.lock"_s));
        ASSERT_TRUE(file.open(QFile::ReadWrite));
        ASSERT_EQ(::fcntl(file.handle(), F_GETLK, &lock), 0);
        ASSERT_GT(lock.l_pid, 0);
        ::kill(lock.l_pid, SIGTERM);
        EXPECT_TRUE(waitUntil([&] { return keelhaven({u"status"_s}).status == 3; }));
    }
};

} // namespace

TEST_F(InstanceTest, OneThatIsGoneBeforeItReadsTheRequestDoesNotRun)
{
    const auto runtime = m_home.path(u".run/keelhaven"_s);
    ASSERT_TRUE(QDir().mkpath(runtime));
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    auto listener = ControlAddress::listenIn(ControlAddress::openFolder(runtime.toStdString()));
    ASSERT_TRUE(listener);
    const std::jthread end([&listener] {
        pollfd caller{listener.get(), POLLIN, 0};
        static_cast<void>(::poll(&caller, 1, 10'000));
        listener = {};
    });
    const auto answer = keelhaven({u"status"_s});
    EXPECT_EQ(answer.status, 3) << answer.error.toStdString();
}

TEST_F(InstanceTest, ThereIsOneInstanceAndASecondStartDeliversItsLink)
{
    start();
    const auto second = keelhaven({u"--headless"_s});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.error, u"keelhaven: Keelhaven is already running.\n"_s);
    for (const QStringList &words :
         {QStringList{u"--headless"_s, u"keelhaven://scheduler/wake"_s},
          QStringList{u"keelhaven://scheduler/wake"_s}, QStringList{u"open"_s, u"keelhaven://runs"_s}})
        EXPECT_EQ(keelhaven(words).status, 0);
    EXPECT_EQ(keelhaven({u"--headless"_s, u"nonsense"_s}).status, 2);
    EXPECT_EQ(stop(SIGTERM), 0);
    EXPECT_FALSE(QFileInfo::exists(m_home.path(u".run/keelhaven/control.sock"_s)));
    EXPECT_EQ(keelhaven({u"status"_s}).status, 3);
}

TEST_F(InstanceTest, AWakeFindsAnInstanceOrBecomesOne)
{
    // On a machine without a screen, and with a display that went with its session.
    for (const QString &display : {QString(), u"gone"_s}) {
        m_environment.insert(u"WAYLAND_DISPLAY"_s, display);
        start({u"--wake"_s});
        EXPECT_EQ(keelhaven({u"--wake"_s}).status, 0);
        EXPECT_EQ(keelhaven({u"open"_s, u"keelhaven://scheduler/wake"_s}).output, QString());
        EXPECT_TRUE(keelhaven({u"open"_s}).output.contains(u"(\"kill %1\","_s.arg(m_instance.processId())));
        EXPECT_EQ(stop(SIGTERM), 0);
    }
    m_environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    EXPECT_EQ(keelhaven({u"--wake"_s}).status, 0);
    EXPECT_EQ(keelhaven({u"open"_s}).output, QString()) << "it has its window";
    endDetached();
}

TEST_F(InstanceTest, WithoutAUsableDataFolderItComesUpAndIsStillTheOne)
{
    // Root may write into any folder, but makes none below a file.
    m_environment.insert(u"XDG_DATA_HOME"_s, m_home.write(u"data"_s, "no folder"));
    m_environment.insert(u"TMPDIR"_s, m_home.path());
    start();
    EXPECT_TRUE(keelhaven({u"status"_s}).error.startsWith(u"keelhaven: The database did not open ("_s));
    EXPECT_EQ(keelhaven({u"agents"_s, u"list"_s}).status, 0);
    EXPECT_EQ(keelhaven({u"--headless"_s}).error, u"keelhaven: Keelhaven is already running.\n"_s);
    EXPECT_EQ(keelhaven({u"doctor"_s}).status, 1) << "no run can be kept";
    EXPECT_EQ(stop(SIGTERM), 0);
    m_environment.remove(u"XDG_DATA_HOME"_s);
    start();
    EXPECT_EQ(keelhaven({u"status"_s}).error, QString());
}

TEST_F(InstanceTest, TheWindowIsTheInstanceASecondStartRaisesItAndASignalEndsIt)
{
    m_environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    m_environment.insert(u"WAYLAND_DISPLAY"_s, u"none"_s);
    start({});
    EXPECT_EQ(keelhaven(addNightly).status, 0);
    EXPECT_EQ(keelhaven({}).status, 0) << "the first one came to the front";
    EXPECT_EQ(stop(SIGTERM), 0);
}

TEST_F(InstanceTest, ALinkStartsKeelhavenWhereNoneRuns)
{
    m_environment.remove(u"DISPLAY"_s);
    m_environment.remove(u"WAYLAND_DISPLAY"_s);
    const auto tooLong = keelhaven({u"open"_s, u"keelhaven://run/"_s + QString(2048, u'x')});
    EXPECT_EQ(tooLong.status, 1);
    EXPECT_EQ(tooLong.error, u"keelhaven: Only keelhaven:// links of at most 2048 bytes can be opened.\n"_s);
    const auto started = keelhaven({u"open"_s, u"keelhaven://scheduler/wake"_s});
    EXPECT_EQ(started.status, 0) << started.error.toStdString();
    EXPECT_EQ(started.output, u"Keelhaven was not running; it has been started without a window.\n"_s);
    EXPECT_EQ(keelhaven({u"status"_s}).status, 0);
    const auto again = keelhaven({u"open"_s});
    EXPECT_EQ(again.status, 0) << again.error.toStdString();
    EXPECT_TRUE(again.output.startsWith(u"Keelhaven runs without a window. "_s));
    endDetached();
}

TEST_F(InstanceTest, AKilledInstanceLeavesAgentsBehindAndNothingInTheWay)
{
    // Without a runtime folder of the session, both ends agree on the one among the data.
    m_environment.remove(u"XDG_RUNTIME_DIR"_s);
    start();
    ASSERT_EQ(keelhaven(addNightly).status, 0);
    EXPECT_EQ(stop(SIGKILL), -2);
    EXPECT_TRUE(QFileInfo::exists(m_home.path(u".local/share/keelhaven/run/control.sock"_s)));
    EXPECT_EQ(keelhaven({u"status"_s}).status, 3);
    start({u"--headless"_s, u"keelhaven://scheduler/wake"_s});
    EXPECT_TRUE(keelhaven({u"agents"_s, u"list"_s}).output.contains(u"Nightly"_s));
    EXPECT_EQ(stop(SIGTERM), 0);
}

} // namespace Keelhaven
