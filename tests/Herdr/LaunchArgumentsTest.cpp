#include "Herdr/HerdrLaunchArguments.h"
#include "Platform/Files.h"
#include "Support/TestHome.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <gtest/gtest.h>
#include <utime.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace HerdrLaunchArguments;

TEST(HerdrLaunchArgumentsTest, NamesAreShortPlainAndUnique)
{
    const std::initializer_list<std::pair<QString, QString>> table{
        {u"Web — Nightly!"_s, u"web-nightly"_s},
        {u"***"_s, u"run"_s},
        {u"Ärger 2"_s, u"ärger-2"_s},
        {u"abcdefghij abcdefghijklm nop"_s, u"abcdefghij-abcdefghijklm"_s},
        {u"abcdefghij abcdefghijkl mnop"_s, u"abcdefghij-abcdefghijkl"_s}};
    for (const auto &[name, expected] : table) {
        const QString made = agentName(name);
        EXPECT_EQ(made.chopped(5), expected);
        EXPECT_TRUE(QRegularExpression(u"-[0-9a-f]{4}$"_s).match(made).hasMatch()) << made.toStdString();
    }
}

TEST(HerdrLaunchArgumentsTest, ClaudeGetsItsSettingsAsOneSortedDocument)
{
    EXPECT_EQ(unattendedArgs({}), (QStringList{u"--permission-mode"_s, u"auto"_s, u"--settings"_s,
                                               u"{\"enableAllProjectMcpServers\":true}"_s}));

    const Unattended options{
        {u"a@b"_s}, {u"/plug"_s}, {u"/data/runs/"_s}, {u"/Volumes"_s}, u"python3 \"/g\""_s};
    EXPECT_EQ(
        unattendedArgs(options),
        (QStringList{u"--permission-mode"_s, u"auto"_s, u"--settings"_s,
                     u"{\"enableAllProjectMcpServers\":true,"
                     u"\"enabledPlugins\":{\"a@b\":true,\"keelhaven@brine-works\":false,\"keelhaven@"
                     u"keelhaven-marketplace\":false},"
                     u"\"hooks\":{\"PreToolUse\":[{\"hooks\":[{\"command\":\"python3 "
                     u"\\\"/g\\\"\",\"timeout\":5,\"type\":\"command\"}],"
                     u"\"matcher\":\"Bash|Read|Edit|Write|MultiEdit|NotebookEdit|Glob|Grep\"}]},"
                     u"\"permissions\":{\"allow\":[\"Write(//data/runs/**)\",\"Edit(//data/runs/**)\"]}}"_s,
                     u"--plugin-dir"_s, u"/plug"_s}));
    Unattended open = options;
    open.deniedRoots.clear();
    EXPECT_FALSE(unattendedArgs(open)[3].contains(u"PreToolUse"));
}

TEST(HerdrLaunchArgumentsTest, TheSessionsOptionsFollow)
{
    const TestHome home;
    KeelhavenPaths paths = home.paths();
    paths.resourcesDir = home.path(u"res"_s);
    EXPECT_FALSE(guardHookCommand(paths));
    home.write(u"res/Guard/protected_paths_hook.py"_s, "");
    EXPECT_EQ(guardHookCommand(paths),
              u"python3 \""_s + home.path(u"res/Guard/protected_paths_hook.py"_s) + u'"');

    RunLaunchRequest request;
    request.addDirs = QStringList{u"/a"_s, u"/b"_s};
    request.model = u" opus "_s;
    request.resumeSessionID = u"s1"_s;
    const QStringList claude = sessionArgs(request, paths, {u"/Volumes"_s});
    EXPECT_EQ(claude.sliced(4), (QStringList{u"--model"_s, u"opus"_s, u"--add-dir"_s, u"/a"_s, u"--add-dir"_s,
                                             u"/b"_s, u"--resume"_s, u"s1"_s}));
    EXPECT_TRUE(claude[3].contains(u"protected_paths_hook.py")) << claude[3].toStdString();
    request.resumeSessionID = u"--dangerous"_s;
    EXPECT_EQ(sessionArgs(request, paths, {}).last(), u"--resume=--dangerous");

    request.provider = AgentProvider::Codex;
    request.resumeSessionID = u""_s;
    request.addDirs.clear();
    EXPECT_EQ(sessionArgs(request, paths, {}),
              (QStringList{u"--approve-for-me"_s, u"-c"_s, u"forced_login_method=\"chatgpt\""_s, u"-m"_s,
                           u"opus"_s}));
}

TEST(HerdrLaunchArgumentsTest, CountsBlanksAndQuotesOnce)
{
    EXPECT_EQ(estimatedLength({u"ab"_s}), 6 + 3);
    EXPECT_EQ(estimatedLength({u"a b"_s, u"a\"b"_s, u"\" "_s}), 6 + 6 + 6 + 5);
}

TEST(HerdrLaunchArgumentsTest, LongCommandLinesMoveTheirSettingsToAFile)
{
    const TestHome home;
    const KeelhavenPaths paths = home.paths();
    const QUuid run = QUuid::createUuid();
    const Date now = fromQDateTime(QDateTime::currentDateTimeUtc());
    const QString fresh = home.write(u".local/share/keelhaven/launch/fresh.settings.json"_s, "{}");
    const QString old = home.write(u".local/share/keelhaven/launch/old.settings.json"_s, "{}");
    const utimbuf dayAgo{std::time(nullptr) - 86500, std::time(nullptr) - 86500};
    ASSERT_EQ(::utime(QFile::encodeName(old).constData(), &dayAgo), 0);

    const QString settings = u"{\"k\":1}"_s;
    const auto line = [&settings](qsizetype length) {
        QStringList args{u"--settings"_s, settings, QString()};
        args.last() = QString(length - estimatedLength(args), u'x');
        return args;
    };
    EXPECT_EQ(shortened(line(800), run, paths, now), line(800));
    const QStringList shorter = shortened(line(801), run, paths, now);
    EXPECT_EQ(shorter[1], paths.appSupportDir + u"/launch/"_s + uuidText(run) + u".settings.json"_s);
    EXPECT_EQ(home.read(u".local/share/keelhaven/launch/"_s + uuidText(run) + u".settings.json"_s),
              settings.toUtf8());
    EXPECT_TRUE(QFileInfo::exists(fresh));
    EXPECT_FALSE(QFileInfo::exists(old));

    const QStringList filed{u"--settings"_s, u"/file"_s, QString(900, u'x')};
    EXPECT_EQ(shortened(filed, run, paths, now), filed);
    KeelhavenPaths broken = paths;
    broken.appSupportDir = fresh;
    EXPECT_EQ(shortened(line(801), run, broken, now), line(801));
}

TEST(HerdrLaunchArgumentsTest, ThePanesEnvironmentNamesTheRun)
{
    RunLaunchRequest request;
    request.runID = QUuid::createUuid();
    EXPECT_EQ(environment(request, {}),
              (QMap<QString, QString>{{u"KEELHAVEN_NO_BROWSER"_s, u"1"_s},
                                      {u"PYTHONDONTWRITEBYTECODE"_s, u"1"_s},
                                      {u"KEELHAVEN_RUN_ID"_s, uuidText(request.runID)}}));
    request.runDir = u"/r"_s;
    const auto full = environment(request, {u"/a"_s, u"/b"_s});
    EXPECT_EQ(full.value(u"KEELHAVEN_RUN_DIR"_s), u"/r");
    EXPECT_EQ(full.value(u"KEELHAVEN_PROTECTED_ROOTS"_s), u"/a:/b");
    EXPECT_FALSE(full.contains(u"KEELHAVEN_PROTECTED_ROOTS_JSON"_s));
    const auto odd = environment(request, {u"/a:b/\"c\""_s, u"/d"_s});
    EXPECT_EQ(odd.value(u"KEELHAVEN_PROTECTED_ROOTS"_s), u"/a:b/\"c\":/d");
    EXPECT_EQ(JSONValue::parse(odd.value(u"KEELHAVEN_PROTECTED_ROOTS_JSON"_s).toUtf8()),
              JSONValue(JSONArray{u"/a:b/\"c\""_s, u"/d"_s}));
}

} // namespace Keelhaven
