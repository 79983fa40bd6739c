#include "Platform/QtProcessRunner.h"
#include "Platform/ProcessLaunch.h"
#include "Platform/Shell.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = ProcessResult::Kind;

namespace {

const QStringList awkwardTexts = {
    u""_s,   u"two words"_s, u"it's"_s, u"\"$HOME\" `id` \\"_s, u"line\nbreak"_s,   u"größer ✓"_s,
    u"-n"_s, u"*"_s,         u"~/x"_s,  u"$(id)'`id`"_s,        u"\\' ; id #\\\\"_s};

/// One word in quotes as fish reads it.
QString readByFish(const QString &word)
{
    QString text;
    bool isQuoted = false;
    for (qsizetype at = 0; at < word.size(); ++at) {
        const QChar next = at + 1 < word.size() ? word[at + 1] : QChar();
        if (word[at] == u'\\' && (!isQuoted || next == u'\'' || next == u'\\'))
            text += word[++at];
        else if (word[at] == u'\'')
            isQuoted = !isQuoted;
        else
            text += word[at];
    }
    return isQuoted ? u"never closed"_s : text;
}

ProcessResult run(ProcessSpec spec)
{
    QtProcessRunner runner;
    return await(runner.run(std::move(spec)), 20s);
}

ProcessSpec shell(const QString &script)
{
    ProcessSpec spec;
    spec.program = u"/bin/sh"_s;
    spec.arguments = {u"-c"_s, script};
    return spec;
}

bool isAlive(pid_t process)
{
    // A zombie still takes signals, so look at its state.
    QFile stat(u"/proc/%1/stat"_s.arg(process));
    return stat.open(QIODevice::ReadOnly) && !stat.readAll().contains(") Z ");
}

} // namespace

TEST(QtProcessRunner, ArgumentsArriveByteForByte)
{
    ProcessSpec spec;
    spec.program = u"printf"_s;
    spec.arguments = QStringList{u"%s|"_s} + awkwardTexts;
    const auto result = run(spec);
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(QString::fromUtf8(result.output), awkwardTexts.join(u'|') + u'|');
}

TEST(QtProcessRunner, ShellQuotingKeepsEveryText)
{
    QStringList words;
    for (const QString &text : awkwardTexts)
        words.append(shellQuoted(text));
    EXPECT_EQ(QString::fromUtf8(run(shell(u"printf '%s|' "_s + words.join(u' '))).output),
              awkwardTexts.join(u'|') + u'|');
    for (const QString &text : awkwardTexts)
        EXPECT_EQ(readByFish(shellQuoted(text)), text);
}

TEST(QtProcessRunner, MissingProgramIsAnAnswer)
{
    const TestHome home;
    for (const QString &program :
         {u"no-such-program"_s, home.path(u"absent"_s), home.write(u"plain"_s, "x")}) {
        ProcessSpec spec;
        spec.program = program;
        spec.input = "not read";
        const auto result = run(spec);
        EXPECT_EQ(result.kind, Kind::CannotStart);
        EXPECT_TRUE(result.error.contains(program)) << result.error.toStdString();
    }
    ProcessSpec nowhere = shell(u"true"_s);
    nowhere.workingDirectory = home.path(u"absent"_s);
    const auto result = run(nowhere);
    EXPECT_EQ(result.kind, Kind::CannotStart);
    EXPECT_FALSE(result.error.isEmpty());
    QtProcessRunner runner;
    ProcessSpec missing;
    missing.program = u"no-such-program"_s;
    EXPECT_FALSE(runner.startDetached(missing));
}

TEST(QtProcessRunner, EndIsToldApart)
{
    const auto exited = run(shell(u"exit 7"_s));
    EXPECT_EQ(exited.kind, Kind::Exited);
    EXPECT_EQ(exited.exitCode, 7);
    const auto crashed = run(shell(u"kill -9 $$"_s));
    EXPECT_EQ(crashed.kind, Kind::Crashed);
    EXPECT_EQ(crashed.exitCode, -1);
}

TEST(QtProcessRunner, StreamsEnvironmentAndFolder)
{
    const TestHome home;
    auto spec = shell(u"echo out; echo err >&2"_s);
    EXPECT_EQ(run(spec).output, "out\n");
    EXPECT_EQ(run(spec).errorOutput, "");
    spec.errors = ProcessSpec::Errors::Capture;
    EXPECT_EQ(run(spec).errorOutput, "err\n");
    spec.errors = ProcessSpec::Errors::Merge;
    EXPECT_EQ(run(spec).output, "out\nerr\n");

    qputenv("KH_TEST_INHERITED", "1");
    auto environment = shell(u"echo \"$KH_TEST_SET|$KH_TEST_INHERITED|$(pwd)\""_s);
    environment.environment = {{u"KH_TEST_SET"_s, u"a b"_s}, {u"KH_TEST_INHERITED"_s, std::nullopt}};
    environment.workingDirectory = home.path();
    EXPECT_EQ(run(environment).output, "a b||" + home.path().toUtf8() + "\n");
    qunsetenv("KH_TEST_INHERITED");

    ProcessSpec echo;
    echo.program = u"cat"_s;
    echo.input = QByteArray(1'000'000, 'x');
    EXPECT_EQ(run(echo).output.size(), 1'000'000);
    echo.outputLimit = 1000;
    EXPECT_EQ(run(echo).output.size(), 1000);
    EXPECT_EQ(run(shell(u"cat"_s)).output, "");
}

// The leader obeys the first signal; its child, which ignores it, must not live on.
TEST(QtProcessRunner, TimeOutEndsTheWholeGroup)
{
    auto spec = shell(u"sh -c 'trap \"\" TERM; echo $$; while :; do sleep 60; done' & wait"_s);
    spec.timeout = 300ms;
    const auto result = run(spec);
    EXPECT_EQ(result.kind, Kind::TimedOut);
    const pid_t stubborn = result.output.trimmed().toInt();
    ASSERT_GT(stubborn, 0);
    EXPECT_TRUE(waitUntil([=] { return !isAlive(stubborn); }, 10s));
    if (isAlive(stubborn))
        ::kill(stubborn, SIGKILL);
}

TEST(QtProcessRunner, DetachedProcessLeadsItsOwnSession)
{
    const TestHome home;
    QtProcessRunner runner;
    auto spec = shell(u"ps -o sid= -p $$ > sid.part; echo $$ >> sid.part; mv sid.part sid"_s);
    spec.workingDirectory = home.path();
    ASSERT_TRUE(runner.startDetached(spec));
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(home.path(u"sid"_s)); }));
    const auto ids = home.read(u"sid"_s).simplified().split(' ');
    ASSERT_EQ(ids.size(), 2);
    EXPECT_NE(ids[0].toInt(), ::getsid(0));
}

TEST(QtProcessRunner, ThisProcessLeavesNoCoreFileAndItsChildrenMayAsBefore)
{
    rlimit limit = {};
    ASSERT_EQ(::getrlimit(RLIMIT_CORE, &limit), 0);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 1024 * 1024);
    const QByteArray blocks = QByteArray::number(qint64(limit.rlim_cur / 512));
    ASSERT_EQ(::setrlimit(RLIMIT_CORE, &limit), 0);
    ProcessLaunch::withholdCoreFiles();
    ProcessLaunch::withholdCoreFiles();
    EXPECT_EQ(run(shell(u"ulimit -c"_s)).output.trimmed(), blocks);
    const TestHome home;
    auto spec = shell(u"ulimit -c > part; mv part limit"_s);
    spec.workingDirectory = home.path();
    ASSERT_TRUE(QtProcessRunner().startDetached(spec));
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(home.path(u"limit"_s)); }));
    EXPECT_EQ(home.read(u"limit"_s).trimmed(), blocks);
    ASSERT_EQ(::getrlimit(RLIMIT_CORE, &limit), 0);
    EXPECT_EQ(limit.rlim_cur, 0U);
}

} // namespace Keelhaven
