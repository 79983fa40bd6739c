#include "SessionHost/HostServer.h"

#include "SessionHost/HostClient.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QCoroTask>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// A client that speaks byte by byte. The server runs on this thread, so it is given its turn while one
/// waits.
class RawClient
{
public:
    explicit RawClient(const QString &path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.toUtf8().constData(), static_cast<size_t>(path.toUtf8().size()));
        EXPECT_EQ(::connect(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;
    ~RawClient() { ::close(m_socket); }

    void send(const QByteArray &bytes)
    {
        QByteArray left = bytes;
        EXPECT_TRUE(waitUntil([&] {
            const auto count = ::send(m_socket, left.constData(), static_cast<size_t>(left.size()),
                                      MSG_NOSIGNAL | MSG_DONTWAIT);
            left.remove(0, std::max<ssize_t>(count, 0));
            return left.isEmpty() || (count < 0 && errno == EPIPE);
        }));
    }
    void endInput() { ::shutdown(m_socket, SHUT_WR); }

    /// All that comes until the server hangs up.
    QByteArray receive()
    {
        QByteArray bytes;
        char chunk[65536];
        EXPECT_TRUE(waitUntil([&] {
            const auto count = ::recv(m_socket, chunk, sizeof chunk, MSG_DONTWAIT);
            bytes.append(chunk, std::max<ssize_t>(count, 0));
            return count == 0 || (count < 0 && errno == ECONNRESET);
        }));
        return bytes;
    }
    bool isHungUp()
    {
        char byte = 0;
        return ::recv(m_socket, &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
    }

private:
    int m_socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

QCoro::Task<QByteArray> echo(QByteArray line)
{
    co_return "<" + line + ">";
}

class HostServerTest : public ::testing::Test
{
protected:
    HostServerTest() { EXPECT_TRUE(server.listen(path, path + u".lock"_s)); }

    TestHome home;
    VirtualClock clock;
    QString path = home.path(u"host.sock"_s);
    HostServer server{echo, clock, HostServer::Limits{.lineLength = 100000, .idle = 30s, .connections = 4}};
};

} // namespace

TEST_F(HostServerTest, ALineInALineOut)
{
    struct stat info = {};
    ASSERT_EQ(::stat(path.toUtf8().constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);

    RawClient pieces(path);
    for (const char byte : QByteArray("abc\nignored\n"))
        pieces.send(QByteArray(1, byte));
    EXPECT_EQ(pieces.receive(), "<abc>\n");

    RawClient unfinished(path);
    unfinished.send("no line feed");
    unfinished.endInput();
    EXPECT_EQ(unfinished.receive(), "<no line feed>\n");

    RawClient silent(path);
    silent.endInput();
    EXPECT_EQ(silent.receive(), "");

    RawClient large(path);
    large.send(QByteArray(90000, 'x') + '\n');
    EXPECT_EQ(large.receive().size(), 90003);
    EXPECT_TRUE(waitUntil([&] { return server.connectionCount() == 0; }));
}

TEST_F(HostServerTest, NobodyHoldsUpTheOthers)
{
    RawClient flood(path);
    flood.send(QByteArray(300000, 'x'));
    EXPECT_TRUE(flood.receive().contains("request_too_large"));

    RawClient stalled(path);
    stalled.send("half");
    RawClient other(path);
    other.send("whole\n");
    EXPECT_EQ(other.receive(), "<whole>\n");
    EXPECT_FALSE(stalled.isHungUp());
    clock.advance(29s);
    EXPECT_FALSE(stalled.isHungUp());
    clock.advance(2s);
    EXPECT_TRUE(waitUntil([&] { return stalled.isHungUp(); }));
}

TEST_F(HostServerTest, TheOldestThatWaitsGoesWhenThereAreTooMany)
{
    std::vector<std::unique_ptr<RawClient>> waiting;
    for (int i = 0; i < 5; ++i) {
        waiting.push_back(std::make_unique<RawClient>(path));
        waiting.back()->send("x");
        ASSERT_TRUE(waitUntil([&] { return server.connectionCount() == std::min(i + 1, 4); }));
    }
    EXPECT_TRUE(waitUntil([&] { return waiting[0]->isHungUp(); }));
    for (size_t i = 1; i < waiting.size(); ++i) {
        waiting[i]->send("\n");
        EXPECT_EQ(waiting[i]->receive(), "<x>\n");
    }
}

TEST_F(HostServerTest, OneServerAPath)
{
    HostServer second(echo, clock, {});
    const auto refused = second.listen(path, path + u".lock"_s);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().contains(u"already answers"));
    // Somebody else's server, which knows nothing of the lock, is left alone, too.
    HostServer third(echo, clock, {});
    EXPECT_FALSE(third.listen(path, path + u".other-lock"_s));
    EXPECT_TRUE(QFile::exists(path));

    server.stopListening();
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(HostServerTest, ASocketThatWasTakenAwayIsMadeAgain)
{
    RawClient before(path);
    before.send("half");
    ASSERT_TRUE(waitUntil([&] { return server.connectionCount() == 1; }));
    ASSERT_EQ(::unlink(path.toUtf8().constData()), 0);
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(path); }));
    RawClient after(path);
    after.send("whole\n");
    EXPECT_EQ(after.receive(), "<whole>\n");
    before.send(" of it\n");
    EXPECT_EQ(before.receive(), "<half of it>\n");

    // What stands there instead is left alone.
    ASSERT_EQ(::unlink(path.toUtf8().constData()), 0);
    home.write(u"host.sock"_s, "data");
    settle();
    clock.advance(2s);
    EXPECT_EQ(home.read(u"host.sock"_s), "data");

    // The whole folder goes, and comes back.
    ASSERT_EQ(::rename(home.path().toUtf8().constData(), (home.path() + u"-away"_s).toUtf8().constData()), 0);
    settle();
    ASSERT_TRUE(QDir().mkpath(home.path()));
    EXPECT_FALSE(QFile::exists(path));
    ASSERT_TRUE(waitUntil([&] {
        clock.advance(2s);
        return QFile::exists(path);
    }));
    EXPECT_TRUE(QDir(home.path() + u"-away"_s).removeRecursively());
}

TEST(HostServerStart, ADeadSocketIsReplacedAndAFileIsNot)
{
    const TestHome home;
    VirtualClock clock;
    const QString path = home.path(u"host.sock"_s);
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.toUtf8().constData(), static_cast<size_t>(path.toUtf8().size()));
        const int dead = ::socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_EQ(::bind(dead, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        ::close(dead);
    }
    HostServer server(echo, clock, {});
    EXPECT_TRUE(server.listen(path, path + u".lock"_s));
    RawClient client(path);
    client.send("x\n");
    EXPECT_EQ(client.receive(), "<x>\n");

    const QString file = home.write(u"precious"_s, "data");
    HostServer other(echo, clock, {});
    EXPECT_FALSE(other.listen(file, file + u".lock"_s));
    EXPECT_EQ(home.read(u"precious"_s), "data");
}

} // namespace Keelhaven
