// A round of the queue that asks the usage gate, with the CLI's own file as it grows over months and
// unchanged since the last round, beside parsing that file once.

#include "Ratio.h"
#include "Scheduler/EngineFixture.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

constexpr qsizetype fileSize = 5 * 1024 * 1024;
constexpr int pumps = 100;

JSONValue project(int number)
{
    JSONArray history;
    for (int i = 0; i < 100; ++i) {
        JSONObject entry{
            {u"display"_s,
             u"fix the \"%1\" test, then tidy up /srv/work/%2 – see the log\n%3"_s.arg(i).arg(number).arg(
                 u"at line 12: expected 3, got 4\n"_s.repeated(i % 7))},
            {u"pastedContents"_s, JSONObject()}};
        history.emplace_back(std::move(entry));
    }
    return JSONObject{{u"allowedTools"_s, JSONArray{JSONValue(u"Bash(git diff:*)"_s), JSONValue(u"Read"_s)}},
                      {u"history"_s, std::move(history)},
                      {u"mcpServers"_s, JSONObject()},
                      {u"hasTrustDialogAccepted"_s, true},
                      {u"projectOnboardingSeenCount"_s, number % 5},
                      {u"lastCost"_s, 0.37 * number},
                      {u"lastAPIDuration"_s, 81234 + number},
                      {u"lastTotalInputTokens"_s, 40100 + number},
                      {u"lastSessionId"_s, uuidText(QUuid::createUuid())}};
}

/// The meters stand between the account and the projects, over the usual cap.
QByteArray cliFile(Date fetchedAt)
{
    const auto limit = [&](const QString &kind, int percent, Span left) {
        return JSONValue(JSONObject{{u"kind"_s, kind},
                                    {u"percent"_s, percent},
                                    {u"resets_at"_s, isoText(fetchedAt + left)},
                                    {u"is_active"_s, true}});
    };
    const JSONObject utilization{
        {u"limits"_s, JSONArray{limit(u"session"_s, 60, 2h), limit(u"weekly_all"_s, 20, 84h)}}};
    const JSONObject cached{{u"fetchedAtMs"_s, qint64(secondsSince1970(fetchedAt) * 1000)},
                            {u"utilization"_s, utilization}};
    JSONObject projects;
    QByteArray bytes;
    for (int number = 0; bytes.size() < fileSize; number += 20) {
        for (int i = number; i < number + 20; ++i)
            projects.set(u"/srv/work/project-%1"_s.arg(i), project(i));
        bytes = JSONValue(JSONObject{{u"numStartups"_s, 812},
                                     {u"theme"_s, u"dark"_s},
                                     {u"cachedChangelog"_s, u"- Fixed a bug\n"_s.repeated(4000)},
                                     {u"cachedUsageUtilization"_s, cached},
                                     {u"projects"_s, projects}})
                    .encodedPretty();
    }
    return bytes;
}

bool isHeld(const SchedulerEngine &engine)
{
    return engine.queued().size() == 1 && engine.queued().first().holdReason;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    EngineWorld world;
    // Old enough to be projected.
    const QByteArray file = cliFile(world.clock.now() - 10min);
    world.home.write(u".claude.json"_s, file);
    world.usage.tokensBetween = [](Date, Date) -> qint64 { return 1000; };
    world.engine->start();
    world.engine->enqueue(world.slot(u"nightly"_s), RunTrigger::Scheduled);
    if (!waitUntil([&] { return isHeld(*world.engine); })) {
        std::fprintf(stderr, "the gate did not hold the run\n");
        return 1;
    }
    std::vector<double> ratios;
    double pumpTime = 0;
    double parseTime = 0;
    for (int round = 0; round < 15; ++round) {
        const double own = Bench::milliseconds([&] {
            for (int i = 0; i < pumps; ++i)
                world.engine->reconsiderHeld();
        });
        const double peer = Bench::milliseconds(
            [&] { benchmark::DoNotOptimize(UsageSnapshot::parse(QByteArrayView(file))); });
        ratios.push_back(own / pumps / peer);
        pumpTime = own / pumps;
        parseTime = peer;
    }
    if (!isHeld(*world.engine))
        return 1;
    std::printf("pump %.4f ms, parsing %.2f ms\n", pumpTime, parseTime);
    Bench::printRatio("pump-with-5-MB-claude-json-unchanged", Bench::median(ratios), 0.1, Bench::Aim::AtMost);
    return 0;
}
