#include "UI/DemoProfile.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

using Times = QList<ScheduleSpec::HourMinute>;

struct Sketch
{
    QString name;
    QString folder;
    QString prompt;
    decltype(ScheduleSpec::rule) rule;
    bool isEnabled = true;
};

SchedulerSlot agent(int number, const Sketch &sketch, const QString &home)
{
    SchedulerSlot slot;
    slot.id = QUuid(0xa6e70000u + uint(number), 0x4b1d, 0x4c2e, 0x9a, 0x10, 0, 0, 0, 0, 0, uchar(number));
    slot.name = sketch.name;
    slot.cwds = QStringList{home + u"/code/"_s + sketch.folder};
    slot.command = sketch.prompt;
    slot.schedule.rule = sketch.rule;
    slot.enabled = sketch.isEnabled;
    return slot;
}

} // namespace

QList<SchedulerSlot> demoAgents(const QString &home, Date now)
{
    const QList<Sketch> sketches{
        {u"Morning brief"_s, u"harbour"_s,
         u"Read what changed since yesterday and tell me what needs a decision."_s,
         ScheduleSpec::Daily{Times{{7, 30}}}},
        {u"Dependency watch"_s, u"harbour"_s, u"/deps check, and open a pull request for safe updates"_s,
         ScheduleSpec::Weekly{{2, 5}, Times{{9, 0}}}},
        {u"Inbox triage"_s, u"notes"_s, u"Sort the inbox folder, draft answers to what is simple."_s,
         ScheduleSpec::EveryHours{2, ScheduleSpec::DayWindow{9, 19}}},
        {u"Release notes 2.4"_s, u"harbour"_s,
         u"Write the release notes for 2.4 from the merged pull requests."_s, ScheduleSpec::Once{now + 73h}},
        {u"Nightly test repair"_s, u"lighthouse"_s,
         u"Run the suite; repair what broke since the last green night."_s,
         ScheduleSpec::Daily{Times{{2, 0}}}},
        {u"Docs gardener"_s, u"docs"_s, u"Find pages that no longer match the code and mend them."_s,
         ScheduleSpec::Weekly{{1}, Times{{18, 0}}}, false},
        {u"Refactor scout"_s, u"lighthouse"_s,
         u"Look for modules that do two things and say how to part them."_s,
         ScheduleSpec::Daily{Times{{12, 0}}}, false},
        {u"Flaky test hunter"_s, u"lighthouse"_s, u"Pick the flakiest test and find its cause."_s,
         ScheduleSpec::Daily{Times{{16, 0}}}},
        {u"Changelog writer"_s, u"harbour"_s, u"Bring CHANGELOG.md up to date."_s,
         ScheduleSpec::Daily{Times{{14, 0}}}},
        {u"Weekly figures"_s, u"figures"_s, u"Draw last week's figures and say what stands out."_s,
         ScheduleSpec::Weekly{{2}, Times{{17, 15}}}},
    };
    QList<SchedulerSlot> agents;
    for (int i = 0; i < sketches.size(); ++i)
        agents.append(agent(i, sketches[i], home));
    agents[1].model = u"opus"_s;
    agents[4].timeoutMinutes = 120;
    agents[6].provider = AgentProvider::Codex;
    agents[7].captainDecides = true;
    agents[8].preflight = u"git diff --quiet"_s;
    return agents;
}

} // namespace Keelhaven
