#include "Scheduler/SweepOverview.h"

#include <QFileInfo>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace SweepOverview {

namespace {

constexpr int sweepTimeoutMinutes = 45;
constexpr int followUpTimeoutMinutes = 240;
constexpr int stallMinutes = 10;

bool isShown(const RunRecord &record)
{
    return record.outcome && !record.isHidden();
}

template <typename Test>
QList<RunRecord> newestFirst(const QList<RunRecord> &records, Test test)
{
    QList<RunRecord> found;
    std::ranges::copy_if(records, std::back_inserter(found), test);
    std::ranges::stable_sort(found, std::greater<>(), &RunRecord::startedAt);
    return found;
}

/// What a sweep and its follow-up have in common.
SchedulerSlot commonSlot(QStringView name, const QString &directory)
{
    SchedulerSlot slot;
    slot.name = name.toString();
    slot.provider = AgentProvider::Claude;
    slot.cwds = QStringList{directory};
    slot.stallMinutes = stallMinutes;
    slot.keepAwake = false;
    slot.enabled = false;
    slot.herdrWorkspace = u"Assistant"_s;
    return slot;
}

} // namespace

bool isSweep(const RunRecord &record)
{
    return record.command == command;
}

bool isFollowUp(const RunRecord &record)
{
    return record.slotName == followUpName || record.slotName == olderFollowUpName;
}

bool hasMessage(const RunRecord &record)
{
    return record.completionMessage && !record.completionMessage->trimmed().isEmpty();
}

bool isSkipped(const RunRecord &record)
{
    using Kind = RunOutcome::Kind;
    return record.outcome && (record.outcome->kind == Kind::SkippedMissedWindow ||
                              record.outcome->kind == Kind::SkippedNoChanges);
}

QList<RunRecord> sweeps(const QList<RunRecord> &records)
{
    return newestFirst(records, [](const RunRecord &record) { return isSweep(record) && isShown(record); });
}

std::optional<RunRecord> latest(const QList<RunRecord> &records)
{
    const auto list = sweeps(records);
    const auto found = std::ranges::find_if_not(list, isSkipped);
    return found == list.end() ? std::nullopt : std::optional(*found);
}

QList<RunRecord> earlier(const RunRecord &sweep, const QList<RunRecord> &records)
{
    auto list = sweeps(records);
    list.removeIf([&](const RunRecord &record) {
        return record.id == sweep.id || record.startedAt >= sweep.startedAt || !hasMessage(record);
    });
    return list;
}

QList<RunRecord> followUps(const RunRecord &sweep, const QList<RunRecord> &records)
{
    const QString session = sweep.sessionID.value_or(QString());
    if (session.isEmpty())
        return {};
    return newestFirst(records, [&](const RunRecord &record) {
        const auto &conversation = record.sessionID ? record.sessionID : record.resumeSessionID;
        return isFollowUp(record) && isShown(record) && record.startedAt > sweep.startedAt &&
               conversation == session;
    });
}

std::optional<QString> resumeBlockedReason(const RunRecord &sweep)
{
    if (!sweep.sessionID || sweep.sessionID->isEmpty())
        return u"This sweep didn't record a session id, so there is no conversation to resume."_s;
    if (!QFileInfo(sweep.cwd).isDir())
        return u"The folder the sweep ran in is gone: "_s + sweep.cwd;
    return std::nullopt;
}

SchedulerSlot sweepSlot(const QString &directory)
{
    SchedulerSlot slot = commonSlot(sweepName, directory);
    slot.command = command.toString();
    // Never used: the agent is not enabled, and lives for one run.
    slot.schedule.rule = ScheduleSpec::Daily{{{9, 0}}};
    slot.timeoutMinutes = sweepTimeoutMinutes;
    slot.closeFinishedTab = true;
    slot.keepSessionOpen = false;
    slot.kind = SlotKind::System;
    return slot;
}

SchedulerSlot resumeSlot(const RunRecord &sweep, Date now)
{
    SchedulerSlot slot = commonSlot(followUpName, sweep.cwd);
    slot.command =
        u"I'm picking this sweep back up in person. In a few sentences remind me where things stand — what "
        u"you flagged for me and what you'd do next — then wait for my questions."_s;
    slot.schedule.rule = ScheduleSpec::Once{now};
    slot.timeoutMinutes = followUpTimeoutMinutes;
    slot.closeFinishedTab = false;
    slot.keepSessionOpen = true;
    slot.kind = SlotKind::Scheduled;
    return slot;
}

} // namespace SweepOverview

MorningReport MorningReport::from(const QList<RunRecord> &history)
{
    MorningReport report;
    report.latest = SweepOverview::latest(history);
    if (!report.latest)
        return report;
    report.earlier = SweepOverview::earlier(*report.latest, history);
    report.followUps = SweepOverview::followUps(*report.latest, history);
    report.resumeBlockedReason = SweepOverview::resumeBlockedReason(*report.latest);
    return report;
}

} // namespace Keelhaven
