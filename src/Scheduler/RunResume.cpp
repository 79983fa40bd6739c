#include "Scheduler/RunResume.h"

#include "Herdr/HerdrPlacement.h"

#include <QFileInfo>

namespace Keelhaven::RunResume {

using namespace Qt::StringLiterals;

namespace {

constexpr int timeoutMinutes = 240;
constexpr int stallMinutes = 10;

} // namespace

bool isResumed(const RunRecord &record)
{
    return record.resumeSessionID && !record.resumeSessionID->isEmpty();
}

std::optional<QString> blockedReason(const RunRecord &record)
{
    if (record.resolvedProvider() != AgentProvider::Claude)
        return u"Only Claude sessions can be resumed here — continue a Codex session in Herdr itself."_s;
    if (!record.sessionID || record.sessionID->isEmpty())
        return u"This run didn't record a session id, so there is no conversation to pick up."_s;
    if (!QFileInfo(record.cwd).isDir())
        return u"The folder the run worked in is gone: "_s + record.cwd;
    return std::nullopt;
}

SchedulerSlot slot(const RunRecord &record, const std::optional<SchedulerSlot> &original, Date now)
{
    SchedulerSlot resumed;
    resumed.name = record.slotName + u" · resumed"_s;
    resumed.provider = record.resolvedProvider();
    resumed.model = record.model;
    resumed.cwds = QStringList{record.cwd};
    resumed.command = u"I'm back to continue this session in person. In a few sentences remind me where you "
                      u"left off — what you did and what is still open — then wait for my instructions."_s;
    resumed.schedule.rule = ScheduleSpec::Once{now};
    resumed.timeoutMinutes = timeoutMinutes;
    resumed.stallMinutes = stallMinutes;
    resumed.keepAwake = false;
    resumed.closeFinishedTab = false;
    resumed.keepSessionOpen = true;
    resumed.shipID = record.shipID;
    resumed.kind = SlotKind::Oneoff;
    if (original) {
        resumed.plugins = original->plugins;
        resumed.herdrWorkspace = original->herdrWorkspace;
        resumed.addDirs = original->addDirs;
    }
    if (!resumed.herdrWorkspace)
        resumed.herdrWorkspace = HerdrPlacement::workspaceLabel(record.folder());
    if (record.projectDir && !resumed.addDirs.contains(*record.projectDir))
        resumed.addDirs.append(*record.projectDir);
    return resumed;
}

} // namespace Keelhaven::RunResume
