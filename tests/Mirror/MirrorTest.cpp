#include "Mirror/MirrorClient.h"
#include "Mirror/MirrorMonitor.h"

#include "Platform/Tasks.h"
#include "Support/FakeHttpClient.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Outcome = FakeHttpClient::Outcome;

QString told(const Result<MirrorReply, MirrorError> &reply)
{
    return reply ? reply->value.serialized() : u"error: "_s + reply.error().message();
}

QString told(const Result<void, MirrorError> &reply)
{
    return reply ? u"done"_s : u"error: "_s + reply.error().message();
}

class MirrorTest : public testing::Test
{
protected:
    void answer(const Outcome &outcome)
    {
        http.answer = [outcome](const HttpRequest &) { return outcome; };
    }

    FakeHttpClient http;
    MirrorClient client{http};
};

TEST_F(MirrorTest, AnswersBecomeValuesOrSentences)
{
    const std::pair<Outcome, QString> cases[] = {
        {FakeHttpClient::answered(200, R"({"ok": 1})"), u"{\"ok\": 1}"_s},
        {FakeHttpClient::answered(200, ""), u"null"_s},
        {FakeHttpClient::answered(200, "<html>"), u"null"_s},
        {FakeHttpClient::answered(500, R"({"error":"no such project"})"), u"error: no such project"_s},
        {FakeHttpClient::answered(500, "<html>"), u"error: HTTP 500"_s},
        {FakeHttpClient::answered(404, R"({"error": 7})"), u"error: HTTP 404"_s},
        {FakeHttpClient::answered(302), u"error: HTTP 302"_s},
        {FakeHttpClient::error(HttpError::Kind::NotHttp), u"error: no HTTP response"_s},
        {FakeHttpClient::unreachable(), u"error: no such server"_s},
    };
    for (const auto &[outcome, expected] : cases) {
        answer(outcome);
        EXPECT_EQ(told(await(client.call(MirrorMethod::GetView, {}))), expected);
        const QString change = told(await(client.refresh()));
        EXPECT_EQ(change, expected.startsWith(u"error"_s) ? expected : u"done"_s);
    }
    const HttpRequest &request = http.requests.first();
    EXPECT_EQ(request.method + ' ' + request.url.toEncoded() + ' ' + request.body,
              "POST http://127.0.0.1:8787/api/get_view {}");
    EXPECT_EQ(FakeHttpClient::header(request, "content-type"), "application/json");
    EXPECT_EQ(request.timeout, 5s);
}

TEST_F(MirrorTest, EachOperationSendsItsBody)
{
    answer(FakeHttpClient::answered(200, "{}"));
    const auto sent = [this] {
        const HttpRequest request = http.requests.takeLast();
        return request.url.path().section(u'/', -1) + u' ' + QString::fromUtf8(request.body);
    };
    const auto check = [&](MirrorClient::Answer<void> call, const char *expected) {
        EXPECT_EQ(told(await(std::move(call))), u"done"_s);
        EXPECT_EQ(sent(), QString::fromUtf8(expected));
    };
    const MirrorClient::LaunchDetails launch{u"t"_s, u"i"_s, u"a"_s, u"2026-01-02"_s, u"g"_s};
    check(client.pluginAction(u"install"_s, u"a@b"_s, u"project"_s, u"/w"_s),
          R"(plugin_action {"action": "install", "plugin_id": "a@b", "scope": "project", "cwd": "/w"})");
    check(client.pluginAction(u"install"_s, u"a@b"_s, u"user"_s),
          R"(plugin_action {"action": "install", "plugin_id": "a@b", "scope": "user"})");
    check(client.addMarketplace(u"o/r"_s), R"(add_marketplace {"source": "o/r"})");
    check(client.dismissReview(u"p"_s, u"x"_s), R"(dismiss_review {"project": "p", "text": "x"})");
    check(client.hideWorkReview(u"p"_s, u"i"_s), R"(hide_work_review {"project": "p", "id": "i"})");
    check(client.excludeRepo(u"s"_s), R"(exclude_repo {"slug": "s"})");
    check(client.includeRepo(u"s"_s), R"(include_repo {"slug": "s"})");
    check(client.includeProject(u"p"_s), R"(include_project {"project": "p"})");
    check(client.saveSettings({{u"local_roots"_s, JSONArray()}}), R"(save_settings {"local_roots": []})");
    check(client.renameProject(u"p"_s, u"d"_s), R"(rename_project {"project": "p", "display": "d"})");
    check(client.openTerminal(u"/w"_s), R"(open_terminal {"path": "/w"})");
    check(client.setProjectStatus(u"p"_s, u"s"_s), R"(set_project_status {"project": "p", "status": "s"})");
    check(client.saveVision(u"p"_s, u"v"_s), R"(save_vision {"project": "p", "text": "v"})");
    const QByteArray body =
        R"( {"project": "p", "type": "t", "title": "i", "action": "a", "target_date": "2026-01-02", "goals": "g"})";
    check(client.setActiveLaunch(u"p"_s, launch), "set_active_launch" + body);
    check(client.updateActiveLaunch(u"p"_s, launch), "update_active_launch" + body);
    check(client.pushbackLaunch(u"p"_s, u"n"_s, u"r"_s),
          R"(pushback_launch {"project": "p", "new_date": "n", "reason": "r"})");
    check(client.completeLaunch(u"p"_s, u"s"_s), R"(complete_launch {"project": "p", "status": "s"})");

    answer(FakeHttpClient::answered(200, R"({"jobs": [{"id": "j"}], "stale": true})"));
    EXPECT_EQ(await(client.pluginsView())->jobs.size(), 1);
    EXPECT_EQ(sent(), u"plugins_view {}"_s);
    EXPECT_TRUE(await(client.popularPlugins(true))->stale);
    EXPECT_EQ(sent(), u"popular_plugins {\"force\": true}"_s);
    EXPECT_EQ(mirrorVerb(MirrorMethod::DeleteSlot), u"delete_slot"_s);
}

TEST_F(MirrorTest, SettingsComeBackWithoutTokensAndGoOutWithNewOnes)
{
    answer(FakeHttpClient::answered(200, R"({"github": {"enabled": true, "token_set": true},
        "bitbucket": {"workspace": " w ", "email": "e\n", "enabled": "yes"}, "localgit": {"enabled": true},
        "local_roots": ["~/a", 7], "commit_window_days": 14, "hide_idle_local": false,
        "excluded_repos": ["r"], "excluded_projects": ["p"], "more": 1})"));
    const auto settings = await(client.getSettings());
    EXPECT_EQ(http.requests.last().url.path(), u"/api/get_settings");
    ASSERT_TRUE(settings);
    EXPECT_TRUE(settings->github.tokenSet);
    EXPECT_FALSE(settings->bitbucket.enabled || settings->bitbucket.tokenSet);
    EXPECT_EQ(settings->excludedRepos + settings->excludedProjects, (QStringList{u"r"_s, u"p"_s}));
    EXPECT_EQ(
        JSONValue(settings->saveBody({u"  "_s, u" t "_s})).serialized(),
        u"{\"github\": {\"enabled\": true}, "
        "\"bitbucket\": {\"enabled\": false, \"workspace\": \"w\", \"email\": \"e\", \"token\": \"t\"}, "
        "\"localgit\": {\"enabled\": true}, \"local_roots\": [\"~/a\"], "
        "\"commit_window_days\": 14, \"hide_idle_local\": false}"_s);
    answer(FakeHttpClient::answered(200, ""));
    const auto unsaid = await(client.getSettings());
    EXPECT_EQ(unsaid, ServiceSettings());
    EXPECT_EQ(unsaid->saveBody({}).find(u"commit_window_days"), nullptr)
        << "what was not told is not made up";
    answer(FakeHttpClient::answered(500));
    EXPECT_FALSE(await(client.getSettings()));
}

TEST_F(MirrorTest, OnlyAViewIsTheService)
{
    QByteArray large = R"({"projects": [], "more": ")" + QByteArray(100'000, 'x');
    const std::pair<Outcome, MirrorState> cases[] = {
        {FakeHttpClient::answered(200, R"({"projects": []})"), MirrorState::live(false)},
        {FakeHttpClient::answered(200, large + "\"}"), MirrorState::live(false)},
        {FakeHttpClient::answered(200, large), MirrorState::foreign()},
        {FakeHttpClient::answered(200, R"({"projects": {}})"), MirrorState::foreign()},
        {FakeHttpClient::answered(200, R"([])"), MirrorState::foreign()},
        {FakeHttpClient::answered(404, R"({"projects": []})"), MirrorState::foreign()},
        {FakeHttpClient::error(HttpError::Kind::TooLarge), MirrorState::foreign()},
        {FakeHttpClient::error(HttpError::Kind::NotHttp), MirrorState::foreign()},
        {FakeHttpClient::error(HttpError::Kind::TimedOut), MirrorState::down()},
        {FakeHttpClient::unreachable(), MirrorState::down()},
    };
    const MirrorProbe probe(http, client.baseURL());
    for (const auto &[outcome, expected] : cases) {
        answer(outcome);
        EXPECT_EQ(await(probe.probe()), expected) << &outcome - &cases[0].first;
    }
    EXPECT_EQ(http.requests.first().url.toString(), u"http://127.0.0.1:8787/api/view"_s);
    EXPECT_EQ(http.requests.first().method, "GET");
    EXPECT_EQ(http.requests.first().timeout, 1500ms);
}

TEST_F(MirrorTest, TheStateIsLookedAtEveryHalfMinute)
{
    VirtualClock clock;
    Tasks tasks;
    MirrorMonitor monitor(MirrorProbe(http, client.baseURL()), clock, tasks);
    QStringList heard;
    QObject::connect(&monitor, &MirrorMonitor::changed, &monitor, [&] {
        heard.append(MirrorTexts::mutationHint(monitor.state()).first(4 * !monitor.canMutate()));
    });
    EXPECT_FALSE(monitor.probed());
    monitor.start();
    monitor.start();
    EXPECT_TRUE(monitor.probed());
    EXPECT_EQ(http.requests.size(), 1);
    answer(FakeHttpClient::answered(200, R"({"projects": []})"));
    clock.advance(30s);
    EXPECT_TRUE(monitor.canMutate()) << "whoever runs the service";
    EXPECT_TRUE(monitor.mirroringForeignDashboard());
    monitor.isBridgeRunning = [] { return true; };
    clock.advance(30s);
    EXPECT_EQ(monitor.state(), MirrorState::live(true));
    EXPECT_FALSE(monitor.mirroringForeignDashboard());
    clock.advance(30s);
    answer(FakeHttpClient::answered(404));
    clock.advance(30s);
    EXPECT_EQ(heard, (QStringList{u"Read"_s, QString(), QString(), u"Port"_s}));
    monitor.stop();
    clock.advance(5min);
    EXPECT_EQ(http.requests.size(), 5);
}

TEST_F(MirrorTest, ALateAnswerDoesNotUndoALaterLook)
{
    VirtualClock clock;
    Tasks tasks;
    MirrorMonitor monitor(MirrorProbe(http, client.baseURL()), clock, tasks);
    http.answer = [](const HttpRequest &) { return std::nullopt; };
    tasks.spawn(monitor.probe(), "hanging");
    answer(FakeHttpClient::answered(200, R"({"projects": []})"));
    await(monitor.probe());
    EXPECT_TRUE(monitor.canMutate());
    http.finishPending(FakeHttpClient::error(HttpError::Kind::TimedOut));
    EXPECT_EQ(tasks.running(), 0);
    EXPECT_TRUE(monitor.canMutate());
}

TEST(MirrorTextsTest, HintsFollowTheStateAndTheFailure)
{
    EXPECT_EQ(MirrorTexts::mutationHint(MirrorState::live(false), u"x"_s), QString());
    EXPECT_EQ(MirrorTexts::mutationHint(MirrorState::foreign(), u"x"_s),
              u"Port 8787 is occupied by another process — editing is unavailable."_s);
    EXPECT_EQ(MirrorTexts::mutationHint(MirrorState::down(), u"x"_s), u"Service failed: x"_s);
    EXPECT_EQ(MirrorTexts::mutationHint(MirrorState::down()),
              u"Read-only — start the project analysis service (or the web dashboard) to make changes."_s);
}

} // namespace
} // namespace Keelhaven
