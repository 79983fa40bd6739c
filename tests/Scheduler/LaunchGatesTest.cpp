#include "Scheduler/GitProbe.h"
#include "Scheduler/Preflight.h"

#include "Platform/QtProcessRunner.h"
#include "Platform/Shell.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class LaunchGates : public testing::Test
{
protected:
    TestHome home;
    MemorySettings settings;
    FakeProcessRunner processes;
    ClaudeLocator locator{processes, settings, home.path()};
};

TEST_F(LaunchGates, PreflightRunsInTheLoginShellWithItsPath)
{
    settings.set(u"loginShellPATH"_s, u"/tools"_s);
    processes.answer = [](const ProcessSpec &) { return FakeProcessRunner::exited(3, "no \xff disk"); };
    const auto result = await(Preflight(processes, locator).run(u"check it"_s));
    EXPECT_EQ(result, (Preflight::Result{3, u"no \uFFFD disk"_s, false}));
    const auto &spec = processes.runs.first();
    EXPECT_EQ(spec.program, userShell());
    EXPECT_EQ(spec.arguments, (QStringList{u"-lc"_s, u"check it"_s}));
    EXPECT_TRUE(spec.environment.value(u"PATH"_s)->startsWith(u"/tools"));
    EXPECT_EQ(spec.errors, ProcessSpec::Errors::Merge);
    EXPECT_EQ(spec.timeout, 60s);
    EXPECT_TRUE(spec.workingDirectory.isEmpty());
}

TEST_F(LaunchGates, PreflightFailures)
{
    ProcessResult process;
    processes.answer = [&](const ProcessSpec &) { return process; };
    const auto run = [&] { return await(Preflight(processes, locator).run(u"x"_s)); };
    process.error = u"no shell"_s;
    EXPECT_EQ(run(), (Preflight::Result{-1, u"no shell"_s, false}));
    process.kind = ProcessResult::Kind::TimedOut;
    process.output = "half";
    EXPECT_EQ(run(), (Preflight::Result{-1, u"timed out"_s, true}));
    process.kind = ProcessResult::Kind::Crashed;
    EXPECT_FALSE(run().passed());
    process = FakeProcessRunner::exited(0);
    EXPECT_TRUE(run().passed());
}

TEST_F(LaunchGates, PreflightKillsARealCommandThatHangs)
{
    QtProcessRunner real;
    const auto result =
        await(Preflight(real, locator).run(u"echo out; echo err >&2; exec sleep 600"_s, 300ms));
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.output, u"timed out"_s);
    EXPECT_EQ(await(Preflight(real, locator).run(u"echo out; echo err >&2"_s, 10s))
                  .output.trimmed()
                  .split(u'\n')
                  .size(),
              2);
}

TEST_F(LaunchGates, GitHeadOfARealRepository)
{
    QtProcessRunner real;
    const GitProbe probe(real, locator);
    const QString repository = home.path(u"repo"_s);
    EXPECT_FALSE(await(probe.head(home.path(u"absent"_s))));
    ProcessSpec init;
    init.program = u"git"_s;
    init.arguments = {u"init"_s, u"-q"_s, repository};
    ASSERT_TRUE(await(real.run(init)).succeeded());
    EXPECT_FALSE(await(probe.head(repository))) << "no commit yet";
    ProcessSpec commit;
    commit.program = u"git"_s;
    commit.arguments = {u"-C"_s,          repository, u"-c"_s,
                        u"user.name=t"_s, u"-c"_s,    u"user.email=t@t"_s,
                        u"commit"_s,      u"-q"_s,    u"--allow-empty"_s,
                        u"-m"_s,          u"m"_s};
    ASSERT_TRUE(await(real.run(commit)).succeeded());
    const auto head = await(probe.head(repository));
    ASSERT_TRUE(head);
    EXPECT_EQ(head->size(), 40);
    qputenv("GIT_DIR", (repository + u"/.git"_s).toUtf8());
    EXPECT_FALSE(await(probe.head(home.path()))) << "another folder than the environment's repository";
    qunsetenv("GIT_DIR");
    settings.set(u"loginShellPATH"_s, u"/nowhere"_s);
    EXPECT_FALSE(await(probe.head(repository))) << "no git on the path";
}

TEST_F(LaunchGates, OnlyAKnownUnchangedHeadSkips)
{
    EXPECT_TRUE(GitProbe::shouldSkip(u"a"_s, u"a"_s));
    EXPECT_FALSE(GitProbe::shouldSkip(u"a"_s, u"b"_s));
    EXPECT_FALSE(GitProbe::shouldSkip(std::nullopt, std::nullopt));
    EXPECT_FALSE(GitProbe::shouldSkip(u"a"_s, std::nullopt));
}

} // namespace
} // namespace Keelhaven
