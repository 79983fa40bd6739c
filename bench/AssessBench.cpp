// Assessing 20 live runs against the shared event log, with 100 and with 100,000 events of sessions that are
// none of ours.

#include "Platform/Uuid.h"
#include "Ratio.h"
#include "Scheduler/Model/RunMatcher.h"

#include <benchmark/benchmark.h>
#include <cmath>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;

constexpr int runs = 20;
constexpr int eventsOfRun = 30;
constexpr double month = 2592000;
constexpr double now = 1772600707;
/// The runs began this long ago.
constexpr double running = 1800;

EventRecord event(double ts, const QString &type, const QString &session, const QString &cwd,
                  const std::optional<QUuid> &run = {})
{
    JSONObject object{{u"ts"_s, ts},
                      {u"type"_s, type},
                      {u"provider"_s, u"claude"_s},
                      {u"session_id"_s, session},
                      {u"cwd"_s, cwd}};
    if (run)
        object.set(u"run_id"_s, uuidText(*run));
    return EventRecord::fromJSON(std::move(object));
}

QString sessionOf(int run)
{
    return u"own-%1"_s.arg(run);
}

RunMatcher::RunKey keyOf(int run, const QUuid &id)
{
    RunMatcher::RunKey key;
    key.runID = id;
    key.launchRunID = id;
    key.cwd = u"/home/user/projects/own-%1"_s.arg(run);
    key.startedAt = dateFromSeconds(now - running);
    return key;
}

struct World
{
    QList<RunMatcher::RunKey> keys;
    EventList events;
};

enum class Strangers { AllMonth, AtOnce };

/// The events of 20 runs among those of others, by time: others spread over the whole month, or all at work
/// now.
World world(int others, Strangers strangers)
{
    World made;
    QList<EventRecord> all;
    for (int run = 0; run < runs; ++run) {
        made.keys.append(keyOf(run, QUuid::createUuid()));
        for (int i = 0; i < eventsOfRun; ++i) {
            const QString type = i == 0                 ? u"SessionStart"_s
                                 : i + 1 == eventsOfRun ? u"Stop"_s
                                                        : u"PostToolUse"_s;
            all.append(event(now - running + 1 + i * (running - 60) / eventsOfRun, type, sessionOf(run),
                             made.keys.last().cwd, made.keys.last().runID));
        }
    }
    const double span = strangers == Strangers::AtOnce ? running : month;
    for (int i = 0; i < others; ++i) {
        const QString session = u"other-%1"_s.arg(i / 25);
        all.append(event(now - span * (others - i) / others,
                         i % 25 == 0 ? u"SessionStart"_s : u"PostToolUse"_s, session,
                         u"/home/user/projects/other-%1"_s.arg(i / 25 % 40)));
    }
    std::ranges::stable_sort(all, {}, &EventRecord::ts);
    // As the tailer does, one by one.
    for (const auto &each : all)
        made.events.append(each);
    return made;
}

/// What one new event costs the engine: every live run is assessed, each with the sessions of the others.
void assessAll(const World &made, bool sessionsKnown)
{
    for (int run = 0; run < runs; ++run) {
        RunMatcher::RunKey key = made.keys[run];
        QSet<QString> claimed;
        if (sessionsKnown) {
            key.sessionID = sessionOf(run);
            for (int other = 0; other < runs; ++other) {
                if (other != run)
                    claimed.insert(sessionOf(other));
            }
        }
        const auto found = RunMatcher::assess(key, made.events, claimed);
        if (!found.completed || found.capturedSessionID != sessionOf(run))
            std::abort();
        benchmark::DoNotOptimize(found);
    }
}

void measure(const char *name, Strangers strangers, bool sessionsKnown)
{
    const World few = world(100, strangers);
    const World many = world(100'000, strangers);
    std::vector<double> ratios;
    std::vector<double> times;
    for (int round = 0; round < 31; ++round) {
        const double small = Bench::milliseconds([&] { assessAll(few, sessionsKnown); });
        times.push_back(Bench::milliseconds([&] { assessAll(many, sessionsKnown); }));
        ratios.push_back(times.back() / small);
    }
    std::printf("%s: %.3f ms for %d runs beside 100,000 events of others\n", name, Bench::median(times),
                runs);
    Bench::printRatio(name, Bench::median(ratios), 1.5, Bench::Aim::AtMost);
}

} // namespace

int main()
{
    measure("assess-month-of-others", Strangers::AllMonth, true);
    measure("assess-others-at-once", Strangers::AtOnce, true);
    measure("assess-month-of-others-new-runs", Strangers::AllMonth, false);
    measure("assess-others-at-once-new-runs", Strangers::AtOnce, false);
    return 0;
}
