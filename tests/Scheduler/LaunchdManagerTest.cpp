#include "Scheduler/LaunchdManager.h"

#include "Platform/Files.h"
#include "Platform/Tasks.h"
#include "Scheduler/LaunchctlJobManager.h"
#include "Support/FakeProcessRunner.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

const Calendar utc{QTimeZone::utc()};

SchedulerSlot agent(const decltype(ScheduleSpec::rule) &rule)
{
    SchedulerSlot slot;
    slot.enabled = true;
    slot.schedule.rule = rule;
    return slot;
}

std::string shown(const QList<CalendarEntry> &entries)
{
    QStringList texts;
    for (const auto &entry : entries) {
        QStringList pairs;
        for (const auto &[name, value] : entry.asKeyValueRange())
            pairs.append(name.left(2) + QString::number(value));
        texts.append(pairs.join(u','));
    }
    return texts.join(u' ').toStdString();
}

std::string entriesOf(const QList<SchedulerSlot> &slotList)
{
    return shown(LaunchdManager::calendarEntries(slotList, utc));
}

TEST(LaunchdManager, EntriesOfEachSchedule)
{
    using Spec = ScheduleSpec;
    EXPECT_EQ(entriesOf({agent(Spec::Daily{{{17, 30}, {9, 0}}})}), "Ho17,Mi30 Ho9,Mi0");
    EXPECT_EQ(entriesOf({agent(Spec::Weekly{{7, 1, 2}, {{9, 5}, {8, 0}}})}),
              "Ho8,Mi0,We0 Ho9,Mi5,We0 Ho8,Mi0,We1 Ho9,Mi5,We1 Ho8,Mi0,We6 Ho9,Mi5,We6");
    EXPECT_EQ(entriesOf({agent(Spec::EveryHours{5, Spec::DayWindow{9, 17}})}), "Ho9,Mi0 Ho14,Mi0");
    EXPECT_EQ(entriesOf({agent(Spec::Once{Date(std::chrono::seconds(1772600707))})}), "Da4,Ho5,Mi5,Mo3");
    EXPECT_EQ(entriesOf({agent(Spec::Daily{{{24, 0}, {9, 60}}}), agent(Spec::Weekly{{0, 8}, {{9, 0}}})}), "")
        << "times that no clock shows would spoil the job";
}

TEST(LaunchdManager, OnlyAgentsThatFireByThemselvesAndEachMomentOnce)
{
    const auto nine = agent(ScheduleSpec::Daily{{{9, 0}}});
    auto captain = agent(ScheduleSpec::Daily{{{10, 0}}});
    captain.captainDecides = true;
    auto codex = agent(ScheduleSpec::Daily{{{11, 0}}});
    codex.provider = AgentProvider::Codex;
    auto disabled = agent(ScheduleSpec::Daily{{{12, 0}}});
    disabled.enabled = false;
    EXPECT_EQ(entriesOf({nine, captain, codex, disabled, nine, agent(ScheduleSpec::Daily{{{8, 0}, {9, 0}}})}),
              "Ho9,Mi0 Ho8,Mi0");
}

TEST(LaunchdManager, PropertyList)
{
    EXPECT_FALSE(LaunchdManager::plistData(u"l"_s, {}));
    const auto data = LaunchdManager::plistData(u"a&b"_s, {{{u"Hour"_s, 9}, {u"Minute"_s, 0}}}).value();
    EXPECT_TRUE(data.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>")) << data.constData();
    for (const char *part :
         {"<plist version=\"1.0\">", "<string>a&amp;b</string>", "<string>/usr/bin/open</string>",
          "<string>-g</string>", "<string>keelhaven://scheduler/wake</string>", "<key>RunAtLoad</key>",
          "<false/>", "<key>Hour</key>", "<integer>9</integer>"})
        EXPECT_TRUE(data.contains(part)) << part << " in " << data.constData();
}

TEST(LaunchctlJobManager, TheJobFollowsItsEntries)
{
    const TestHome home;
    FakeProcessRunner processes; // launchctl is not there, which changes nothing
    LaunchctlJobManager jobs(processes, home.path(u"Library/LaunchAgents"_s));
    const QString file = home.path(u"Library/LaunchAgents/job.plist"_s);
    const QString domain = u"gui/%1"_s.arg(::getuid());
    const QString bootout = u"/bin/launchctl bootout "_s + domain + u"/job"_s;
    const QString bootstrap = u"/bin/launchctl bootstrap "_s + domain + u' ' + file;
    const auto schedule = [&](const QList<CalendarEntry> &entries) {
        await(jobs.schedule(u"job"_s, entries));
        QStringList lines;
        for (const auto &spec : std::exchange(processes.runs, {}))
            lines.append(spec.program + u' ' + spec.arguments.join(u' '));
        return lines;
    };
    const QList<CalendarEntry> nine{{{u"Hour"_s, 9}, {u"Minute"_s, 0}}};
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(schedule(nine), (QStringList{bootout, bootstrap}));
        EXPECT_EQ(readFile(file).value(), LaunchdManager::plistData(u"job"_s, nine));
        EXPECT_EQ(schedule({}), QStringList{bootout});
        EXPECT_FALSE(QFile::exists(file));
    }
    home.write(u"Library/LaunchAgents/job.plist/in-the-way"_s, "");
    EXPECT_EQ(schedule(nine), QStringList()) << "a job that cannot be written is not loaded";
}

/// Remembers what was scheduled; each call waits until it is let go.
class SlowJobManager : public JobManager
{
public:
    QStringList calls;
    QList<OneShot<bool>> waiting;

    QCoro::Task<> schedule(QString label, QList<CalendarEntry> entries) override
    {
        calls.append(label + u": "_s + QString::fromStdString(shown(entries)));
        OneShot<bool> done;
        waiting.append(done);
        static_cast<void>(co_await done);
    }
};

TEST(LaunchdManager, TheLastOfOverlappingSyncsStands)
{
    SlowJobManager jobs;
    Tasks tasks;
    auto manager = std::make_unique<LaunchdManager>(jobs, u"job"_s, [] { return utc; });
    for (const int hour : {7, 8, 9})
        tasks.spawn(manager->sync({agent(ScheduleSpec::Daily{{{hour, 0}}})}), "sync");
    jobs.waiting.takeFirst().resolve(true);
    jobs.waiting.takeFirst().resolve(true);
    EXPECT_EQ(jobs.calls, (QStringList{u"job: Ho7,Mi0"_s, u"job: Ho9,Mi0"_s}));
    EXPECT_EQ(tasks.running(), 0);
    tasks.spawn(manager->sync({}), "sync");
    EXPECT_EQ(jobs.calls.last(), u"job: "_s) << "no agent, no job";
    manager.reset();
    jobs.waiting.takeFirst().resolve(true);
    EXPECT_EQ(tasks.running(), 0);
}

} // namespace
} // namespace Keelhaven
