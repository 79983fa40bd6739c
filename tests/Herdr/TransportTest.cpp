#include "Herdr/HerdrClient.h"
#include "Herdr/HerdrSocketQueue.h"
#include "Herdr/UnixSocketTransport.h"
#include "ScriptedTransport.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"
#include "UnixServer.h"

#include <QSemaphore>
#include <atomic>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct HerdrTransportTest : ::testing::Test
{
    QTemporaryDir folder{u"/tmp/khXXXXXX"_s};
    QString path = folder.filePath(u"s"_s);

    /// What one exchange gives: the line, or the error's message.
    QString exchange(const UnixServer::Handler &handler, const QString &line = u"{}"_s,
                     Span timeout = 20s) const
    {
        const UnixServer server(path, {handler});
        EXPECT_TRUE(server.isListening);
        return told(UnixSocketTransport::exchange(path, line, timeout));
    }

    static QString told(const Result<QString, HerdrError> &answer)
    {
        return answer ? *answer : answer.error().message();
    }
};

} // namespace

TEST_F(HerdrTransportTest, SendsOneLineAndReadsOne)
{
    QByteArray request;
    const QString answer = exchange(
        [&request](UnixServer &, int connection) {
            request = UnixServer::readRequest(connection);
            UnixServer::send(connection, "{\"a\":");
            UnixServer::send(connection, "1}\n{\"second\":2}\n");
        },
        u"{\"ü\":1}"_s);
    EXPECT_EQ(request, "{\"ü\":1}");
    EXPECT_EQ(answer, u"{\"a\":1}");
}

TEST_F(HerdrTransportTest, ReadsAnswersLongerThanOneChunk)
{
    const QByteArray line(100'000, 'x');
    EXPECT_EQ(exchange(UnixServer::replying(line + '\n')).toUtf8(), line);
}

TEST_F(HerdrTransportTest, AnswersThatAreNoLine)
{
    EXPECT_EQ(exchange(UnixServer::replying("{\"half")), u"{\"half");
    QFile::remove(path);
    EXPECT_EQ(exchange(UnixServer::replying("")), u"empty response from Herdr");
    QFile::remove(path);
    EXPECT_EQ(exchange(UnixServer::replying("a\xff\n")), QString(u"a\uFFFD"_s));
    QFile::remove(path);
    const auto silent = [](UnixServer &, int connection) { UnixServer::drain(connection); };
    EXPECT_EQ(exchange(silent, u"{}"_s, 1900ms), u"timed out waiting for a Herdr response");
}

TEST_F(HerdrTransportTest, APeerThatGoesAwayWhileWritingIsAnError)
{
    const QString answer = exchange([](UnixServer &, int) {}, QString(8'000'000, u'x'));
    EXPECT_TRUE(answer.startsWith(u"write(): ")) << answer.toStdString();
}

TEST_F(HerdrTransportTest, TellsAMissingServerFromABadPath)
{
    const QString missing = folder.filePath(u"none"_s);
    const auto answer = UnixSocketTransport::exchange(missing, u"{}"_s, 1s);
    const Result<QString, HerdrError> unreachable =
        failure(HerdrError::unreachable(u"no Herdr server at "_s + missing));
    EXPECT_TRUE(answer == unreachable) << told(answer).toStdString();
    {
        const UnixServer stale(path, {});
    }
    EXPECT_TRUE(UnixSocketTransport::exchange(path, u"{}"_s, 1s).error().isUnreachable());

    const QString longest = folder.filePath(QString(107 - folder.path().size() - 1, u'l'));
    ASSERT_EQ(longest.size(), 107);
    path = longest;
    EXPECT_EQ(exchange(UnixServer::replying("ok\n")), u"ok");
    EXPECT_EQ(told(UnixSocketTransport::exchange(longest + u'l', u"{}"_s, 1s)),
              u"socket path too long: "_s + longest + u'l');
}

TEST_F(HerdrTransportTest, ExchangesOfTheProcessRunOneAtATime)
{
    QList<QByteArray> arrived;
    std::atomic<bool> overlapped = false;
    const auto handler = [&](UnixServer &server, int connection) {
        arrived.append(UnixServer::readRequest(connection));
        if (arrived.size() == 1 && server.hasWaitingClient(50))
            overlapped = true;
        UnixServer::send(connection, "ok\n");
    };
    const UnixServer server(path, {handler, handler, handler});
    UnixSocketTransport one(path);
    UnixSocketTransport two(path);
    std::atomic<int> posted = 0;
    auto first = one.roundTrip(u"1"_s, 20s);
    two.post(u"2"_s, 20s, [&posted] { ++posted; });
    const auto third = await(two.roundTrip(u"3"_s, 20s));
    EXPECT_EQ(told(third), u"ok");
    EXPECT_EQ(told(await(std::move(first))), u"ok");
    EXPECT_EQ(posted, 1);
    const QList<QByteArray> expected{"1", "2", "3"};
    EXPECT_EQ(arrived, expected);
    EXPECT_FALSE(overlapped);
}

TEST_F(HerdrTransportTest, QuittingWaitsForAnswersAndThenBreaksOff)
{
    QSemaphore arrived;
    QSemaphore gate;
    const UnixServer server(path, {UnixServer::replying("first\n"),
                                   [&](UnixServer &, int connection) {
                                       UnixServer::send(connection, "half");
                                       arrived.release();
                                       gate.acquire();
                                   },
                                   UnixServer::replying("later\n")});
    UnixSocketTransport transport(path);
    auto answered = transport.roundTrip(u"1"_s, 20s);
    EXPECT_TRUE(HerdrSocketQueue::finish(20s));
    EXPECT_EQ(told(await(std::move(answered))), u"first");

    auto hanging = transport.roundTrip(u"2"_s, 20s);
    auto behind = transport.roundTrip(u"3"_s, 20s);
    arrived.acquire();
    EXPECT_FALSE(HerdrSocketQueue::finish(1ms));
    EXPECT_TRUE(HerdrSocketQueue::finish(0ms)) << "nothing is left";
    EXPECT_EQ(told(await(std::move(hanging))), u"Keelhaven is quitting");
    EXPECT_EQ(told(await(std::move(behind))), u"Keelhaven is quitting");
    gate.release();
    EXPECT_EQ(told(await(transport.roundTrip(u"4"_s, 20s))), u"later") << "only what was there is broken off";
}

TEST_F(HerdrTransportTest, TheClientSaysWhatAnAnswerLacks)
{
    const auto call = [this](const QByteArray &answer) {
        const UnixServer server(path, {UnixServer::replying(answer)});
        const HerdrClient client(path);
        const auto result = await(client.call<Herdr::Pong>(Herdr::Method::ping, Herdr::NoParams()));
        QFile::remove(path);
        return result ? result->version : result.error().message();
    };
    EXPECT_EQ(call("{\"id\":\"other\",\"result\":{\"version\":\"0.9.1\",\"protocol\":22}}\n"), u"0.9.1");
    EXPECT_EQ(call("{}\n"), u"ping returned neither result nor error");
    EXPECT_EQ(call("{\"result\":{\"version\":\"1\",\"protocol\":1},\"error\":{\"code\":\"bad\",\"message\":"
                   "\"No\"}}\n"),
              u"No (bad)");
    EXPECT_EQ(call("{\"result\":{\"version\":\"1\"}}\n"),
              u"could not decode ping response: result.protocol: missing");
    EXPECT_TRUE(call("{\"result\":").startsWith(u"could not decode ping response: "));
}

TEST_F(HerdrTransportTest, TheClientSendsTheMethodWithItsTimeout)
{
    VirtualClock clock;
    const auto transport = std::make_shared<ScriptedTransport>(clock);
    transport->answers(Herdr::Method::paneClose, {ScriptedTransport::result(Herdr::Ack())});
    const HerdrClient client(transport);
    EXPECT_TRUE(await(client.call<Herdr::Ack>(Herdr::Method::paneClose, Herdr::PaneTarget{u"p1"_s})));
    EXPECT_TRUE(await(client.call<Herdr::Ack>(Herdr::Method::paneClose, Herdr::PaneTarget{u"p2"_s}, 75s)));
    ASSERT_EQ(transport->calls.size(), 2);
    EXPECT_EQ(transport->calls[0].text(u"pane_id"), u"p1");
    EXPECT_EQ(transport->calls[0].timeout, Span(15s));
    EXPECT_EQ(transport->calls[1].timeout, Span(75s));
}

} // namespace Keelhaven
