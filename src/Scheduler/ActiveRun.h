#pragma once

#include "Scheduler/Model/RunLauncher.h"
#include "Scheduler/Model/RunRecord.h"
#include "Scheduler/Model/SchedulerSlot.h"

namespace Keelhaven {

/// A run waiting for admission. Its id is `record.id`.
struct QueuedRun
{
    RunRecord record;
    SchedulerSlot slot; ///< as it was at enqueue
    Date firedAt{};
    std::optional<Date> notBefore; ///< held back until then
    std::optional<QString> holdReason;
    bool handoff = false; ///< goes to the user as soon as it is live; gets no result contract
};

/// A live run. It has identity: screens and suspended steps hold it by shared pointer and see it change. Its
/// id is `record.id`.
struct ActiveRun
{
    ActiveRun(RunRecord runRecord, SchedulerSlot runSlot, LaunchedRun session)
        : record(std::move(runRecord))
        , slot(std::move(runSlot))
        , launched(std::move(session))
    {}

    RunRecord record;
    SchedulerSlot slot;
    LaunchedRun launched;
    AgentState agentState = AgentState::Unknown;
    bool takenOver = false; ///< a human is in the session
    std::optional<Date> lastActivityAt;
    bool completionSeen = false; ///< the agent's turn is over
    std::optional<QString> completionMessage;
    bool stalledNotified = false; ///< waiting was reported; stays set for the run's life
    std::optional<QString> lastTrustResponse;
    std::optional<QString> finalTranscript; ///< the screen, taken before the pane was closed
    std::optional<Date> idleSince;
    int idleNudges = 0;
    std::optional<Date> lastIdleNudgeAt;
    bool promptRetyped = false;
    std::optional<Date> exitDeadline; ///< end of the grace after asking the session to exit
    std::optional<Date> eventFloor;   ///< events before this belong to an earlier turn
    bool closesPane = false;          ///< its record is being closed, and its pane is to go with it
};

using ActiveRunPtr = std::shared_ptr<ActiveRun>;

/// A finished session kept open for follow-ups.
struct ParkedSession
{
    LaunchedRun launched;
    SchedulerSlot slot;
    RunRecord record; ///< as it stood at parking
    Date since{};
    std::optional<Date> shownAt = {}; ///< when it was last brought to the user; it is as old as that
};

} // namespace Keelhaven
