#include "SessionHost/HostFixture.h"

#include <QElapsedTimer>
#include <QProcess>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class HostAgentsTest : public HostFixture
{
protected:
    QString prompt(const QString &name, const QString &prompt)
    {
        return errorOf(u"agent.prompt"_s,
                       object({{u"target"_s, JSONValue(name)}, {u"text"_s, JSONValue(prompt)}}));
    }
    void letItFinish() { home.write(u"finish"_s, ""); }
    bool waitForStatus(const QString &pane, const QString &status)
    {
        return waitUntil([&] { return statusIn(pane) == status; });
    }
    bool waitForEnd(const QString &pane)
    {
        return waitUntil([&] { return !agentIn(pane)[u"agent"]; });
    }
    void type(const QString &pane, const QString &keys)
    {
        call(u"pane.send_text"_s, object({{u"pane_id"_s, JSONValue(pane)}, {u"text"_s, JSONValue(keys)}}));
    }
};

} // namespace

TEST_F(HostAgentsTest, ArgumentsArriveOneForOneWhateverTheyHold)
{
    const QString pane = makePane(object({{u"KEELHAVEN_RUN_ID"_s, JSONValue(u"run-7"_s)}}));
    const QStringList arguments{u"--settings"_s,
                                u"{\"a\": \"b c\"}"_s,
                                u"it's $(id) `x` \\ ; & | * ~"_s,
                                u""_s,
                                u"-n"_s,
                                u"two\nlines\ttab"_s,
                                u"é😀"_s,
                                QString(100000, u'x'),
                                u"!history"_s,
                                u"trailing\\"_s};
    startAgent(u"claude"_s, u"one"_s, pane, arguments);
    const auto note = notes(u"claude"_s).value(0);
    EXPECT_EQ(JSONCodec<QList<QString>>::decode(member(note, u"argv")), arguments);
    EXPECT_EQ(text(note, u"run"), u"run-7"_s);
    EXPECT_EQ(text(note, u"cwd"), home.path());
    EXPECT_TRUE(
        QDir(paths.launchFolder).entryList(QDir::Files).isEmpty()); // nothing with the arguments stays behind
}

TEST_F(HostAgentsTest, StartTellsBusyUntilTheShellIsReady)
{
    // The profile waits for this file, as a slow one would.
    home.write(u".bash_profile"_s,
               "while [ ! -e ~/go ]; do sleep 0.02; done\nexport PATH=\"$HOME/slow:$HOME/bin:$PATH\"\n");
    const QString slow = home.write(
        u"slow/claude"_s,
        "#!/bin/sh\nwhile [ ! -e ~/come ]; do sleep 0.02; done\nexec \"$HOME/bin/claude\" \"$@\"\n");
    QFile::setPermissions(slow, QFile::ReadOwner | QFile::ExeOwner);
    const QString pane = makePane();
    const auto start = object({{u"name"_s, JSONValue(u"one"_s)},
                               {u"kind"_s, JSONValue(u"claude"_s)},
                               {u"pane_id"_s, JSONValue(pane)}});
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(errorOf(u"agent.start"_s, start), u"agent_pane_busy"_s);
    home.write(u"go"_s, "");
    startOnly(u"claude"_s, u"one"_s, pane);
    EXPECT_EQ(member(agentIn(pane), u"launch_pending").boolValue(), true);
    EXPECT_EQ(errorOf(u"agent.start"_s, start), u"agent_pane_busy"_s);
    home.write(u"come"_s, "");
    ASSERT_TRUE(waitForStatus(pane, u"idle"_s));
    EXPECT_EQ(errorOf(u"agent.start"_s, start), u"agent_pane_busy"_s);

    const QString other = makePane();
    auto again = start;
    again.set(u"pane_id"_s, JSONValue(other));
    EXPECT_TRUE(waitUntil([&] { return errorOf(u"agent.start"_s, again) == u"agent_name_taken"; }));
    again.set(u"kind"_s, JSONValue(u"vim"_s));
    EXPECT_EQ(errorOf(u"agent.start"_s, again), u"agent_kind_unknown"_s);
    EXPECT_EQ(notes(u"claude"_s).size(), 1);
}

TEST_F(HostAgentsTest, AProgramInThePaneKeepsItBusy)
{
    const QString pane = makePane();
    runInPane(pane, u"sh -c 'touch ~/running; exec sleep 600'"_s,
              [&] { return QFile::exists(home.path(u"running"_s)); });
    const auto start = object({{u"name"_s, JSONValue(u"one"_s)},
                               {u"kind"_s, JSONValue(u"claude"_s)},
                               {u"pane_id"_s, JSONValue(pane)}});
    EXPECT_EQ(errorOf(u"agent.start"_s, start), u"agent_pane_busy"_s);
    type(pane, u"\x03"_s);
    startAgent(u"claude"_s, u"one"_s, pane);
    EXPECT_EQ(text(agentIn(pane), u"agent"), u"claude"_s);
}

TEST_F(HostAgentsTest, PromptsArriveWholeWithEnterOnItsOwn)
{
    letItFinish();
    const QString pane = makePane();
    startAgent(u"claude"_s, u"one"_s, pane);
    QString huge;
    while (huge.size() < 256 * 1024)
        huge += u"-x /a !b #{pid} \"q\" 's' $(id) `x`; \\ é😀\n\ttab\n"_s;
    const QStringList prompts{u"a"_s,
                              u"-n --flag;"_s,
                              u"two\nlines\n"_s,
                              u"~nobody-of-this-name/x and ~/y"_s,
                              u"!ls #{pid} $HOME ~ \\"_s,
                              u"Enter C-c \x1b[31mred"_s,
                              u"end\x1b[201~\rmore"_s,
                              huge};
    for (const QString &each : prompts) {
        ASSERT_TRUE(waitForStatus(pane, u"idle"_s));
        const auto before = typedInto(u"claude"_s).size();
        ASSERT_EQ(prompt(u"one"_s, each), QString());
        ASSERT_TRUE(waitUntil([&] { return typedInto(u"claude"_s).size() > before; }));
    }
    const auto typed = typedInto(u"claude"_s);
    ASSERT_EQ(typed.size(), prompts.size());
    for (qsizetype i = 0; i < prompts.size(); ++i)
        EXPECT_TRUE(typed[i] == "\x1b[200~" + pastable(prompts[i]) + "\x1b[201~")
            << i << typed[i].left(200).constData();
    for (const JSONValue &note : notes(u"claude"_s)) {
        if (note[u"typed"]) {
            EXPECT_EQ(member(note, u"enter").boolValue(), true) << note.encoded().left(100).constData();
        }
    }
}

TEST_F(HostAgentsTest, PromptsAtOnceDoNotMix)
{
    letItFinish();
    const QString pane = makePane();
    startAgent(u"claude"_s, u"one"_s, pane, {u"--no-paste"_s});
    const auto ask = [&](const QString &letter) {
        const JSONObject request{
            {u"method"_s, JSONValue(u"agent.prompt"_s)},
            {u"params"_s, JSONValue(object({{u"target"_s, JSONValue(u"one"_s)},
                                            {u"text"_s, JSONValue(QString(50000, letter.front()))}}))}};
        return host->methods.serve(JSONValue(request).encoded());
    };
    auto first = ask(u"a"_s);
    auto second = ask(u"b"_s);
    static_cast<void>(await(std::move(first)));
    static_cast<void>(await(std::move(second)));
    const QByteArray expected = QByteArray(50000, 'a') + '\r' + QByteArray(50000, 'b');
    const auto seen = [&] { return QByteArrayList(typedInto(u"claude"_s)).join('\r'); };
    ASSERT_TRUE(waitUntil([&] { return seen().size() >= expected.size(); }));
    EXPECT_TRUE(seen() == expected);
}

TEST_F(HostAgentsTest, StatusFollowsTheSessionFileAndTheScreenAlike)
{
    for (const QStringList &options : {QStringList(), QStringList{u"--no-session"_s}}) {
        QFile::remove(home.path(u"finish"_s));
        const QString pane = makePane();
        const QString name = u"agent-"_s + QString::number(options.size());
        startAgent(u"claude"_s, name, pane, options + QStringList{u"--dialog"_s});
        EXPECT_EQ(statusIn(pane), u"blocked"_s);
        EXPECT_EQ(prompt(name, u"y"_s), u"agent_blocked"_s); // it would be taken for an answer
        type(pane, u"\x1b[B"_s);
        type(pane, u"\r"_s);
        ASSERT_TRUE(waitForStatus(pane, u"idle"_s));
        ASSERT_EQ(prompt(name, u"work"_s), QString());
        ASSERT_TRUE(waitForStatus(pane, u"working"_s));
        letItFinish();
        ASSERT_TRUE(waitForStatus(pane, u"idle"_s));
        EXPECT_EQ(text(agentIn(pane), u"name"), name);
        EXPECT_FALSE(agentIn(pane)[u"interactive_ready"]);
    }
}

TEST_F(HostAgentsTest, AListThatIsGivenAgainMissesNothing)
{
    const QString pane = makePane();
    const QString other = makePane();
    startAgent(u"claude"_s, u"one"_s, pane);
    startAgent(u"claude"_s, u"two"_s, other);
    const QDir sessions(home.path(u".claude/sessions"_s));
    // A screen that asks for input tells of the agent before its file does.
    QStringList files;
    ASSERT_TRUE(waitUntil([&] {
        files = sessions.entryList({u"*.json"_s}, QDir::Files);
        return files.size() == 2;
    }));
    const auto tell = [&](const char *from, const char *to) {
        for (const QString &file : files) {
            const QString name = u".claude/sessions/"_s + file;
            home.write(name, home.read(name).replace(from, to));
        }
    };
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(statusIn(pane) + statusIn(other), u"idleidle"_s) << round;
        tell("idle", "busy");
        ASSERT_EQ(statusIn(pane) + statusIn(other), u"workingworking"_s) << round;
        tell("busy", "idle");
    }
    const auto process = QFileInfo(files.first()).baseName().toInt();
    ASSERT_EQ(::kill(process, SIGKILL), 0);
    ASSERT_TRUE(waitUntil([&] { return !agentIn(pane)[u"agent"] || !agentIn(other)[u"agent"]; }, 500ms));
    ASSERT_FALSE(agentIn(other).isNull());
    call(u"pane.close"_s, object({{u"pane_id"_s, JSONValue(other)}}));
    EXPECT_TRUE(agentIn(other).isNull());
    EXPECT_FALSE(agentIn(pane).isNull());
}

TEST_F(HostAgentsTest, AnEndedAgentLeavesAShellThatTakesTheNext)
{
    const QString pane = makePane();
    startAgent(u"claude"_s, u"one"_s, pane);
    ASSERT_EQ(prompt(u"one"_s, u"/exit"_s), QString());
    ASSERT_TRUE(waitForEnd(pane));
    EXPECT_EQ(member(agentIn(pane), u"launch_pending").boolValue(), false);
    EXPECT_EQ(prompt(u"one"_s, u"hello"_s), u"no_such_agent"_s); // the shell would run it
    EXPECT_FALSE(
        member(call(u"agent.get"_s, object({{u"target"_s, JSONValue(u"one"_s)}})), u"agent")[u"agent"]);
    runInPane(pane, u"touch ~/usable"_s, [&] { return QFile::exists(home.path(u"usable"_s)); });
    startAgent(u"codex"_s, u"one"_s, pane);
    EXPECT_EQ(text(agentIn(pane), u"agent"), u"codex"_s);
}

TEST_F(HostAgentsTest, ALaunchThatFailsSaysSoAndShowsWhy)
{
    QFile::remove(home.path(u"bin/codex"_s));
    const struct
    {
        QString kind;
        QString argument;
        QString shown;
    } cases[] = {{u"claude"_s, u"--crash"_s, u"cannot start: no licence"_s},
                 {u"codex"_s, u"-x"_s, u"codex: command not found"_s}};
    for (const auto &c : cases) {
        const QString pane = makePane();
        const JSONObject start = object({{u"name"_s, JSONValue(c.kind)},
                                         {u"kind"_s, JSONValue(c.kind)},
                                         {u"pane_id"_s, JSONValue(pane)},
                                         {u"args"_s, JSONValue(JSONArray{JSONValue(c.argument)})}});
        // Busy while the shell comes up; on a machine under load the answer may come before the end.
        EXPECT_TRUE(waitUntil([&] { return errorOf(u"agent.start"_s, start) == u"agent_exited"; }))
            << c.kind.toStdString();
        EXPECT_FALSE(agentIn(pane)[u"agent"]);
        EXPECT_TRUE(screen(pane).contains(c.shown)) << screen(pane).toStdString();
    }
}

TEST_F(HostAgentsTest, AgentsThatComeUpTogetherAreNotWaitedForOneByOne)
{
    QFile::remove(home.path(u"bin/claude"_s));
    const QString endless = home.write(u"bin/claude"_s, "#!/bin/sh\nexec sleep 600\n");
    QFile::setPermissions(endless, QFile::ReadOwner | QFile::ExeOwner);
    QList<qint64> waits;
    for (int i = 0; i < 5; ++i) {
        const JSONObject start = object({{u"name"_s, JSONValue(QString::number(i))},
                                         {u"kind"_s, JSONValue(u"claude"_s)},
                                         {u"pane_id"_s, JSONValue(makePane())}});
        QElapsedTimer timer;
        EXPECT_TRUE(waitUntil([&] {
            timer.start();
            return errorOf(u"agent.start"_s, start).isEmpty();
        }));
        waits.append(timer.elapsed());
    }
    const qint64 first = waits.takeFirst();
    EXPECT_GE(first, 250) << "it was alone, and might have been there at once";
    EXPECT_LT(*std::ranges::min_element(waits), first);
}

TEST_F(HostAgentsTest, CodexTellsWhenItsInputIsReadyOnce)
{
    const QString run = u"6F9619FF-8B86-D011-B42D-00CF4FC964FF"_s;
    const QString pane = makePane(object({{u"KEELHAVEN_RUN_ID"_s, JSONValue(run)}}));
    startAgent(u"codex"_s, u"one"_s, pane);
    EXPECT_EQ(JSONCodec<QList<QString>>::decode(member(notes(u"codex"_s).value(0), u"argv")),
              QList<QString>{u"--no-daemon"_s});
    ASSERT_TRUE(waitForStatus(pane, u"idle"_s));
    EXPECT_EQ(member(agentIn(pane), u"interactive_ready").boolValue(), true);
    const QString file = u".cache/keelhaven/codex-runs/"_s + run + u".jsonl"_s;
    const auto line = JSONValue::parse(QByteArrayView(home.read(file)));
    ASSERT_TRUE(line);
    EXPECT_EQ(text(*line, u"type"), u"SessionStart"_s);
    EXPECT_EQ(text(*line, u"provider"), u"codex"_s);
    EXPECT_EQ(text(*line, u"source"), u"codex"_s);
    EXPECT_EQ(text(*line, u"run_id"), run);
    EXPECT_GT(member(*line, u"ts").doubleValue().value_or(0), 1.7e9);
    EXPECT_FALSE((*line)[u"session_id"]);

    ASSERT_EQ(prompt(u"one"_s, u"work"_s), QString());
    ASSERT_TRUE(waitForStatus(pane, u"working"_s)); // only the title tells
    restartHost();
    EXPECT_EQ(statusIn(pane), u"working"_s);
    letItFinish();
    ASSERT_TRUE(waitForStatus(pane, u"idle"_s));
    EXPECT_EQ(home.read(file).count('\n'), 1);
}

TEST_F(HostAgentsTest, ARestartedHostKnowsItsAgents)
{
    const QString claude = makePane();
    const QString shell = makePane();
    startAgent(u"claude"_s, u"one"_s, claude);
    const QString coming = makePane();
    home.write(u"bin/codex"_s,
               "#!/bin/sh\nwhile [ ! -e ~/go ]; do sleep 0.02; done\nexec \"$HOME/bin/real\" \"$@\"\n");
    startOnly(u"codex"_s, u"two"_s, coming);
    const auto before = agentIn(claude);
    restartHost();
    EXPECT_EQ(agentIn(claude), before);
    EXPECT_TRUE(agentIn(shell).isNull());
    EXPECT_EQ(member(agentIn(coming), u"launch_pending").boolValue(), true);
    EXPECT_EQ(prompt(u"two"_s, u"hello"_s), u"agent_not_ready"_s);
    ASSERT_EQ(prompt(u"one"_s, u"/exit"_s), QString());
    ASSERT_TRUE(waitForEnd(claude));
    restartHost();
    EXPECT_FALSE(agentIn(claude)[u"agent"]);
}

TEST_F(HostAgentsTest, AnAgentStartedByHandIsSeenWhileItRuns)
{
    const QString pane = makePane();
    EXPECT_TRUE(agentIn(pane).isNull());
    type(pane, u"claude --no-session\r"_s);
    ASSERT_TRUE(waitForStatus(pane, u"idle"_s));
    EXPECT_EQ(text(agentIn(pane), u"agent"), u"claude"_s);
    EXPECT_FALSE(agentIn(pane)[u"name"]);
    type(pane, u"/exit\r"_s);
    EXPECT_TRUE(waitUntil([&] { return agentIn(pane).isNull(); }));
}

} // namespace Keelhaven
