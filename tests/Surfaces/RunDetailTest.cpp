#include "Surfaces/DispatchTaskCard.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const Calendar utc{QTimeZone::utc()};
const Date sevenOFive = *dateFromLooseISOText(u"2026-11-23T19:05:00Z");

RunRecord finished(const RunOutcome &outcome, const std::optional<QString> &message = {})
{
    RunRecord run;
    run.slotID = QUuid::createUuid();
    run.slotName = u"Nightly"_s;
    run.startedAt = sevenOFive;
    run.endedAt = sevenOFive + std::chrono::seconds(61);
    run.outcome = outcome;
    run.completionMessage = message;
    return run;
}

ActiveRunPtr live(AgentState state)
{
    RunRecord run = finished({});
    run.outcome.reset();
    run.endedAt.reset();
    run.cwd = u"/work/space"_s;
    run.projectDir = u"/home/me/site"_s;
    run.command = u"fix it When you are completely done, write a JSON file at /x"_s;
    LaunchedRun session;
    session.agentName = u"nightly"_s;
    session.paneID = u"p4"_s;
    session.workspaceLabel = u"site"_s;
    auto active = std::make_shared<ActiveRun>(run, SchedulerSlot(), session);
    active->agentState = state;
    return active;
}

} // namespace

TEST(RunDetail, TheSelectionDecidesTheCard)
{
    using Card = RunDetail::Selection::Card;
    const auto active = live(AgentState::Working);
    const auto past = finished(RunOutcome::completed());
    const auto turn = finished(RunOutcome::completed());
    DispatchRecord task;
    task.id = u"ab12cd34"_s;
    const TaskLookup taskOf = [&](const QUuid &slotID) { return slotID == turn.slotID ? &task : nullptr; };
    const auto card = [&](const std::optional<QUuid> &runID) {
        return RunDetail::select(runID, {active}, {turn, past}, taskOf).card;
    };
    EXPECT_EQ(card(active->record.id), Card::Live);
    EXPECT_EQ(card(past.id), Card::Finished);
    EXPECT_EQ(card(turn.id), Card::Task);
    EXPECT_EQ(card(QUuid::createUuid()), Card::Nothing) << "it has left both lists";
    EXPECT_EQ(card(std::nullopt), Card::Nothing);
    EXPECT_EQ(RunDetail::select(turn.id, {}, {turn}, taskOf).task->id, task.id);
    EXPECT_EQ(RunDetail::select(active->record.id, {active}, {}, {}).active, active);
}

TEST(RunDetail, AnEndedRunSaysWhatItReportedAndWhyItFailed)
{
    struct Row
    {
        RunOutcome outcome;
        std::optional<QString> message;
        QStringView text;
        std::optional<QString> failure;
    };
    const QStringView unreported = u"No closing message — the session ended before it reported back.";
    const Row rows[]{
        {RunOutcome::completed(), u"All **done**."_s, u"All **done**.", {}},
        {RunOutcome::completed(), {}, u"Finished without a closing message.", {}},
        {RunOutcome::completed(), u" \n"_s, u"Finished without a closing message.", {}},
        {RunOutcome::processExited(0), {}, unreported, {}},
        {RunOutcome::processExited(1), {}, unreported, u"The session ended before it finished its work."_s},
        {RunOutcome::processExited(-1), u"half"_s, u"half",
         u"The session ended before it finished its work."_s},
        {RunOutcome::preflightFailed(u"no disk\nleft"_s),
         {},
         unreported,
         u"Preflight failed:\nno disk\nleft"_s},
        {RunOutcome::launchFailed(u"no host"_s), {}, unreported, u"no host"_s},
        {RunOutcome::timeout(), {}, unreported, u"Hit its timeout and was closed."_s},
        {RunOutcome::skippedNoChanges(), {}, unreported, {}},
        {RunOutcome::cancelled(), {}, unreported, {}},
    };
    for (const auto &row : rows) {
        const auto report = RunDetail::report(finished(row.outcome, row.message));
        EXPECT_EQ(report.message, row.text);
        EXPECT_EQ(report.failureDetail, row.failure) << row.outcome.label().toStdString();
        EXPECT_EQ(report.isMarkdown, row.message && !row.message->trimmed().isEmpty())
            << "our own sentences are not read as Markdown";
    }
}

TEST(RunDetail, TimingHasALengthOnceItEnded)
{
    RunRecord run = finished(RunOutcome::completed());
    EXPECT_EQ(RunDetail::timing(run, utc), u"Mon 23 Nov, 7:05 PM · 1m 1s");
    run.endedAt = run.startedAt + std::chrono::seconds(59);
    EXPECT_EQ(RunDetail::timing(run, utc), u"Mon 23 Nov, 7:05 PM · 59s");
    run.endedAt.reset();
    EXPECT_EQ(RunDetail::timing(run, utc), u"Mon 23 Nov, 7:05 PM");
}

TEST(RunDetail, ARunOnItsWaySaysWhatItWaitsFor)
{
    auto launching = finished({});
    launching.outcome.reset();
    QueuedRun free;
    free.record.slotName = u"Nightly"_s;
    QueuedRun held = free;
    free.record.id = QUuid::createUuid();
    held.record.id = QUuid::createUuid();
    held.notBefore = sevenOFive;
    held.holdReason = u"session 92% ≥ 50% cap"_s;
    const auto waiting = [&](const QUuid &id) {
        return RunDetail::waitingRun(id, {launching}, {free, held});
    };
    EXPECT_EQ(waiting(launching.id)->header.subtitle, u"Claude · starting");
    EXPECT_FALSE(waiting(launching.id)->header.dequeue) << "its session may be there any moment";
    EXPECT_EQ(waiting(free.record.id)->header.subtitle, u"Claude · queued");
    EXPECT_TRUE(waiting(free.record.id)->header.dequeue);
    EXPECT_EQ(waiting(held.record.id)->header.subtitle, u"Claude · waiting on usage");
    EXPECT_EQ(waiting(held.record.id)->reason, u"session 92% ≥ 50% cap");
    EXPECT_FALSE(waiting(QUuid::createUuid()));
}

TEST(RunDetail, HeadersOfferWhatTheRunAllows)
{
    auto failed = finished(RunOutcome::timeout());
    failed.provider = AgentProvider::Codex;
    const auto header = RunDetail::finishedHeader(failed, u"The folder is gone."_s);
    EXPECT_EQ(header.title, u"Nightly");
    EXPECT_EQ(header.subtitle, u"Codex · timed out");
    EXPECT_TRUE(header.isFailure);
    ASSERT_TRUE(header.resume);
    EXPECT_FALSE(header.resume->isEnabled);
    EXPECT_EQ(header.resume->help, u"The folder is gone.");
    EXPECT_TRUE(header.delete_);
    EXPECT_FALSE(header.stop);
    EXPECT_TRUE(RunDetail::finishedHeader(failed, {}).resume->isEnabled);

    const auto running = live(AgentState::Blocked);
    EXPECT_EQ(RunDetail::liveHeader(*running).subtitle, u"Claude · waiting for input");
    EXPECT_TRUE(RunDetail::liveHeader(*running).stop);
    EXPECT_FALSE(RunDetail::liveHeader(*running).resume || RunDetail::liveHeader(*running).delete_);
    running->takenOver = true;
    EXPECT_EQ(RunDetail::liveHeader(*running).subtitle, u"Claude · you have control");
}

TEST(RunDetail, ALiveRunShowsWhereItIs)
{
    const auto run = live(AgentState::Blocked);
    const auto card = RunDetail::liveCard(*run);
    const QList<RunDetail::LabelledRow> rows{{u"Folder"_s, u"/home/me/site"_s},
                                             {u"Workspace"_s, u"site"_s},
                                             {u"Command"_s, u"fix it"_s},
                                             {u"Session"_s, u"nightly · p4"_s}};
    EXPECT_EQ(card.rows, rows);
    EXPECT_TRUE(card.blockedCallout);
    EXPECT_FALSE(card.takenOverCallout);
    run->agentState = AgentState::Working;
    run->takenOver = true;
    EXPECT_FALSE(RunDetail::liveCard(*run).blockedCallout);
    EXPECT_TRUE(RunDetail::liveCard(*run).takenOverCallout);
}

TEST(DispatchTaskCard, BeforeTheFirstTurnItSaysWhatItWaitsFor)
{
    struct Row
    {
        DispatchStatus status;
        bool isTask;
        bool isScheduled;
        std::optional<QString> pending;
        std::optional<QString> note;
    };
    const Row rows[]{
        {DispatchStatus::Received,
         false,
         false,
         {},
         u"The dispatcher is still working out where this goes."_s},
        {DispatchStatus::Dispatching,
         false,
         false,
         {},
         u"The dispatcher is still working out where this goes."_s},
        // A dispatcher session's agent may be waiting as well.
        {DispatchStatus::Dispatching,
         false,
         true,
         {},
         u"The dispatcher is still working out where this goes."_s},
        {DispatchStatus::TaskCreated, true, false, {}, u"queued"_s},
        {DispatchStatus::TaskCreated, true, true, {}, u"Scheduled — hasn't run yet."_s},
        {DispatchStatus::Continuing, true, false, u"and blue"_s,
         u"Held until the current turn finishes: “and blue”"_s},
        {DispatchStatus::Rejected, false, false, {}, u"no such project"_s},
    };
    for (const auto &row : rows) {
        DispatchRecord task;
        task.status = row.status;
        task.pendingFollowUp = row.pending;
        if (row.isTask)
            task.taskSlotID = QUuid::createUuid();
        if (row.status == DispatchStatus::Rejected)
            task.error = u"no such project"_s;
        EXPECT_EQ(DispatchTaskCard::build(task, {}, {}, row.isScheduled, utc).note, row.note);
    }
    DispatchRecord ran;
    EXPECT_FALSE(DispatchTaskCard::build(ran, {finished(RunOutcome::completed())}, {}, true, utc).note);
}

TEST(DispatchTaskCard, TurnsAskAndAnswer)
{
    DispatchRecord task;
    task.receivedAt = sevenOFive;
    task.messageText = u"make a page"_s;
    task.source = DispatchSource::Slack;
    task.followUps = {{{}, u"make it blue"_s, sevenOFive}};
    auto first = finished(RunOutcome::completed(), u"Done."_s);
    first.command = u"make a page When you are completely done, write a JSON file at /x"_s;
    auto second = live(AgentState::Blocked);
    second->record.command = u"The CTO says: make it blue"_s;
    const auto card = DispatchTaskCard::build(task, {first, second->record}, {second}, false, utc);
    EXPECT_EQ(card.title, u"make a page");
    EXPECT_EQ(card.facts.first(), u"Mon 23 Nov, 7:05 PM · from Slack");
    ASSERT_EQ(card.turns.size(), 2);
    EXPECT_FALSE(card.turns[0].heading);
    EXPECT_EQ(card.turns[0].request, u"make a page");
    EXPECT_EQ(card.turns[0].answer->message, u"Done.");
    EXPECT_EQ(card.turns[1].heading, u"FOLLOW-UP 1"_s);
    EXPECT_EQ(card.turns[1].request, u"make it blue");
    EXPECT_TRUE(card.turns[1].isLive);
    EXPECT_FALSE(card.turns[1].answer);
    EXPECT_EQ(card.turns[1].blockedCallout, u"Waiting for an answer — open it in Herdr to unblock it."_s);
}

TEST(DispatchTaskCard, ATurnTellsItsDayWhereItIsANewOne)
{
    DispatchRecord task;
    task.receivedAt = sevenOFive;
    QList<RunRecord> runs;
    for (const auto hours : {0, 4, 5, 30}) {
        runs.append(finished(RunOutcome::completed()));
        runs.last().startedAt = sevenOFive + std::chrono::hours(hours);
        runs.last().endedAt = runs.last().startedAt + std::chrono::seconds(9);
    }
    QStringList timings;
    for (const auto &turn : DispatchTaskCard::build(task, runs, {}, false, utc).turns)
        timings.append(turn.timing);
    EXPECT_EQ(timings, QStringList({u"7:05 PM · 9s"_s, u"11:05 PM · 9s"_s, u"Tue 24 Nov, 12:05 AM · 9s"_s,
                                    u"Wed 25 Nov, 1:05 AM · 9s"_s}));
}

TEST(DispatchTaskCard, DeliverablesComeFromTheResult)
{
    DispatchRecord task;
    task.id = u"ab12cd34"_s;
    EXPECT_TRUE(DispatchTaskCard::assets(task, {}).isEmpty());
    task.result =
        TaskResult{{}, {{u"/o/demo.mp4"_s, u"image"_s, u"A tour"_s}, {u"/o/notes"_s, u"Markdown"_s, {}}}, {}};
    const auto run = finished(RunOutcome::completed());
    const auto assets = DispatchTaskCard::assets(task, {finished(RunOutcome::timeout()), run});
    ASSERT_EQ(assets.size(), 2);
    EXPECT_EQ(assets[0].kind, AssetKind::Video) << "the extension decides";
    EXPECT_EQ(assets[0].caption, u"A tour"_s);
    EXPECT_EQ(assets[1].kind, AssetKind::Markdown);
    EXPECT_EQ(assets[1].runID, run.id);
    EXPECT_NE(assets[0].id, assets[1].id);
    EXPECT_EQ(DispatchTaskCard::assets(task, {run}), assets) << "ids stay from one look to the next";
}

} // namespace Keelhaven
