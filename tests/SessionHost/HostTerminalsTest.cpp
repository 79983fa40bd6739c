#include "SessionHost/HostFixture.h"

#include <QElapsedTimer>
#include <QProcess>
#include <csignal>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class HostTerminalsTest : public HostFixture
{
protected:
    QStringList texts(const QString &method, QStringView list, QStringView key)
    {
        QStringList found;
        const auto values = member(call(method), list);
        if (!values.arrayValue())
            return found;
        for (const JSONValue &each : *values.arrayValue())
            found.append(text(each, key));
        return found;
    }

    pid_t pidFrom(const QString &file)
    {
        pid_t pid = 0;
        EXPECT_TRUE(waitUntil([&] { return (pid = home.read(file).trimmed().toInt()) > 0; }));
        return pid;
    }
};

bool isGone(pid_t pid)
{
    return ::kill(pid, 0) != 0;
}

} // namespace

TEST_F(HostTerminalsTest, LabelsFoldersAndVariablesArriveAsTheyStand)
{
    const QString label = u"~ #{pid} a.b:c; \"q\" 'x' $HOME\n%1 é😀 \\"_s;
    const QString folder = home.path(u"a #{pid} ##[b#[c $(x) 'q';"_s);
    QDir().mkpath(folder);
    const QString value = u"a b;c\n$HOME `x` #{pid} \"q\" \\ é;"_s;
    const auto created =
        call(u"workspace.create"_s, object({{u"label"_s, JSONValue(label)},
                                            {u"cwd"_s, JSONValue(folder)},
                                            {u"env"_s, JSONValue(object({{u"ODD"_s, JSONValue(value)}}))}}));
    EXPECT_EQ(text(member(created, u"root_pane"), u"cwd"), folder);
    EXPECT_EQ(texts(u"workspace.list"_s, u"workspaces", u"label"), QStringList{label});
    EXPECT_NE(texts(u"tab.list"_s, u"tabs", u"label"), QStringList{label}); // the tab has none of its own yet
    const QString tab = text(member(created, u"tab"), u"tab_id");
    for (const QString &each : {u""_s, u"%"_s, label}) {
        call(u"tab.rename"_s, object({{u"tab_id"_s, JSONValue(tab)}, {u"label"_s, JSONValue(each)}}));
        EXPECT_EQ(texts(u"tab.list"_s, u"tabs", u"label"), QStringList{each});
    }

    const QString pane = text(member(created, u"root_pane"), u"pane_id");
    runInPane(pane, u"printf '%s|%s' \"$PWD\" \"$ODD\" > ~/out.new; umask > ~/umask; mv ~/out.new ~/out"_s,
              [&] { return QFile::exists(home.path(u"out"_s)); });
    EXPECT_EQ(QString::fromUtf8(home.read(u"out"_s)), folder + u'|' + value);
    EXPECT_EQ(home.read(u"umask"_s).trimmed(), "0022"); // the user's, not the host's own

    restartHost();
    EXPECT_EQ(texts(u"workspace.list"_s, u"workspaces", u"label"), QStringList{label});
    EXPECT_EQ(texts(u"tab.list"_s, u"tabs", u"tab_id"), QStringList{tab});
}

TEST_F(HostTerminalsTest, VariablesOfTheFirstTabDoNotLeakIntoTheNext)
{
    const auto created =
        call(u"workspace.create"_s,
             object({{u"env"_s, JSONValue(object({{u"KEELHAVEN_RUN_ID"_s, JSONValue(u"first"_s)},
                                                  {u"KEELHAVEN_RUN_DIR"_s, JSONValue(u"/first"_s)}}))}}));
    const QString workspace = text(member(created, u"workspace"), u"workspace_id");
    const auto tab =
        call(u"tab.create"_s,
             object({{u"workspace_id"_s, JSONValue(workspace)},
                     {u"label"_s, JSONValue(u"second"_s)},
                     {u"env"_s, JSONValue(object({{u"KEELHAVEN_RUN_ID"_s, JSONValue(u"second"_s)}}))}}));
    EXPECT_EQ(text(member(tab, u"tab"), u"workspace_id"), workspace);
    runInPane(text(member(tab, u"root_pane"), u"pane_id"),
              u"echo \"$KEELHAVEN_RUN_ID,$KEELHAVEN_RUN_DIR\" > ~/run"_s,
              [&] { return home.read(u"run"_s).endsWith('\n'); });
    EXPECT_EQ(home.read(u"run"_s), "second,\n");
    EXPECT_EQ(texts(u"tab.list"_s, u"tabs", u"label").last(), u"second"_s);
}

TEST_F(HostTerminalsTest, WorkspacesMayShareALabelAndGoWithTheirLastTab)
{
    const QString first = makePane();
    const QString second = makePane();
    EXPECT_EQ(texts(u"workspace.list"_s, u"workspaces", u"label"), (QStringList{u"Runs"_s, u"Runs"_s}));
    const auto ids = texts(u"workspace.list"_s, u"workspaces", u"workspace_id");
    const auto tabs = texts(u"tab.list"_s, u"tabs", u"tab_id");
    call(u"tab.close"_s, object({{u"tab_id"_s, JSONValue(tabs.first())}}));
    EXPECT_EQ(texts(u"workspace.list"_s, u"workspaces", u"workspace_id"), ids.last(1));
    call(u"pane.close"_s, object({{u"pane_id"_s, JSONValue(second)}}));
    EXPECT_EQ(texts(u"workspace.list"_s, u"workspaces", u"workspace_id"), QStringList());
    // The terminals go on without any: the next workspace gets new ids.
    EXPECT_NE(makePane(), first);
}

TEST_F(HostTerminalsTest, BadRequestsGetTheirCodes)
{
    const QString pane = makePane();
    const QString gone = publicID(IDKind::Pane, "%77", host->tmux.epoch());
    const auto env = [](const QString &name) { return JSONValue(object({{name, JSONValue(u"x"_s)}})); };
    const std::vector<std::tuple<QString, JSONObject, QString>> cases{
        {u"pane.eat"_s, {}, u"unknown_method"_s},
        {u"pane.read"_s, {}, u"invalid_request"_s},
        {u"pane.read"_s, object({{u"pane_id"_s, JSONValue(7)}}), u"invalid_request"_s},
        {u"pane.read"_s, object({{u"pane_id"_s, JSONValue(gone)}}), u"no_such_pane"_s},
        {u"pane.read"_s, object({{u"pane_id"_s, JSONValue(u"%0"_s)}}), u"no_such_pane"_s}, // the host's own
        {u"pane.read"_s,
         object({{u"pane_id"_s, JSONValue(publicID(IDKind::Pane, "%0", host->tmux.epoch()))}}),
         u"no_such_pane"_s},
        {u"pane.read"_s, object({{u"pane_id"_s, JSONValue(pane)}, {u"lines"_s, JSONValue(-1)}}),
         u"invalid_request"_s},
        {u"pane.read"_s, object({{u"pane_id"_s, JSONValue(pane)}, {u"format"_s, JSONValue(u"pdf"_s)}}),
         u"invalid_request"_s},
        {u"pane.send_text"_s, object({{u"pane_id"_s, JSONValue(gone)}, {u"text"_s, JSONValue(u"x"_s)}}),
         u"no_such_pane"_s},
        {u"pane.close"_s, object({{u"pane_id"_s, JSONValue(u"p000000-1"_s)}}), u"no_such_pane"_s},
        {u"pane.focus"_s, object({{u"pane_id"_s, JSONValue(gone)}}), u"no_such_pane"_s},
        {u"tab.close"_s, object({{u"tab_id"_s, JSONValue(u"t1"_s)}}), u"no_such_tab"_s},
        {u"tab.rename"_s, object({{u"tab_id"_s, JSONValue(u"t1"_s)}, {u"label"_s, JSONValue(u"x"_s)}}),
         u"no_such_tab"_s},
        {u"tab.list"_s, object({{u"workspace_id"_s, JSONValue(u"w1"_s)}}), u"no_such_workspace"_s},
        {u"tab.create"_s, object({{u"workspace_id"_s, JSONValue(u"w1"_s)}}), u"no_such_workspace"_s},
        {u"workspace.create"_s, object({{u"cwd"_s, JSONValue(home.path(u"missing"_s))}}),
         u"no_such_directory"_s},
        {u"workspace.create"_s, object({{u"cwd"_s, JSONValue(u"relative"_s)}}), u"invalid_request"_s},
        {u"workspace.create"_s, object({{u"env"_s, env(u"A=B"_s)}}), u"invalid_request"_s},
        {u"workspace.create"_s, object({{u"env"_s, env(u"-x"_s)}}), u"invalid_request"_s},
        {u"agent.get"_s, object({{u"target"_s, JSONValue(u"nobody"_s)}}), u"no_such_agent"_s},
        {u"agent.prompt"_s, object({{u"target"_s, JSONValue(u"nobody"_s)}, {u"text"_s, JSONValue(u"x"_s)}}),
         u"no_such_agent"_s},
    };
    for (const auto &[method, params, code] : cases)
        EXPECT_EQ(errorOf(method, params), code)
            << method.toStdString() << JSONValue(params).encoded().constData();
    EXPECT_EQ(texts(u"workspace.list"_s, u"workspaces", u"label").size(), 1);

    for (const char *line :
         {"", "{", "[]", "3", R"({"id":"x"})", R"({"method":5})", R"({"method":"ping","params":3})"}) {
        const auto answer = JSONValue::parse(QByteArrayView(await(host->methods.serve(line))));
        ASSERT_TRUE(answer) << line;
        EXPECT_EQ(text(member(*answer, u"error"), u"code"), u"invalid_request"_s) << line;
    }
}

TEST_F(HostTerminalsTest, ReadingGivesTheLastLinesAndSaysWhenThereWasMore)
{
    const QString pane = makePane();
    // A long line counts once, however many screen lines it takes.
    runInPane(pane,
              u"clear; for i in $(seq 1 120); do printf 'line %03d %0500d\\n' $i 0; done; touch ~/done"_s,
              [&] { return QFile::exists(home.path(u"done"_s)); });
    ASSERT_TRUE(waitUntil([&] { return screen(pane).endsWith(u"ready$"); }));
    const auto read = [&](std::optional<int> lines) {
        auto params = object({{u"pane_id"_s, JSONValue(pane)}});
        if (lines)
            params.set(u"lines"_s, JSONValue(*lines));
        return member(call(u"pane.read"_s, params), u"read");
    };
    const auto some = read(60);
    const QStringList lines = text(some, u"text").split(u'\n');
    EXPECT_EQ(lines.size(), 60);
    EXPECT_TRUE(lines.first().startsWith(u"line 062 ")) << lines.first().toStdString();
    EXPECT_EQ(member(some, u"truncated").boolValue(), true);
    const auto all = read(std::nullopt);
    EXPECT_TRUE(text(all, u"text").contains(u"line 001 "));
    EXPECT_EQ(member(all, u"truncated").boolValue(), false);
    EXPECT_FALSE(text(all, u"text").contains(u'\x1b'));
}

TEST_F(HostTerminalsTest, KeystrokesReachTheProgramByteForByte)
{
    const QString pane = makePane();
    const QByteArray bytes =
        QByteArray("\x1b[B\t\x03\x7f;$HOME \\ \"'", 17) + QByteArray(1, '\0') + "é😀\n~end\r";
    runInPane(pane, u"stty raw -echo; touch ~/raw; head -c %1 > ~/got; stty sane"_s.arg(bytes.size()),
              [&] { return QFile::exists(home.path(u"raw"_s)); });
    // A person looks at the scrollback meanwhile: keys must not go there.
    QProcess::execute(u"tmux"_s, {u"-S"_s, paths.tmuxSocket, u"copy-mode"_s, u"-t"_s,
                                  QString::fromLatin1(*tmuxID(IDKind::Pane, pane, host->tmux.epoch()))});
    call(u"pane.send_text"_s,
         object({{u"pane_id"_s, JSONValue(pane)}, {u"text"_s, JSONValue(QString::fromUtf8(bytes))}}));
    ASSERT_TRUE(waitUntil([&] { return home.read(u"got"_s).size() == bytes.size(); }));
    EXPECT_EQ(home.read(u"got"_s), bytes);
}

TEST_F(HostTerminalsTest, ClosingAPaneEndsAllThatWasStartedInItAndNothingElse)
{
    QProcess outsider;
    outsider.start(u"sleep"_s, {u"600"_s});
    ASSERT_TRUE(outsider.waitForStarted());
    const QString neighbour = makePane();
    runInPane(neighbour, u"sleep 600 & echo $! > ~/neighbour"_s, [&] { return pidFrom(u"neighbour"_s) > 0; });
    const QString pane = makePane();
    // A child, one that ignores hang-ups, a daemon that left session and tree, and one that will not be
    // asked.
    runInPane(pane,
              u"sleep 600 & echo $! > ~/child; nohup sleep 600 >/dev/null 2>&1 & echo $! > ~/nohup; "
              u"setsid sh -c 'echo $$ > ~/daemon; exec sleep 600' & "
              u"sh -c 'trap \"\" TERM HUP; echo $$ > ~/stubborn; while :; do sleep 1; done' &"_s,
              [&] { return QFile::exists(home.path(u"stubborn"_s)); });
    const QList<pid_t> doomed{pidFrom(u"child"_s), pidFrom(u"nohup"_s), pidFrom(u"daemon"_s),
                              pidFrom(u"stubborn"_s)};
    call(u"pane.close"_s, object({{u"pane_id"_s, JSONValue(pane)}}));
    for (const pid_t pid : doomed)
        EXPECT_TRUE(waitUntil([&] { return isGone(pid); }, 6s)) << pid;
    EXPECT_FALSE(isGone(pidFrom(u"neighbour"_s)));
    EXPECT_EQ(outsider.state(), QProcess::Running);
    outsider.kill();
    outsider.waitForFinished();
}

TEST_F(HostTerminalsTest, AKilledTerminalServerIsReplacedAndItsIdsDie)
{
    const QString before = makePane();
    QProcess::execute(u"tmux"_s, {u"-S"_s, paths.tmuxSocket, u"kill-server"_s});
    // The call that is under way when it dies fails; the next finds a new server.
    ASSERT_TRUE(waitUntil([&] { return errorOf(u"workspace.list"_s).isEmpty(); }));
    EXPECT_TRUE(texts(u"workspace.list"_s, u"workspaces", u"label").isEmpty());
    const QString after = makePane();
    EXPECT_NE(after, before);
    EXPECT_EQ(errorOf(u"pane.read"_s, object({{u"pane_id"_s, JSONValue(before)}})), u"no_such_pane"_s);
}

TEST_F(HostTerminalsTest, CallsAtOnceShareOneConnection)
{
    // All of them meet a host that is not connected yet.
    std::vector<QCoro::Task<QByteArray>> answers;
    for (int i = 0; i < 20; ++i)
        answers.push_back(
            host->methods.serve(R"({"id":"x","method":"workspace.create","params":{"label":"w"}})"));
    for (auto &answer : answers)
        EXPECT_TRUE(await(std::move(answer)).contains("root_pane"));
    EXPECT_EQ(host->tmux.generation(), 1);
    EXPECT_EQ(texts(u"workspace.list"_s, u"workspaces", u"label").size(), 20);
}

} // namespace Keelhaven
