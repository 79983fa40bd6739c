#include "Platform/QtChildProcess.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <csignal>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = ChildExit::Kind;

bool isAlive(pid_t process)
{
    // A zombie still takes signals, so look at its state.
    QFile stat(u"/proc/%1/stat"_s.arg(process));
    return process > 0 && stat.open(QIODevice::ReadOnly) && !stat.readAll().contains(") Z ");
}

class QtChildProcessTest : public testing::Test
{
protected:
    void begin(const QString &script, ChildSpec spec = {})
    {
        spec.program = u"/bin/sh"_s;
        spec.arguments = {u"-c"_s, script};
        begin(spec);
    }
    void begin(const ChildSpec &spec)
    {
        child = factory.create(spec);
        child->onOutputLine = [this](const QByteArray &line) { lines.append(line); };
        child->onErrorLine = [this](const QByteArray &line) { errorLines.append(line); };
        child->onOutputClosed = [this] { isOutputClosed = true; };
        child->onWriteFailed = [this](const ChildWriteError &) { isWriteLost = true; };
        child->onExit = [this](const ChildExit &exit) {
            EXPECT_FALSE(ended) << "told twice";
            ended = exit;
        };
        child->start();
        EXPECT_FALSE(ended) << "told from inside start()";
    }
    [[nodiscard]] bool waitForLines(qsizetype count)
    {
        return waitUntil([this, count] { return lines.size() >= count; });
    }
    [[nodiscard]] std::optional<ChildExit> waitForExit()
    {
        EXPECT_TRUE(waitUntil([this] { return ended.has_value(); }));
        return ended;
    }

    QtChildProcessFactory factory;
    std::unique_ptr<ChildProcess> child;
    QList<QByteArray> lines;
    QList<QByteArray> errorLines;
    bool isOutputClosed = false;
    bool isWriteLost = false;
    std::optional<ChildExit> ended;
};

TEST_F(QtChildProcessTest, TalksLineByLineInItsEnvironmentAndFolder)
{
    const TestHome home;
    ChildSpec spec;
    spec.errors = ChildSpec::Errors::Lines;
    spec.environment = {{u"KH_WORD"_s, u"a b"_s}, {u"HOME"_s, std::nullopt}};
    spec.workingDirectory = home.path();
    begin(uR"SH(echo "$KH_WORD|$HOME|$(pwd)"; echo oops >&2
              while read -r line; do echo "<$line>"; done; printf unfinished; exit 3)SH"_s,
          spec);
    ASSERT_TRUE(waitForLines(1));
    EXPECT_EQ(lines[0], "a b||" + home.path().toUtf8());
    EXPECT_TRUE(child->isRunning());
    ASSERT_TRUE(child->write("one\ntw"));
    ASSERT_TRUE(waitForLines(2));
    ASSERT_TRUE(child->write("o\n"));
    ASSERT_TRUE(waitForLines(3));
    child->closeInput();
    EXPECT_FALSE(child->write("late\n"));
    EXPECT_EQ(waitForExit(), (ChildExit{Kind::Exited, 3, {}}));
    EXPECT_EQ(lines.sliced(1), (QList<QByteArray>{"<one>", "<two>"}));
    EXPECT_EQ(errorLines, QList<QByteArray>{"oops"});
    EXPECT_FALSE(child->isRunning());
}

TEST_F(QtChildProcessTest, TheLastLinesComeBeforeTheEnd)
{
    begin(u"i=0; while [ $i -lt 20000 ]; do echo line-$i; i=$((i+1)); done"_s);
    child->onExit = [this](const ChildExit &exit) {
        EXPECT_EQ(lines.size(), 20000);
        ended = exit;
    };
    EXPECT_EQ(waitForExit()->kind, Kind::Exited);
    EXPECT_EQ(lines.last(), "line-19999");
}

TEST_F(QtChildProcessTest, WhatCannotStartSaysWhy)
{
    const TestHome home;
    for (const QString &program : {u"no-such-program"_s, home.write(u"plain"_s, "x")}) {
        ChildSpec spec;
        spec.program = program;
        begin(spec);
        EXPECT_FALSE(child->write("x\n"));
        EXPECT_EQ(waitForExit()->kind, Kind::CannotStart);
        EXPECT_TRUE(ended->error.contains(program));
        ended.reset();
    }
    ChildSpec nowhere;
    nowhere.workingDirectory = home.path(u"absent"_s);
    begin(u"true"_s, nowhere);
    EXPECT_EQ(waitForExit()->kind, Kind::CannotStart);
    EXPECT_FALSE(ended->error.isEmpty());
}

TEST_F(QtChildProcessTest, AFloodWithoutLineEndsEndsTheChild)
{
    ChildSpec spec;
    spec.lineLimit = 100'000;
    begin(u"echo hello; exec cat /dev/zero"_s, spec);
    EXPECT_EQ(waitForExit()->kind, Kind::Flooded);
    EXPECT_EQ(lines, QList<QByteArray>{"hello"});
    EXPECT_TRUE(waitUntil([this] { return !child->isRunning(); }));
}

/// A child that says more than is handled waits in its write; nothing of it lies in our memory.
TEST_F(QtChildProcessTest, AFloodOfLinesWaitsForTheReader)
{
    begin(u"echo $$; exec yes some line of text"_s);
    ASSERT_TRUE(waitForLines(1));
    const QByteArray io = "/proc/" + lines[0] + "/io";
    const auto written = [&io] {
        QFile file(QString::fromUtf8(io));
        const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        return text.split('\n').value(1).split(' ').value(1).toLongLong();
    };
    // The loop does not turn here, so nothing is read: the pipe fills and the child stops.
    qint64 before = -1;
    qint64 now = written();
    for (int look = 0; look < 500 && before != now; ++look) {
        before = now;
        ::usleep(2000);
        now = written();
    }
    qint64 handled = 0;
    for (const auto &line : lines)
        handled += line.size() + 1;
    EXPECT_LE(now - handled, 256 * 1024);
    child.reset();
    EXPECT_TRUE(waitUntil([&] { return !QFile::exists(QString::fromUtf8(io)); }));
}

TEST_F(QtChildProcessTest, WhatTheChildDoesNotReadIsBounded)
{
    ChildSpec spec;
    spec.writeLimit = 1'000'000;
    begin(u"exec sleep 60"_s, spec);
    const QByteArray piece(100'000, 'x');
    int taken = 0;
    while (taken < 100 && child->write(piece))
        ++taken;
    EXPECT_EQ(taken, 10);
    EXPECT_EQ(child->write(piece).error().kind, ChildWriteError::Kind::Full);
}

TEST_F(QtChildProcessTest, ClosedStreamsAreToldWhileTheChildLives)
{
    begin(u"echo ready; exec <&- >&-; exec sleep 60"_s);
    EXPECT_TRUE(waitUntil([this] { return isOutputClosed; }));
    EXPECT_EQ(lines, QList<QByteArray>{"ready"});
    ASSERT_TRUE(child->write(QByteArray(200'000, 'x')));
    EXPECT_TRUE(waitUntil([this] { return isWriteLost; }));
    EXPECT_FALSE(child->write("more"));
    EXPECT_TRUE(child->isRunning());
}

/// The leader obeys the first signal; its child, which ignores it, must not live on.
TEST_F(QtChildProcessTest, TheWholeGroupEnds)
{
    const QString stubborn = u"sh -c 'trap \"\" TERM; echo $$; while :; do sleep 60; done' & "_s;
    ChildSpec spec;
    spec.grace = 200ms;
    for (const auto *how : {"terminate", "destroy", "leader ends"}) {
        SCOPED_TRACE(how);
        const bool ends = QByteArray(how) == "leader ends";
        lines.clear();
        begin(stubborn + (ends ? u"read -r go"_s : u"wait"_s), spec);
        ASSERT_TRUE(waitForLines(1));
        const pid_t process = lines[0].toInt();
        if (QByteArray(how) == "destroy")
            child.reset();
        else if (ends)
            ASSERT_TRUE(child->write("go\n"));
        else
            child->terminate();
        EXPECT_TRUE(waitUntil([=] { return !isAlive(process); }, 10s));
        if (isAlive(process))
            ::kill(process, SIGKILL);
        if (child)
            EXPECT_EQ(waitForExit()->kind, ends ? Kind::Exited : Kind::Crashed);
        ended.reset();
    }
}

TEST_F(QtChildProcessTest, AChildThatHasJustBegunEndsAtOnceToo)
{
    ChildSpec spec;
    spec.grace = 1min;
    for (int i = 0; i < 50; ++i) {
        begin(u"exec sleep 60"_s, spec);
        child->terminate();
        ASSERT_TRUE(waitUntil([this] { return ended.has_value(); }, 10s));
        ended.reset();
    }
}

TEST_F(QtChildProcessTest, ACallbackMayDestroyTheChild)
{
    begin(u"echo $$; echo two; exec sleep 60"_s);
    pid_t process = 0;
    child->onOutputLine = [this, &process](const QByteArray &line) {
        process = line.toInt();
        lines.append(line);
        child.reset();
    };
    EXPECT_TRUE(waitUntil([&] { return process > 0 && !isAlive(process); }));
    EXPECT_EQ(lines.size(), 1);
    EXPECT_FALSE(ended) << "nobody is left to be told";

    begin(u"exit 0"_s);
    child->onExit = [this](const ChildExit &exit) {
        ended = exit;
        child.reset();
    };
    EXPECT_EQ(waitForExit()->kind, Kind::Exited);
}

TEST_F(QtChildProcessTest, ClosingKillsTellsAndStartsNothingMore)
{
    begin(u"trap '' TERM; echo $$; while :; do sleep 60; done"_s);
    ASSERT_TRUE(waitForLines(1));
    const pid_t process = lines[0].toInt();
    factory.close();
    EXPECT_EQ(ended.value_or(ChildExit{}).kind, Kind::Crashed);
    EXPECT_TRUE(waitUntil([=] { return !isAlive(process); }));
    ended.reset();
    begin(u"echo again"_s);
    EXPECT_EQ(waitForExit()->kind, Kind::CannotStart);
}

TEST_F(QtChildProcessTest, ALogFileTakesBothStreams)
{
    const TestHome home;
    ChildSpec spec;
    spec.logFile = home.write(u"log"_s, "of an earlier start\n");
    begin(u"echo one; echo two >&2; printf three"_s, spec);
    EXPECT_EQ(waitForExit()->kind, Kind::Exited);
    EXPECT_EQ(home.read(u"log"_s), "one\ntwo\nthree");
    EXPECT_TRUE(lines.isEmpty());
    ended.reset();
    spec.logFile = home.path(u"absent/log"_s);
    begin(u"echo one"_s, spec);
    EXPECT_EQ(waitForExit(), (ChildExit{Kind::Exited, 0, {}})) << "it runs without a log";
}

} // namespace
} // namespace Keelhaven
