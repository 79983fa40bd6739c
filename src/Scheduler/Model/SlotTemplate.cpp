#include "Scheduler/Model/SlotTemplate.h"

#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr int usagePercent = 50;

std::vector<SlotTemplate> templates()
{
    return {
        {.id = u"security-review"_s,
         .name = u"Security Review"_s,
         .prompt = u"Audit this repo for security issues — injection risks, secrets committed to the "
                   u"codebase, unsafe deserialization, missing input validation. Fix what is safe to fix and "
                   u"record the rest in SECURITY-REVIEW.md."_s},
        {.id = u"remove-dead-code"_s,
         .name = u"Remove Dead Code"_s,
         .prompt = u"Find dead code in this repo — unused functions, unreachable branches, stale feature "
                   u"flags, commented-out blocks — and delete it. Run the tests afterward to confirm nothing "
                   u"broke."_s},
        {.id = u"add-test-coverage"_s,
         .name = u"Add Test Coverage"_s,
         .prompt = u"Find the most important untested code paths in this repo and add focused tests for "
                   u"them. Prefer high-value paths — error handling, edge cases, tricky logic — over "
                   u"coverage padding."_s},
        {.id = u"task-workspace-run"_s,
         .name = u"Task Workspace Run"_s,
         .prompt = u"Read CLAUDE.md for this task's brief, review your previous output in ./work/, then do "
                   u"the next increment of the task and save the results into ./work/."_s,
         .workspaceMode = WorkspaceMode::PerFolder},
    };
}

} // namespace

std::span<const SlotTemplate> SlotTemplate::all()
{
    static const std::vector<SlotTemplate> list = templates();
    return list;
}

const SlotTemplate *SlotTemplate::named(const QString &id)
{
    const auto found = std::ranges::find(all(), id, &SlotTemplate::id);
    return found == all().end() ? nullptr : &*found;
}

SchedulerSlot SlotTemplate::makeSlot() const
{
    SchedulerSlot slot;
    slot.name = name;
    slot.command = prompt;
    if (suggestedCwd)
        slot.cwds = QStringList{*suggestedCwd};
    slot.schedule.rule = ScheduleSpec::Daily{{{2, 0}}};
    slot.timeoutMinutes = 90;
    slot.stallMinutes = 10;
    slot.keepAwake = true;
    slot.enabled = false;
    slot.runOnlyIfChanged = true;
    slot.maxUsagePercent = usagePercent;
    slot.workspaceMode = workspaceMode;
    slot.closeFinishedTab = true;
    return slot;
}

} // namespace Keelhaven
