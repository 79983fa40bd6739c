#include "SessionHost/CommandLine.h"
#include "SessionHost/ControlParser.h"
#include "SessionHost/HostPaths.h"
#include "SessionHost/PaneInput.h"
#include "SessionHost/ProcessReaper.h"
#include "SessionHost/PublicIDs.h"
#include "SessionHost/ScreenText.h"
#include "Support/TestHome.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Action = HostCommand::Action;

TEST(ControlParser, RepliesSurviveAnyCut)
{
    const QByteArray stream = "%begin 17 1 0\n%end 17 1 0\n%session-changed $0 home\n"
                              "%begin 17 2 1\nfirst\n%end 17 1 1\n%begin 9 9 9\n%output x\n%end 17 2 1\n"
                              "%window-add @3\n"
                              "%begin 18 3 1\ncan't find pane: %9\n%error 18 3 1\n"
                              "%begin 18 4 1\n%end 18 4 1\n%exit\n";
    const QList<ControlParser::Reply> expected{{false, true, ""},
                                               {true, true, "first\n%end 17 1 1\n%begin 9 9 9\n%output x\n"},
                                               {true, false, "can't find pane: %9\n"},
                                               {true, true, ""}};
    for (qsizetype size = 1; size < stream.size(); ++size) {
        ControlParser parser;
        QList<ControlParser::Reply> replies;
        for (qsizetype at = 0; at < stream.size(); at += size)
            replies += parser.feed(stream.mid(at, size));
        ASSERT_EQ(replies, expected) << "pieces of " << size;
    }
}

TEST(PublicIDs, OnlyIdsOfThisEpochAndShape)
{
    EXPECT_EQ(publicID(IDKind::Pane, "%12", "1a2b3c"), u"p1a2b3c-12"_s);
    EXPECT_EQ(tmuxID(IDKind::Pane, u"p1a2b3c-12"_s, "1a2b3c"), "%12");
    EXPECT_EQ(tmuxID(IDKind::Tab, u"t1a2b3c-0"_s, "1a2b3c"), "@0");
    EXPECT_EQ(tmuxID(IDKind::Workspace, u"w1a2b3c-7"_s, "1a2b3c"), "$7");
    for (const auto &id : {u"pffffff-12"_s, u"t1a2b3c-12"_s, u"p1a2b3c-"_s, u"p1a2b3c-1;kill-server"_s,
                           u"p1a2b3c--1"_s, u"p1a2b3c-99999999999"_s, u"%12"_s, QString()})
        EXPECT_FALSE(tmuxID(IDKind::Pane, id, "1a2b3c")) << id.toStdString();
    EXPECT_FALSE(tmuxID(IDKind::Pane, u"p-1"_s, ""));
}

TEST(PaneInput, NoPromptEndsItsOwnPaste)
{
    EXPECT_EQ(pastable(u"plain \x1b[31mred\n"_s), "plain \x1b[31mred\n");
    EXPECT_EQ(pastable(u"a\x1b[201~rm -rf\rb\x1b[200~"_s), "arm -rf\rb");
    EXPECT_EQ(pastable(u"\x1b[20\x1b[201~1~x\u009b201~"_s), "x");
}

TEST(ScreenText, CutsAndStrips)
{
    const auto payload = screenPayload("one  \n\ntwo\n   \n\n", std::nullopt, false);
    EXPECT_EQ(payload.text, u"one\n\ntwo"_s);
    EXPECT_FALSE(payload.truncated);
    const auto cut = screenPayload("one\ntwo\nthree\n\n", 2, false);
    EXPECT_EQ(cut.text, u"two\nthree"_s);
    EXPECT_TRUE(cut.truncated);
    EXPECT_TRUE(screenPayload("one\n", 5, true).truncated);
    EXPECT_EQ(screenPayload("\n\n", 5, false).text, QString());
}

TEST(CommandLine, ActionsAndWrongUsage)
{
    const std::vector<std::pair<QStringList, HostCommand>> good{
        {{}, {}},
        {{u"--session"_s, u"keelhaven"_s}, {Action::Attach, u"keelhaven"_s}},
        {{u"server"_s}, {.action = Action::Serve}},
        {{u"server"_s, u"stop"_s}, {.action = Action::StopServer}},
        {{u"server"_s, u"stop"_s, u"--panes"_s}, {Action::StopServer, {}, false, true}},
        {{u"status"_s, u"--json"_s}, {Action::Status, {}, true}},
        {{u"--help"_s}, {.action = Action::Help}},
    };
    for (const auto &[arguments, command] : good) {
        const auto parsed = parseHostCommand(arguments);
        ASSERT_TRUE(parsed) << arguments.join(u' ').toStdString();
        EXPECT_EQ(*parsed, command) << arguments.join(u' ').toStdString();
    }
    for (const QStringList &arguments : {QStringList{u"serve"_s},
                                         {u"--session"_s},
                                         {u"--session"_s, u""_s},
                                         {u"--json"_s},
                                         {u"server"_s, u"--json"_s},
                                         {u"status"_s, u"--panes"_s},
                                         {u"server"_s, u"stop"_s, u"now"_s},
                                         {u"-x"_s}}) {
        const auto parsed = parseHostCommand(arguments);
        ASSERT_FALSE(parsed) << arguments.join(u' ').toStdString();
        EXPECT_FALSE(parsed.error().contains(u'\n'));
    }
}

TEST(HostPaths, SocketsOfDifferentSessionsShareNothing)
{
    const TestHome home;
    home.enter();
    const auto usual = HostPaths::fromEnvironment().value();
    EXPECT_EQ(usual.socket, home.path(u".config/herdr/sessions/keelhaven/herdr.sock"_s));
    EXPECT_EQ(HostPaths::fromEnvironment(u"demo"_s)->socket,
              home.path(u".config/herdr/sessions/demo/herdr.sock"_s));
    for (const auto &name : {u"../x"_s, u"a/b"_s, u"-x"_s, u"a b"_s, QString(65, u'a')})
        EXPECT_FALSE(HostPaths::fromEnvironment(name)) << name.toStdString();

    // A client can connect to 103 bytes; tmux's socket then still fits.
    const QString longest = u"/tmp/"_s + QString(98, u'x');
    qputenv("HERDR_SOCKET_PATH", longest.toUtf8());
    const auto own = HostPaths::fromEnvironment();
    ASSERT_TRUE(own);
    EXPECT_EQ(own->socket, longest);
    EXPECT_TRUE(own->tmuxSocket.startsWith(longest));
    EXPECT_LT(own->tmuxSocket.size(), 108);
    qputenv("HERDR_SOCKET_PATH", (longest + u'x').toUtf8());
    EXPECT_FALSE(HostPaths::fromEnvironment());
    qputenv("HERDR_SOCKET_PATH", "relative.sock");
    EXPECT_FALSE(HostPaths::fromEnvironment());
    qunsetenv("HERDR_SOCKET_PATH");
}

TEST(ProcessTree, ReadsNamesWithBracketsAndBlanks)
{
    const auto info =
        ProcessInfo::parse("42 (a) b (c) S 1 40 39 34817 41 4194560 1 2 3 4 5 6 7 8 20 0 1 0 9876 1 2");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->id, (ProcessID{42, 9876}));
    EXPECT_EQ(info->name, "a) b (c");
    EXPECT_EQ(info->parent, 1);
    EXPECT_EQ(info->group, 40);
    EXPECT_EQ(info->session, 39);
    EXPECT_EQ(info->terminalGroup, 41);
    for (const char *broken :
         {"", "42", "42 (x", "42 (x) S 1 2", "x (y) S 1 40 39 34817 41 1 1 2 3 4 5 6 7 8 20 0 1 0 9876"})
        EXPECT_FALSE(ProcessInfo::parse(broken)) << broken;
    EXPECT_FALSE(isAlive({::getpid(), 1})); // this number, but another start
}

TEST(ProcessReaper, SparesTheHostTheTerminalServerAndTheirAncestors)
{
    const auto process = [](pid_t pid, pid_t parent, pid_t session) {
        ProcessInfo info;
        info.id = {pid, 1};
        info.state = 'S';
        info.parent = parent;
        info.session = session;
        return info;
    };
    // The host was started inside the very pane that is closed now; 900 is the tmux server.
    const pid_t self = ::getpid();
    const ProcessTree tree({process(1, 0, 1), process(900, 1, 900), process(5000000, 900, 5000000),
                            process(5000001, 5000000, 5000000), process(self, 5000001, 5000000),
                            process(5000002, 5000000, 5000002), process(5000003, 1, 5000000),
                            process(5000004, 1, 77)});
    const PaneMark pane{"/tmp/none.mux", 900, "%1", 5000000};
    QList<pid_t> found;
    for (const ProcessID each : processesOf(pane, tree))
        found.append(each.pid);
    EXPECT_EQ(found, (QList<pid_t>{5000002, 5000003}));
}

} // namespace Keelhaven
