#pragma once

#include "EngineFixture.h"

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

/// Runs whose sessions are left open, parked or resumed.
class ResumeTest : public EngineTest
{
protected:
    ResumeTest()
    {
        engine->openExternal = [this] { ++opened; };
        engine->start();
    }

    ActiveRunPtr begin(const QString &name, const std::function<void(SchedulerSlot &)> &change = {})
    {
        auto agent = slot(name);
        if (change)
            change(agent);
        engine->enqueue(agent);
        settleAll();
        return engine->active().last();
    }
    ScriptedLauncher::Pane &paneOf(const LaunchedRun &run) { return launcher.panes[run.paneID]; }

    /// A run that went through its turn and closed.
    RunRecord complete(const ActiveRunPtr &run)
    {
        deliver(event(u"SessionStart"_s, run->record));
        deliver(event(u"Stop"_s, run->record));
        paneOf(run->launched).probe.state = AgentState::Idle;
        paneOf(run->launched).endsOnExitRequest = true;
        clock.advance(10s);
        return engine->history().first();
    }

    /// The session of a run that ended and was kept open.
    ParkedSession parkOne(const QString &name)
    {
        const auto run = begin(name, [](SchedulerSlot &agent) { agent.keepSessionOpen = true; });
        deliver(event(u"Stop"_s, run->record));
        paneOf(run->launched).probe.state = AgentState::Idle;
        clock.advance(5s);
        return engine->parked().value(run->record.id);
    }
    [[nodiscard]] QStringList parkedNames() const
    {
        QStringList names;
        for (const auto &session : engine->parked())
            names.append(session.record.slotName);
        names.sort();
        return names;
    }

    int opened = 0;
};

} // namespace Keelhaven
