#include "Setup/UpdateChecker.h"

#include "Support/FakeHttpClient.h"
#include "Support/MemorySettings.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class UpdateTest : public ::testing::Test
{
protected:
    UpdateTest()
    {
        http.answer = [this](const HttpRequest &) { return outcome; };
        checker.openURL = [this](const QUrl &url) { opened.append(url.toString()); };
    }
    ~UpdateTest() override
    {
        checker.stop();
        clock.close();
        settle();
    }

    void publish(const QByteArray &version, const QByteArray &url = "https://releases.test/get")
    {
        outcome = FakeHttpClient::answered(200, R"({"version": ")" + version + R"(", "url": ")" + url +
                                                    R"(", "sha256": "00", "notes": []})");
    }
    /// The version that is shown after a check; empty for none.
    QString check(bool manual)
    {
        await(checker.check(manual));
        return checker.available() ? checker.available()->version : QString();
    }
    QString error()
    {
        await(checker.check(false));
        return checker.lastError().value_or(QString());
    }

    VirtualClock clock;
    Tasks tasks;
    MemorySettings settings;
    FakeHttpClient http;
    std::optional<FakeHttpClient::Outcome> outcome = FakeHttpClient::unreachable();
    URLSessionUpdateTransport transport{http};
    const UpdateChecker::Services services{transport,
                                           settings,
                                           clock,
                                           tasks,
                                           QUrl(u"https://releases.test/version.json"_s),
                                           QUrl(u"https://releases.test/"_s)};
    UpdateChecker checker{services, u"1.4"_s};
    QStringList opened;
};

} // namespace

TEST(AppVersionTest, ReadsNumbersAndComparesThemOneByOne)
{
    const auto text = [](const QString &from) {
        const auto version = AppVersion::parse(from);
        return version ? version->text() : u"none"_s;
    };
    EXPECT_EQ(text(u"v1.2.3 "_s), u"1.2.3");
    EXPECT_EQ(text(u"\n007\t"_s), u"7");
    for (const auto &wrong : {u""_s, u"v"_s, u" "_s, u"vv1"_s, u"1..2"_s, u"1."_s, u"1.2-beta"_s, u"1.-2"_s,
                              u"1. 2"_s, u"1,0"_s, u"99999999999999999999"_s})
        EXPECT_EQ(text(wrong), u"none") << wrong.toStdString();

    const auto order = [](const QString &left, const QString &right) {
        return *AppVersion::parse(left) <=> *AppVersion::parse(right);
    };
    EXPECT_TRUE(order(u"1.2"_s, u"1.2.0"_s) == 0);
    EXPECT_TRUE(*AppVersion::parse(u"2.0"_s) == *AppVersion::parse(u"2.0.0"_s));
    EXPECT_TRUE(order(u"1.10"_s, u"1.9"_s) > 0);
    EXPECT_TRUE(order(u"1.2"_s, u"1.2.0.1"_s) < 0);
}

TEST_F(UpdateTest, ASkippedVersionStaysSilentUntilTheNext)
{
    publish("1.5");
    EXPECT_EQ(check(false), u"1.5");
    EXPECT_EQ(checker.bannerText(), u"Keelhaven 1.5 is available — you're on 1.4.");
    checker.skip();
    EXPECT_EQ(settings.text(u"skippedUpdateVersion"_s), u"1.5");
    EXPECT_EQ(check(false), QString());
    EXPECT_EQ(check(true), u"1.5");
    EXPECT_EQ(checker.upToDateAs(), std::nullopt);
    publish("1.6");
    EXPECT_EQ(check(false), u"1.6");
    publish("1.4.0");
    EXPECT_EQ(check(false), QString());
    EXPECT_EQ(checker.latestText(), QString());
    EXPECT_EQ(check(true), QString());
    EXPECT_EQ(checker.latestText(), u"You're on the latest version (1.4).");
    clock.advance(3h);
    EXPECT_EQ(
        checker.caption(clock.now()),
        u"Checks on launch and every 6 hours while Keelhaven is open. Last checked 3 h ago. Skipping 1.5 "
        "until the next release.");
}

TEST_F(UpdateTest, AFailureLeavesWhatWasKnown)
{
    publish("2.0");
    EXPECT_EQ(check(false), u"2.0");
    const auto checkedAt = checker.lastCheckedAt();
    EXPECT_EQ(checkedAt, clock.now());
    EXPECT_EQ(settings.realOr(u"updateLastCheckedAt"_s, 0), secondsSince1970(clock.now()));
    clock.advance(1h);

    outcome = FakeHttpClient::answered(503);
    EXPECT_EQ(error(), u"Update check failed (HTTP 503)");
    outcome = FakeHttpClient::answered(301);
    EXPECT_EQ(error(), u"Update check failed (HTTP 301)");
    outcome = FakeHttpClient::unreachable();
    EXPECT_EQ(error(), u"no such server");
    publish("2.0-rc1");
    EXPECT_EQ(error(), u"Update check returned an unreadable version “2.0-rc1”");
    outcome = FakeHttpClient::answered(200, R"({"version": "3"})");
    EXPECT_TRUE(error().startsWith(u"url")) << error().toStdString();
    outcome = FakeHttpClient::answered(200, "<html>");
    EXPECT_FALSE(error().isEmpty());

    EXPECT_EQ(checker.lastCheckedAt(), checkedAt);
    EXPECT_EQ(checker.available()->version, u"2.0");
    EXPECT_FALSE(checker.checking());
    publish("2.0");
    EXPECT_EQ(error(), QString()) << "the next check begins with a clean slate";
    EXPECT_EQ(UpdateChecker(services, {}).lastCheckedAt(), clock.now());
    EXPECT_EQ(UpdateChecker(services, u"dev"_s).current(), AppVersion{{0}});
    EXPECT_EQ(UpdateChecker(services, {}).currentText(), u"0");
}

TEST_F(UpdateTest, ChecksAtOnceAndEverySixHoursUntilItIsStopped)
{
    publish("1.4");
    checker.start();
    checker.start();
    settle();
    EXPECT_EQ(http.requests.size(), 1);
    EXPECT_EQ(http.requests[0].timeout, 15s);
    EXPECT_EQ(http.requests[0].method, "GET");
    EXPECT_EQ(FakeHttpClient::header(http.requests[0], "cache-control"), "no-cache");
    clock.advance(6h - 1s);
    EXPECT_EQ(http.requests.size(), 1);
    clock.advance(12h);
    EXPECT_EQ(http.requests.size(), 3);
    checker.stop();
    clock.advance(24h);
    EXPECT_EQ(http.requests.size(), 3);

    outcome.reset();
    checker.start();
    checker.stop();
    checker.start();
    await(checker.check(true));
    EXPECT_EQ(http.requests.size(), 4) << "one check at a time";
    EXPECT_TRUE(checker.checking());
    http.finishPending(FakeHttpClient::unreachable());
    publish("1.4");
    clock.advance(6h);
    EXPECT_EQ(http.requests.size(), 5) << "one loop";
}

TEST_F(UpdateTest, OnlyWebPagesAreOpened)
{
    publish("2.0", "https://releases.test/2.0");
    check(false);
    EXPECT_TRUE(checker.openDownload());
    for (const QByteArray wrong : {"file:///etc/passwd", "keelhaven://scheduler/wake", "::", "https:", ""}) {
        publish("2.0", wrong);
        check(false);
        EXPECT_TRUE(checker.openDownload()) << wrong.constData();
    }
    EXPECT_EQ(opened.takeFirst(), u"https://releases.test/2.0");
    EXPECT_EQ(opened, QStringList(5, u"https://releases.test/"_s));
}

TEST_F(UpdateTest, ABuildWithoutAnEndpointAsksNobody)
{
    UpdateChecker::Services nowhere = services;
    nowhere.endpoint = QUrl();
    UpdateChecker untold(nowhere, u"1.4"_s);
    untold.start();
    await(untold.check(true));
    EXPECT_TRUE(http.requests.isEmpty());
    EXPECT_EQ(untold.lastError(), u"This build was not told where releases are announced.");
    EXPECT_EQ(clock.nextTimer(), std::nullopt);
}

} // namespace Keelhaven
