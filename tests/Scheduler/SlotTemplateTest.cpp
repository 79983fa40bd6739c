#include "Scheduler/Model/SlotTemplate.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(SlotTemplate, MakesAnAgentThatWaitsForItsFolder)
{
    QStringList ids;
    for (const auto &entry : SlotTemplate::all())
        ids.append(entry.id);
    EXPECT_EQ(ids, (QStringList{u"security-review"_s, u"remove-dead-code"_s, u"add-test-coverage"_s,
                                u"task-workspace-run"_s}));
    EXPECT_EQ(SlotTemplate::named(u"security"_s), nullptr);

    SlotTemplate task = *SlotTemplate::named(u"task-workspace-run"_s);
    const SchedulerSlot made = task.makeSlot();
    SchedulerSlot expected;
    expected.id = made.id;
    expected.name = u"Task Workspace Run"_s;
    expected.command = task.prompt;
    expected.schedule.rule = ScheduleSpec::Daily{{{2, 0}}};
    expected.runOnlyIfChanged = true;
    expected.maxUsagePercent = 50;
    expected.workspaceMode = WorkspaceMode::PerFolder;
    EXPECT_EQ(made, expected);
    EXPECT_NE(task.makeSlot().id, made.id);
    EXPECT_EQ(made.saveHint([](const QString &) { return false; }), u"Add a project folder to save"_s);
    task.suggestedCwd = u"/code"_s;
    EXPECT_EQ(task.makeSlot().cwds, QStringList{u"/code"_s});
}

} // namespace Keelhaven
