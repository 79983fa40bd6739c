#include "Contract/JSONValue.h"
#include "Herdr/Wire/HerdrStatusJSON.h"
#include "SessionHost/HostClient.h"
#include "SessionHost/HostPaths.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QProcess>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString program = QStringLiteral(KEELHAVEN_BIN_DIR "/keelhaven-host");

/// The program itself, as a service manager and a person start it.
class HostProgramTest : public ::testing::Test
{
protected:
    HostProgramTest()
    {
        home.enter();
        qputenv("SHELL", "/bin/bash");
        paths = HostPaths::fromEnvironment().value();
    }
    ~HostProgramTest() override { static_cast<void>(run({u"server"_s, u"stop"_s, u"--panes"_s})); }

    struct Ended
    {
        int status = -1;
        QByteArray output;
        QByteArray errors;
    };
    static Ended run(const QStringList &arguments)
    {
        QProcess process;
        process.start(program, arguments);
        process.waitForFinished(20000);
        return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }

    void startServer(QProcess &server)
    {
        server.start(program, {u"server"_s});
        ASSERT_TRUE(waitUntil([&] { return ask("ping").contains("result"); }));
    }
    QByteArray ask(const QByteArray &method, const QByteArray &params = "{}")
    {
        return askHost(paths.socket, R"({"id":"x","method":")" + method + R"(","params":)" + params + '}',
                       10s)
            .value_or(QByteArray());
    }

    TestHome home;
    HostPaths paths;
};

} // namespace

TEST_F(HostProgramTest, ServesUntilItIsToldToStopAndLeavesThePanes)
{
    QProcess server;
    startServer(server);
    struct stat info = {};
    ASSERT_EQ(::stat(QFileInfo(paths.socket).path().toUtf8().constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700U);

    const auto status = decodeRecordBytes<HerdrStatusJSON>(run({u"status"_s, u"--json"_s}).output);
    ASSERT_TRUE(status);
    EXPECT_TRUE(status->client.version.startsWith(u"0.9.1+"));
    EXPECT_EQ(status->client.version.size(), 14);
    EXPECT_EQ(status->client.protocol, 22);
    EXPECT_EQ(status->client.binary, QFileInfo(program).canonicalFilePath());
    EXPECT_TRUE(status->server.running);
    EXPECT_EQ(status->server.version, status->client.version);
    EXPECT_EQ(status->server.protocol, 22);
    EXPECT_EQ(status->server.compatible, true);
    EXPECT_EQ(status->server.restartNeeded, false);
    EXPECT_EQ(status->server.socket, paths.socket);

    const auto second = run({u"server"_s});
    EXPECT_EQ(second.status, 1);
    EXPECT_TRUE(second.errors.contains("already answers"));

    ASSERT_TRUE(ask("workspace.create", R"({"label":"kept"})").contains("result"));
    EXPECT_EQ(run({u"server"_s, u"stop"_s}).status, 0);
    EXPECT_TRUE(server.waitForFinished(5000));
    EXPECT_EQ(server.exitCode(), 0);
    EXPECT_FALSE(decodeRecordBytes<HerdrStatusJSON>(run({u"status"_s, u"--json"_s}).output)->server.running);

    QProcess next;
    startServer(next);
    EXPECT_TRUE(ask("workspace.list").contains("\"kept\""));
    next.terminate();
    EXPECT_TRUE(next.waitForFinished(5000));
    EXPECT_EQ(next.exitStatus(), QProcess::NormalExit);
    EXPECT_FALSE(QFile::exists(paths.socket));

    // The panes are closed, also when no server is there to ask.
    EXPECT_EQ(run({u"server"_s, u"stop"_s, u"--panes"_s}).status, 0);
    QProcess last;
    startServer(last);
    EXPECT_FALSE(ask("workspace.list").contains("kept"));
    last.terminate();
    EXPECT_TRUE(last.waitForFinished(5000));
}

TEST_F(HostProgramTest, AKilledServersPlaceIsTaken)
{
    QProcess server;
    startServer(server);
    server.kill();
    server.waitForFinished();
    EXPECT_TRUE(QFile::exists(paths.socket));
    QProcess next;
    startServer(next);
    next.terminate();
    EXPECT_TRUE(next.waitForFinished(5000));
}

TEST_F(HostProgramTest, WrongUsageIsOneLineAndTwo)
{
    for (const QStringList &arguments :
         {QStringList{u"serve"_s}, {u"--session"_s, u"../x"_s}, {u"status"_s, u"--xml"_s}}) {
        const auto ended = run(arguments);
        EXPECT_EQ(ended.status, 2) << arguments.join(u' ').toStdString();
        EXPECT_EQ(ended.errors.count('\n'), 1) << ended.errors.constData();
    }
    EXPECT_EQ(run({u"--help"_s}).status, 0);
    EXPECT_EQ(run({}).status, 1); // no terminal to show anything in
}

TEST_F(HostProgramTest, AttachingShowsTheFocusedPaneAndStaysVisibleAmongTheProcesses)
{
    // A terminal to attach in: a pane of another tmux server. The host is started by the attach itself.
    const QString outer = home.path(u"outer.sock"_s);
    const auto tmux = [](const QString &socket, const QStringList &arguments) {
        QProcess process;
        process.start(u"tmux"_s, QStringList{u"-S"_s, socket, u"-f"_s, u"/dev/null"_s} + arguments);
        process.waitForFinished(10000);
        return process.readAllStandardOutput();
    };
    tmux(outer, {u"new-session"_s, u"-d"_s, u"-x"_s, u"100"_s, u"-y"_s, u"30"_s,
                 program + u" --session keelhaven"_s});
    const auto shown = [&] { return tmux(outer, {u"capture-pane"_s, u"-p"_s}); };
    ASSERT_TRUE(waitUntil([&] { return shown().contains("No session is open"); })) << shown().constData();

    QProcess ps;
    ps.start(u"ps"_s, {u"-axo"_s, u"command="_s});
    ps.waitForFinished();
    EXPECT_TRUE(
        ps.readAllStandardOutput().split('\n').contains((program + u" --session keelhaven"_s).toUtf8()));

    const auto created = JSONValue::parse(QByteArrayView(ask("workspace.create", R"({"label":"w"})")));
    const QByteArray pane = (*(*(*created)[u"result"])[u"root_pane"])[u"pane_id"]->stringValue()->toUtf8();
    EXPECT_TRUE(
        ask("pane.send_text", R"({"pane_id":")" + pane + R"(","text":"echo se''en\r"})").contains("result"));
    EXPECT_TRUE(ask("pane.focus", R"({"pane_id":")" + pane + R"("})").contains("result"));
    EXPECT_TRUE(waitUntil([&] { return shown().contains("\nseen"); })) << shown().constData();
    tmux(outer, {u"kill-server"_s});
}

} // namespace Keelhaven
