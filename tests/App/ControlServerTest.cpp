#include "App/ControlServer.h"

#include "App/ControlInstance.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using ControlWire::FrameType;

namespace {

/// A caller that sends what it likes.
class RawCaller
{
public:
    explicit RawCaller(const KeelhavenPaths &paths)
        : m_connection(ControlAddress::connectTo(ControlAddress::openFolder(paths.runtimeDir.toStdString())))
    {}

    void send(const std::string &bytes) const
    {
        static_cast<void>(
            !::send(m_connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
    }
    void call(const std::vector<std::string> &arguments) const
    {
        std::string bytes;
        ControlWire::appendFrame(
            bytes, FrameType::Request,
            std::get<std::string>(ControlWire::encodeRequest({"/", 0, false, arguments})));
        send(bytes);
    }

    /// Everything up to the end of the conversation or what is there now, as "O:text" for each frame.
    std::string replies()
    {
        char bytes[ControlWire::maximumChunk];
        for (ssize_t count = 0;
             (count = ::recv(m_connection.get(), bytes, sizeof bytes, MSG_DONTWAIT)) >= 0;) {
            if (count == 0) {
                m_isClosed = true;
                break;
            }
            m_reader.append({bytes, static_cast<size_t>(count)});
        }
        std::string text;
        while (const auto frame = m_reader.next())
            text += std::string(1, static_cast<char>(frame->type)) + ":" +
                    (frame->type == FrameType::Exit ? std::to_string(frame->payload[0]) : frame->payload) +
                    " ";
        return text;
    }
    [[nodiscard]] bool isClosed()
    {
        static_cast<void>(replies());
        return m_isClosed;
    }

private:
    ControlAddress::Descriptor m_connection;
    ControlWire::FrameReader m_reader;
    bool m_isClosed = false;
};

/// A server that echoes its arguments, or its standard input for "cat".
class ControlServerTest : public ::testing::Test
{
protected:
    ControlServerTest()
    {
        QObject::connect(&m_server, &ControlServer::requested, &m_server,
                         [this](ControlConnection *connection, const ControlCaller &caller) {
                             ++m_requests;
                             if (caller.arguments.value(0) == u"stream"_s) {
                                 m_stream = connection;
                             } else if (caller.arguments.value(0) == u"cat"_s) {
                                 QObject::connect(connection, &ControlConnection::inputArrived, connection,
                                                  [connection](const QByteArray &input) {
                                                      connection->writeOutput(input);
                                                      connection->finish(0);
                                                  });
                                 connection->requestInput();
                             } else {
                                 connection->writeOutput(caller.arguments.join(u' ').toUtf8());
                                 connection->finish(7);
                             }
                         });
    }

    /// Runs the real loop until the caller's replies are as wanted.
    static bool hears(RawCaller &caller, const std::string &wanted)
    {
        std::string heard;
        return waitUntil([&] { return (heard += caller.replies()) == wanted; }, 5s);
    }

    TestHome m_home;
    KeelhavenPaths m_paths = m_home.paths();
    Result<ControlInstance, ControlInstanceError> m_instance = ControlInstance::claim(m_paths);
    VirtualClock m_clock;
    ControlServer m_server{m_instance->listener(), m_clock};
    QPointer<ControlConnection> m_stream;
    int m_requests = 0;
};

} // namespace

TEST(ControlAddressTest, AHomeThatNobodySetIsTheAccounts)
{
    const QByteArray own = qgetenv("HOME");
    const QByteArray account = ::getpwuid(::geteuid())->pw_dir;
    for (const QByteArray &before : {QByteArray(), QByteArray("here"), own}) {
        qputenv("HOME", before);
        if (before.isNull())
            qunsetenv("HOME");
        ControlAddress::ensureHome();
        EXPECT_EQ(qgetenv("HOME"), before == own ? own : account) << before.constData();
    }
    qputenv("HOME", own);
}

TEST_F(ControlServerTest, AnswersInFramesAndHangsUp)
{
    RawCaller caller(m_paths);
    caller.call({"a", "b"});
    EXPECT_TRUE(hears(caller, "A: O:a b X:7 "));
    EXPECT_TRUE(waitUntil([&] { return caller.isClosed() && m_server.connectionCount() == 0; }, 5s));
}

TEST_F(ControlServerTest, AHalfRequestIsClosedAfterTenSecondsAndHoldsUpNobody)
{
    RawCaller slow(m_paths);
    slow.send("Q");
    ASSERT_TRUE(waitUntil([&] { return m_server.connectionCount() == 1; }, 5s));
    RawCaller other(m_paths);
    other.call({"hello"});
    EXPECT_TRUE(hears(other, "A: O:hello X:7 "));
    m_clock.advance(9s);
    EXPECT_FALSE(slow.isClosed());
    m_clock.advance(1s);
    EXPECT_TRUE(slow.isClosed());
}

TEST_F(ControlServerTest, NonsenseIsClosedWithoutARequest)
{
    std::string twice;
    for (int i = 0; i < 2; ++i)
        ControlWire::appendFrame(twice, FrameType::Input, "unasked");
    for (const std::string &bytes : {std::string("GET / HTTP/1.1\r\n\r\n"), twice,
                                     std::string("Q\x04\x00\x00\x00KHC1", 9), std::string(100'000, '\0')}) {
        RawCaller caller(m_paths);
        caller.send(bytes);
        EXPECT_TRUE(waitUntil([&] { return caller.isClosed(); }, 5s)) << bytes.substr(0, 9);
    }
    EXPECT_EQ(m_requests, 0);
}

TEST_F(ControlServerTest, OtherVersionsAndLongCommandLinesAreToldSo)
{
    RawCaller newer(m_paths);
    newer.send(std::string("Q\x04\x00\x00\x00KHC9", 9));
    EXPECT_TRUE(hears(
        newer,
        "E:keelhaven: The running Keelhaven is of another version than this command; restart it.\n X:1 "));
    RawCaller endless(m_paths);
    endless.send(std::string("Q\xff\xff\xff\x7f", 5));
    EXPECT_TRUE(hears(endless, "E:keelhaven: The command line is too long.\n X:2 "));
}

TEST_F(ControlServerTest, StandardInputArrivesWholeAndIsLimited)
{
    RawCaller caller(m_paths);
    caller.call({"cat"});
    ASSERT_TRUE(hears(caller, "A: N: "));
    for (const std::string_view piece : {"one ", "two", ""}) {
        std::string frame;
        ControlWire::appendFrame(frame, FrameType::Input, piece);
        caller.send(frame);
    }
    EXPECT_TRUE(hears(caller, "O:one two X:0 "));

    RawCaller flood(m_paths);
    flood.call({"cat"});
    ASSERT_TRUE(hears(flood, "A: N: "));
    std::string chunk;
    ControlWire::appendFrame(chunk, FrameType::Input, std::string(ControlWire::maximumChunk, 'x'));
    std::string heard;
    EXPECT_TRUE(waitUntil(
        [&] {
            flood.send(chunk);
            return (heard += flood.replies()).ends_with("X:1 ");
        },
        20s));
    EXPECT_EQ(heard, "E:keelhaven: Standard input is longer than 16 MiB.\n X:1 ");
}

TEST_F(ControlServerTest, ACallerThatTakesNoOutputIsDropped)
{
    RawCaller caller(m_paths);
    caller.call({"stream"});
    ASSERT_TRUE(waitUntil([&] { return !m_stream.isNull(); }, 5s));
    const QByteArray piece(256 * 1024, 'x');
    for (int i = 0; i < 15; ++i)
        m_stream->stream(piece);
    EXPECT_FALSE(m_stream->isFinished()) << "behind, but within the limit";
    for (int i = 0; i < 5; ++i)
        m_stream->stream(piece);
    EXPECT_TRUE(m_stream->isFinished());

    RawCaller idle(m_paths);
    idle.call({"stream"});
    ASSERT_TRUE(waitUntil([&] { return m_stream && !m_stream->isFinished(); }, 5s));
    for (int i = 0; i < 15; ++i)
        m_stream->stream(piece);
    m_clock.advance(30s);
    EXPECT_TRUE(!m_stream || m_stream->isFinished());
}

TEST_F(ControlServerTest, ALongListingIsMadeAsItsCallerReads)
{
    constexpr int pieces = 300;
    RawCaller caller(m_paths);
    caller.call({"stream"});
    ASSERT_TRUE(waitUntil([&] { return !m_stream.isNull(); }, 5s));
    int made = 0;
    m_stream->writePieces(
        [&made] { return made < pieces ? QByteArray(20'000, char('a' + made++ % 26)) : QByteArray(); });
    m_stream->finish(0);
    EXPECT_LT(made, pieces / 2) << "the rest waits for the caller";
    std::string heard;
    ASSERT_TRUE(waitUntil([&] { return (heard += caller.replies()).ends_with("X:0 "); }, 20s));
    std::string expected = "A: ";
    for (int i = 0; i < pieces; ++i)
        expected += "O:" + std::string(20'000, char('a' + i % 26)) + ' ';
    EXPECT_TRUE(heard == expected + "X:0 ");
}

TEST_F(ControlServerTest, FurtherCallersAreToldToComeAgain)
{
    std::vector<std::unique_ptr<RawCaller>> callers;
    for (int i = 0; i < ControlServer::connectionLimit; ++i)
        callers.push_back(std::make_unique<RawCaller>(m_paths));
    ASSERT_TRUE(waitUntil([&] { return m_server.connectionCount() == ControlServer::connectionLimit; }, 5s));
    RawCaller last(m_paths);
    EXPECT_TRUE(hears(last, "E:keelhaven: too many commands at once; try again.\n X:1 "));
    callers.clear();
    EXPECT_TRUE(waitUntil([&] { return m_server.connectionCount() == 0; }, 5s));
}

/// The place is held by a process, so only another one can find it taken.
bool isTakenForAnotherProcess(const KeelhavenPaths &paths)
{
    const pid_t child = ::fork();
    if (child == 0) {
        const auto claimed = ControlInstance::claim(paths);
        ::_exit(!claimed && claimed.error().kind == ControlInstanceError::Kind::AlreadyRunning ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(ControlServerTest, OneInstanceHoldsThePlaceAndACrashLeavesNothingInTheWay)
{
    struct stat status{};
    const QByteArray socket = QFile::encodeName(m_paths.controlSocket());
    ASSERT_EQ(::stat(socket.constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);

    EXPECT_TRUE(isTakenForAnotherProcess(m_paths));

    // What a crash leaves: a socket that nobody listens on.
    TestHome crashed;
    const auto paths = crashed.paths();
    QDir().mkpath(paths.runtimeDir);
    QFile::setPermissions(paths.runtimeDir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    {
        const auto folder = ControlAddress::openFolder(paths.runtimeDir.toStdString());
        const auto dead = ControlAddress::listenIn(folder);
        ASSERT_TRUE(dead);
    }
    ASSERT_TRUE(QFileInfo::exists(paths.controlSocket()));
    EXPECT_FALSE(ControlAddress::connectTo(ControlAddress::openFolder(paths.runtimeDir.toStdString())));
    {
        const auto next = ControlInstance::claim(paths);
        ASSERT_TRUE(next);
        EXPECT_TRUE(ControlAddress::connectTo(ControlAddress::openFolder(paths.runtimeDir.toStdString())));
    }
    EXPECT_FALSE(QFileInfo::exists(paths.controlSocket()));

    QFile::setPermissions(paths.runtimeDir, QFile::Permissions(0x7755));
    EXPECT_FALSE(ControlAddress::openFolder(paths.runtimeDir.toStdString())) << "open to others";
}

TEST_F(ControlServerTest, ALongHomeFolderIsNoObstacle)
{
    const auto paths = KeelhavenPaths::forHome(m_home.path(QString(120, u'h')));
    const auto instance = ControlInstance::claim(paths);
    ASSERT_TRUE(instance) << instance.error().message().toStdString();
    EXPECT_TRUE(ControlAddress::connectTo(ControlAddress::openFolder(paths.runtimeDir.toStdString())));
}

} // namespace Keelhaven
