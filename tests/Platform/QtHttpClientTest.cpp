#include "Platform/QtHttpClient.h"

#include "Support/VirtualClock.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = HttpError::Kind;

/// Answers every request on 127.0.0.1 with the same bytes; with none it never answers.
class LocalServer
{
public:
    explicit LocalServer(const QByteArray &answer, bool closesAfter = true)
    {
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [=, this] {
            QTcpSocket *socket = m_server.nextPendingConnection();
            ++connections;
            QObject::connect(socket, &QTcpSocket::disconnected, socket, [this, socket] {
                ++hangUps;
                socket->deleteLater();
            });
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [=, this] {
                received += socket->readAll();
                if (!received.contains("\r\n\r\n") || answer.isEmpty())
                    return;
                socket->write(answer);
                if (closesAfter)
                    socket->disconnectFromHost();
            });
        });
    }

    [[nodiscard]] HttpRequest request(const QString &path = u"/"_s) const
    {
        HttpRequest request;
        request.url = QUrl(u"http://127.0.0.1:%1%2"_s.arg(m_server.serverPort()).arg(path));
        request.timeout = 20s;
        return request;
    }

    QByteArray received;
    int connections = 0;
    int hangUps = 0;

private:
    QTcpServer m_server;
};

QByteArray answer(const QByteArray &status, const QByteArray &body, const QByteArray &headers = {})
{
    return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + QByteArray::number(body.size()) +
           "\r\n\r\n" + body;
}

Kind errorKind(QtHttpClient &client, const HttpRequest &request)
{
    const auto outcome = await(client.send(request));
    EXPECT_FALSE(outcome);
    if (outcome)
        return Kind(-1);
    EXPECT_FALSE(outcome.error().message().contains(u"secret"_s)) << outcome.error().message().toStdString();
    EXPECT_FALSE(outcome.error().message().isEmpty());
    return outcome.error().kind;
}

TEST(QtHttpClient, EveryStatusIsAnAnswerWithItsBody)
{
    QtHttpClient client;
    for (const char *status : {"200 OK", "204 No Content", "302 Found", "400 Bad Request", "401 Unauthorized",
                               "403 Forbidden", "404 Not Found", "407 Proxy Authentication Required",
                               "418 Teapot", "429 Too Many Requests", "500 Broken", "503 Busy"}) {
        const bool isEmpty = QByteArray(status).startsWith("204");
        const LocalServer server(
            answer(status, isEmpty ? "" : "<html>text",
                   "Location: /other\r\nX-Kind: a\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"
                   "WWW-Authenticate: Bearer\r\nProxy-Authenticate: Basic realm=\"x\"\r\n"));
        const auto outcome = await(client.send(server.request(u"/first?secret=1"_s)));
        ASSERT_TRUE(outcome) << status << ": " << outcome.error().message().toStdString();
        EXPECT_EQ(outcome->status, QByteArray(status).left(3).toInt());
        EXPECT_EQ(outcome->body, isEmpty ? "" : "<html>text") << status;
        EXPECT_EQ(outcome->header("x-kind"), "a");
        EXPECT_EQ(server.received.count("HTTP/1.1"), 1) << status << " is followed by nothing";
    }
}

TEST(QtHttpClient, SendsWhatItIsGivenAndNothingItRemembers)
{
    QtHttpClient client;
    LocalServer server(answer("200 OK", "", "Set-Cookie: a=b\r\n"));
    HttpRequest request = server.request(u"/a%2Fb?q=1"_s);
    request.method = "POST";
    request.body = "{\"a\":1}";
    request.headers = {{"Content-Type", "application/json"}, {"Authorization", "Bearer t"}};
    ASSERT_TRUE(await(client.send(request)));
    EXPECT_TRUE(server.received.startsWith("POST /a%2Fb?q=1 HTTP/1.1\r\n"));
    EXPECT_TRUE(server.received.endsWith("\r\n\r\n{\"a\":1}"));
    EXPECT_TRUE(server.received.contains("\r\nAuthorization: Bearer t\r\n"));
    EXPECT_FALSE(server.received.contains("Mozilla"));

    server.received.clear();
    ASSERT_TRUE(await(client.send(server.request())));
    EXPECT_FALSE(server.received.toLower().contains("cookie")) << server.received.toStdString();
    EXPECT_FALSE(server.received.toLower().contains("authorization"));
}

TEST(QtHttpClient, EveryExchangeEndsInTime)
{
    QtHttpClient client;
    const QByteArray cases[] = {"", "HTTP/1.1 200 OK\r\n", answer("200 OK", "cut").replace(": 3", ": 9")};
    for (const QByteArray &bytes : cases) {
        LocalServer server(bytes, false);
        HttpRequest request = server.request();
        request.timeout = 150ms;
        EXPECT_EQ(errorKind(client, request), Kind::TimedOut) << bytes.toStdString();
        // On a machine that has no time for us the exchange may end before it is connected.
        EXPECT_TRUE(waitUntil([&] { return server.hangUps == server.connections; }))
            << "a timed-out exchange is hung up";
    }
}

TEST(QtHttpClient, WhatIsNoAnswerIsAnError)
{
    QtHttpClient client;
    const QString path = u"/secret?token=secret"_s;
    const HttpRequest toNobody = LocalServer("").request(path);
    const auto refused = client.send(toNobody);
    EXPECT_TRUE(refused.isReady()) << "nobody there: known at once, with no network thread";
    EXPECT_EQ(errorKind(client, toNobody), Kind::Unreachable) << "refused";
    for (const QByteArray foreign : {"garbage\r\n\r\n", "SSH-2.0-server\r\n", "\x15\x03\x01", "\r\n"})
        EXPECT_EQ(errorKind(client, LocalServer(foreign).request(path)), Kind::NotHttp)
            << foreign.constData();
    EXPECT_EQ(errorKind(client, LocalServer(answer("200 OK", "cut").replace(": 3", ": 9")).request(path)),
              Kind::Unreachable);
    for (const QString &text : {u"file:///etc/passwd"_s, u"http:///x"_s, QString(), u"ftp://127.0.0.1/"_s}) {
        HttpRequest request;
        request.url = QUrl(text);
        EXPECT_EQ(errorKind(client, request), Kind::Unreachable) << text.toStdString();
    }
    const LocalServer server(answer("200 OK", ""));
    HttpRequest request = server.request();
    request.headers = {{"Authorization", "secret\r\nHost: elsewhere"}};
    EXPECT_EQ(errorKind(client, request), Kind::Unreachable);
    EXPECT_EQ(server.received, "");
}

TEST(QtHttpClient, ABodyOfExactlyTheLimitIsTakenAndNoLongerOne)
{
    QtHttpClient client;
    const QByteArray body(1000, 'x');
    const QByteArray withoutLength = "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + body;
    for (const QByteArray &bytes : {answer("200 OK", body), withoutLength}) {
        const LocalServer server(bytes);
        HttpRequest request = server.request();
        request.bodyLimit = 1000;
        const auto outcome = await(client.send(request));
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->body.size(), 1000);
        request.bodyLimit = 999;
        EXPECT_EQ(errorKind(client, request), Kind::TooLarge);
    }
}

QCoro::Task<> sendAndTell(QtHttpClient *client, HttpRequest request, std::optional<Kind> *told)
{
    const auto outcome = co_await client->send(request);
    if (!outcome)
        *told = outcome.error().kind;
}

TEST(QtHttpClient, CloseEndsTheWaitsAndSendsNothingMore)
{
    QtHttpClient client;
    const LocalServer server("");
    std::optional<Kind> told;
    const auto running = sendAndTell(&client, server.request(), &told);
    ASSERT_TRUE(waitUntil([&] { return !server.received.isEmpty(); }));
    EXPECT_FALSE(told);
    client.close();
    EXPECT_EQ(told, Kind::Closed);
    EXPECT_EQ(errorKind(client, server.request()), Kind::Closed);
}

} // namespace
} // namespace Keelhaven
