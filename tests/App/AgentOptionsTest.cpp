#include "App/Commands/AgentOptions.h"

#include "App/Commands/CommandTable.h"
#include "App/Commands/Lookup.h"
#include "App/Commands/TextTable.h"
#include "App/Doctor.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const AgentOptions::Ground ground{u"/work/here"_s, Calendar(QTimeZone::utc()),
                                  Date(std::chrono::days(20'000))};

Result<SchedulerSlot, QString> changed(const SchedulerSlot &slot, const QStringList &options)
{
    const auto parsed =
        parseCommandLine(QStringList{u"agents"_s, u"edit"_s, u"A"_s} + options, commandTable());
    if (const auto *error = std::get_if<UsageError>(&parsed))
        return failure(error->sentence);
    return AgentOptions::apply(slot, std::get<ParsedCommand>(parsed).arguments, ground);
}

SchedulerSlot agent(const QString &name, const char *id)
{
    SchedulerSlot slot;
    slot.name = name;
    slot.id = QUuid::fromString(QString::fromLatin1(id));
    return slot;
}

} // namespace

TEST(AgentOptions, EachOptionChangesItsFieldAndNoOther)
{
    SchedulerSlot start;
    start.name = u"Nightly"_s;
    start.cwds = {u"/a"_s};
    start.command = u"work"_s;
    start.model = u"opus"_s;
    start.maxUsagePercent = 70;
    start.enabled = true;
    const auto expect = [&](const QStringList &options, const std::function<void(SchedulerSlot &)> &change) {
        SchedulerSlot wanted = start;
        change(wanted);
        const auto got = changed(start, options);
        ASSERT_TRUE(got) << got.error().toStdString();
        EXPECT_EQ(encodeRecord(*got), encodeRecord(wanted)) << options.join(u' ').toStdString();
    };
    expect({}, [](auto &) {});
    expect({u"--name"_s, u"Daily"_s}, [](auto &slot) { slot.name = u"Daily"_s; });
    expect({u"--cwd"_s, u"sub/../x"_s, u"/b/"_s, u"~/c"_s, u"x"_s},
           [](auto &slot) { slot.cwds = {u"/work/here/x"_s, u"/b"_s, u"~/c"_s}; });
    expect({u"--provider"_s, u"claude"_s}, [](auto &) {});
    expect({u"--provider"_s, u"codex"_s}, [](auto &slot) {
        slot.setModelChoice({AgentProvider::Codex, std::nullopt});
        slot.enabled = false;
    });
    expect({u"--model"_s, u" "_s}, [](auto &slot) { slot.model.reset(); });
    expect({u"--max-usage-percent"_s, u"none"_s}, [](auto &slot) { slot.maxUsagePercent.reset(); });
    expect({u"--max-usage-percent"_s, u"85"_s}, [](auto &slot) { slot.maxUsagePercent = 85; });
    expect({u"--max-usage-percent"_s, u"0"_s}, [](auto &slot) { slot.maxUsagePercent = 0; });
    expect({u"--priority"_s, u"-2"_s, u"--timeout-minutes"_s, u"5"_s, u"--stall-minutes"_s, u"3"_s},
           [](auto &slot) {
               slot.priority = -2;
               slot.timeoutMinutes = 5;
               slot.stallMinutes = 3;
           });
    expect({u"--only-if-changed"_s, u"--keep-session-open"_s, u"--no-keep-awake"_s,
            u"--no-close-finished-tab"_s},
           [](auto &slot) {
               slot.runOnlyIfChanged = slot.keepSessionOpen = true;
               slot.keepAwake = slot.closeFinishedTab = false;
           });
    expect({u"--preflight"_s, u"make check"_s, u"--add-dir"_s, u"lib"_s, u"--workspace-mode"_s,
            u"perFolder"_s, u"--plugin"_s, u"a@b"_s},
           [](auto &slot) {
               slot.preflight = u"make check"_s;
               slot.addDirs = {u"/work/here/lib"_s};
               slot.workspaceMode = WorkspaceMode::PerFolder;
               slot.plugins = {u"a@b"_s};
           });
}

TEST(AgentOptions, WhatCannotBeIsRefusedWithASentence)
{
    SchedulerSlot codex;
    codex.provider = AgentProvider::Codex;
    EXPECT_EQ(changed(codex, {u"--enable"_s}).error(),
              u"Codex agents do not fire on a schedule; start this one with \"keelhaven agents run\"."_s);
    EXPECT_EQ(changed({}, {u"--once"_s, u"2001-01-01T00:00Z"_s}).error(),
              u"The time of --once has passed."_s);
    EXPECT_EQ(changed({}, {u"--cwd="_s}).error(), u"A folder's name is empty."_s);
    EXPECT_EQ(AgentOptions::absolutePath(u"x"_s, {}).error(),
              u"\"x\" is relative to a working directory that no longer exists."_s);
}

TEST(Lookup, FindsAgentsByIDUniquePrefixAndExactName)
{
    const QList<SchedulerSlot> agents{agent(u"One"_s, "aaaa1111-0000-4000-8000-000000000001"),
                                      agent(u"Two"_s, "aaaa2222-0000-4000-8000-000000000002"),
                                      agent(u"Two"_s, "bbbb3333-0000-4000-8000-000000000003"),
                                      agent(u"AAAA"_s, "cccc4444-0000-4000-8000-000000000004")};
    const std::pair<QString, qsizetype> found[] = {
        {u"aaaa1111-0000-4000-8000-000000000001"_s, 0},
        {u"AAAA1"_s, 0},
        {u"aaaa2"_s, 1},
        {u"bbbb"_s, 2},
        {u"One"_s, 0},
        {u"AAAA"_s, 3},
    };
    for (const auto &[text, index] : found) {
        const auto slot = findAgent(agents, text);
        ASSERT_TRUE(slot) << text.toStdString();
        EXPECT_EQ(slot->id, agents[index].id) << text.toStdString();
    }
    for (const auto &text : {u""_s, u"bbb"_s, u"one"_s, u"dddd"_s, u"aaaa1111-0000-4000-8000-00000000000f"_s})
        EXPECT_EQ(findAgent(agents, text).error(), u"No agent matches \"%1\"."_s.arg(text));
    EXPECT_EQ(findAgent(agents, u"Two"_s).error(), u"2 agents match \"Two\"; give more of an id."_s);
    EXPECT_EQ(findAgent(agents, u"aaaa"_s).error(), u"2 agents match \"aaaa\"; give more of an id."_s);
}

TEST(TextTable, AlignsCutsAndDropsWhatWouldDriveTheTerminal)
{
    TextTable table({u"NAME"_s, u"LAST"_s});
    table.addRow({u"a\x1b[31m\nb"_s, u"one two three"_s});
    table.addRow({u""_s, u"\u202Eevil"_s});
    EXPECT_EQ(table.text(0), u"NAME      LAST\na [31m b  one two three\n-         evil\n"_s);
    EXPECT_EQ(table.text(14).split(u'\n')[1], u"a [31m b  one…"_s);
}

TEST(Doctor, FailsOnlyWhenNothingCanRun)
{
    QList<DoctorCheck> checks{{u"tmux"_s, true, u"3.3a"_s}, {u"codex"_s, false, u"not found"_s}};
    auto reply = Doctor::reply(checks, false, false);
    EXPECT_EQ(reply.exit, ExitStatus::Done);
    EXPECT_EQ(reply.output, u"✓ tmux   3.3a\n✗ codex  not found\n"_s);
    EXPECT_TRUE(reply.error.isEmpty());
    EXPECT_EQ(
        Doctor::reply(checks, true, false).output,
        u"[{\"name\": \"tmux\", \"ok\": true, \"detail\": \"3.3a\"}, {\"name\": \"codex\", \"ok\": false, \"detail\": \"not found\"}]\n"_s);
    checks[1].isEssential = true;
    EXPECT_EQ(Doctor::reply(checks, true, false).exit, ExitStatus::Refused);
}

} // namespace Keelhaven
