#include "Platform/Tasks.h"
#include "Scheduler/Usage/ClaudeUsageAPI.h"
#include "Support/FakeHttpClient.h"
#include "Support/MemorySecrets.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

// The live fetch: Claude Code's sign-in, the copy of it, and the usage endpoint.
namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

const QByteArray meters = R"({"limits":[{"kind":"session","percent":37.5,"is_active":true}]})";
const QString service = u"com.keelhaven.claude-usage-token"_s;

class ClaudeUsageTest : public testing::Test
{
protected:
    void signIn(const QByteArray &token, Span validFor = 1h) const
    {
        const auto end = qint64(secondsSince1970(clock.now() + validFor) * 1000);
        home.write(u".claude/.credentials.json"_s, R"({"claudeAiOauth":{"accessToken":")" + token +
                                                       R"(","expiresAt":)" + QByteArray::number(end) + "}}");
    }
    /// The service takes these tokens only.
    void take(const QByteArrayList &tokens)
    {
        http.answer = [tokens](const HttpRequest &request) {
            const QByteArray sent = FakeHttpClient::header(request, "Authorization");
            return tokens.contains(sent.mid(7)) ? FakeHttpClient::answered(200, meters)
                                                : FakeHttpClient::answered(401, "{}");
        };
    }
    [[nodiscard]] QByteArrayList sent() const
    {
        QByteArrayList tokens;
        for (const auto &request : http.requests)
            tokens.append(FakeHttpClient::header(request, "Authorization"));
        return tokens;
    }
    [[nodiscard]] std::optional<UsageSnapshot> fetch() { return await(api->fetchFromAPI()); }
    [[nodiscard]] QString credentials() const { return home.path(u".claude/.credentials.json"_s); }

    TestHome home;
    VirtualClock clock;
    MemorySecrets secrets;
    KeychainStore keychain{secrets};
    FakeHttpClient http;
    ClaudeSignIn signInOfClaude{keychain, clock, home.paths().claudeSignInFile()};
    std::unique_ptr<ClaudeUsageAPI> api = std::make_unique<ClaudeUsageAPI>(http, signInOfClaude, clock);
};

TEST_F(ClaudeUsageTest, AsksTheEndpointWithTheSignInOfClaudeCode)
{
    signIn("token-a");
    take({"token-a"});
    const auto snapshot = fetch();
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->fetchedAt, clock.now());
    EXPECT_EQ(snapshot->meters.first().percent, 37);
    ASSERT_EQ(http.requests.size(), 1);
    const auto &request = http.requests.first();
    EXPECT_EQ(request.url.scheme(), u"https"_s);
    EXPECT_EQ(request.url.path(), u"/api/oauth/usage"_s);
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.timeout, 15s);
    EXPECT_EQ(FakeHttpClient::header(request, "Authorization"), "Bearer token-a");
    EXPECT_EQ(FakeHttpClient::header(request, "anthropic-beta"), "oauth-2025-04-20");
    EXPECT_EQ(FakeHttpClient::header(request, "anthropic-version"), "2023-06-01");
}

TEST_F(ClaudeUsageTest, ACopyServesUntilItExpiresAndTheFileIsNeverWritten)
{
    signIn("token-a", 1h);
    const QByteArray before = home.read(u".claude/.credentials.json"_s);
    take({"token-a", "token-b"});
    ASSERT_TRUE(fetch());
    EXPECT_EQ(home.read(u".claude/.credentials.json"_s), before);
    signIn("token-b", 2h);
    ASSERT_TRUE(fetch());

    // A new process has the stored copy only.
    ClaudeSignIn later(keychain, clock, home.paths().claudeSignInFile());
    EXPECT_EQ(await(later.token(ClaudeSignIn::Reread::No))->value, u"token-a"_s);
    clock.advance(1h);
    EXPECT_EQ(await(later.token(ClaudeSignIn::Reread::No))->value, u"token-b"_s) << "expired at this moment";
    ASSERT_TRUE(fetch());
    EXPECT_EQ(sent(), (QByteArrayList{"Bearer token-a", "Bearer token-a", "Bearer token-b"}));
    EXPECT_TRUE(secrets.secrets.value(service).contains(u"token-b"_s));
}

TEST_F(ClaudeUsageTest, ARefusedTokenIsReadOnceMore)
{
    signIn("token-a");
    take({});
    EXPECT_FALSE(fetch());
    EXPECT_EQ(sent(), (QByteArrayList{"Bearer token-a"})) << "the same token is not sent twice";

    signIn("token-b");
    http.requests.clear();
    take({"token-b"});
    EXPECT_TRUE(fetch());
    EXPECT_EQ(sent(), (QByteArrayList{"Bearer token-a", "Bearer token-b"}));

    signIn("token-c");
    http.requests.clear();
    take({});
    EXPECT_FALSE(fetch());
    EXPECT_EQ(sent(), (QByteArrayList{"Bearer token-b", "Bearer token-c"})) << "one more try, not more";

    QFile::remove(credentials());
    http.requests.clear();
    EXPECT_FALSE(fetch());
    EXPECT_EQ(http.requests.size(), 1);
    EXPECT_FALSE(secrets.secrets.contains(service)) << "signed out: no copy stays";
}

TEST_F(ClaudeUsageTest, WhatIsNoSignInIsNotSent)
{
    http.answer = [](const HttpRequest &) { return FakeHttpClient::answered(200, meters); };
    const QByteArray cases[] = {"",
                                "{",
                                "[]",
                                "null",
                                R"({"claudeAiOauth":[]})",
                                R"({"claudeAiOauth":{"accessToken":5}})",
                                R"({"claudeAiOauth":{"accessToken":""}})",
                                R"({"claudeAiOauth":{"accessToken":"a\r\nHost: b"}})",
                                R"({"claudeAiOauth":{"accessToken":"old","expiresAt":1}})",
                                R"({"claudeAiOauth":{"accessToken":")" + QByteArray(2'000'000, 'x') + "\"}}"};
    for (const QByteArray &text : cases) {
        home.write(u".claude/.credentials.json"_s, text);
        EXPECT_FALSE(fetch()) << text.left(60).toStdString();
    }
    secrets.secrets.insert(service, u"{\"value\":\"a\\nb\"}"_s);
    QFile::remove(credentials());
    EXPECT_FALSE(fetch());
    QDir().mkpath(credentials());
    EXPECT_FALSE(fetch());
    EXPECT_TRUE(http.requests.isEmpty());
    QDir(credentials()).removeRecursively();

    home.write(u".claude/.credentials.json"_s, R"({"claudeAiOauth":{"accessToken":"a","expiresAt":"soon"}})");
    EXPECT_TRUE(fetch()) << "an end that is not known is no end";
}

TEST_F(ClaudeUsageTest, WhatIsNoAnswerIsNoSnapshot)
{
    signIn("token-a");
    const FakeHttpClient::Outcome outcomes[] = {FakeHttpClient::answered(200, "<html>"),
                                                FakeHttpClient::answered(200, ""),
                                                FakeHttpClient::answered(200, "{}"),
                                                FakeHttpClient::answered(204),
                                                FakeHttpClient::answered(302),
                                                FakeHttpClient::answered(500, meters),
                                                FakeHttpClient::error(HttpError::Kind::Closed),
                                                FakeHttpClient::error(HttpError::Kind::TimedOut),
                                                FakeHttpClient::error(HttpError::Kind::TooLarge)};
    for (const auto &outcome : outcomes) {
        http.requests.clear();
        http.answer = [&](const HttpRequest &) { return outcome; };
        EXPECT_FALSE(fetch());
        EXPECT_EQ(http.requests.size(), 1) << "only a refused token is tried again";
    }
    http.answer = [](const HttpRequest &) { return FakeHttpClient::answered(403); };
    signIn("token-b");
    http.requests.clear();
    EXPECT_FALSE(fetch());
    EXPECT_EQ(sent(), (QByteArrayList{"Bearer token-a", "Bearer token-b"})) << "403 is a refusal like 401";
}

TEST_F(ClaudeUsageTest, WorksWithoutAPlaceForTheCopy)
{
    secrets.failing = SecretError{u"locked"_s};
    signIn("token-a");
    take({"token-a"});
    EXPECT_TRUE(fetch());
    EXPECT_TRUE(fetch());
}

TEST_F(ClaudeUsageTest, AnAnswerThatComesAfterItsEndIsDropped)
{
    signIn("token-a");
    http.answer = [](const HttpRequest &) { return std::nullopt; };
    Tasks tasks;
    const auto ask = [](ClaudeUsageAPI *asked) -> QCoro::Task<> {
        const auto snapshot = co_await asked->fetchFromAPI();
        EXPECT_FALSE(snapshot);
    };
    tasks.spawn(ask(api.get()), "fetch");
    ASSERT_TRUE(waitUntil([&] { return http.pending() == 1; }));
    api.reset();
    http.finishPending(FakeHttpClient::answered(200, meters));
    EXPECT_EQ(tasks.running(), 0);
}

} // namespace
} // namespace Keelhaven
