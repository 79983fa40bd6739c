#include "App/ProgramsFixture.h"

#include "Store/SQLite/KeelhavenDatabase.h"

// What the commands tell and do, with and without an instance.
namespace Keelhaven {

namespace {

/// Notes "1" to "{count}", as if the run had written them.
void report(const KeelhavenPaths &paths, const QString &runID, int count)
{
    const auto database = KeelhavenDatabase::open(paths).value();
    const auto insert = [&](SQLiteConnection &connection) {
        return connection.run(
            u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) INSERT INTO "
            "journal (run_id, ts, type, payload) SELECT ?, i, 'note', json_object('type', 'note', "
            "'text', CAST(i AS TEXT)) FROM n"_s,
            {SQLiteValue::int_(count), SQLiteValue::text(runID)});
    };
    ASSERT_TRUE(database->sync(insert));
}

} // namespace

TEST_F(ProgramsTest, WithoutAnInstanceOnlyHelpUsageAndDoctorAreAnswered)
{
    EXPECT_EQ(keelhaven({u"--help"_s}).status, 0);
    EXPECT_EQ(keelhaven({u"--version"_s}).output, u"keelhaven 0.1.0\n"_s);
    EXPECT_TRUE(
        keelhaven({u"agents"_s, u"add"_s, u"--help"_s}).output.contains(u"--every-hours N[@FROM-TO]"_s));
    const auto wrong = keelhaven({u"runs"_s, u"list"_s, u"--limit"_s, u"many"_s});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.error,
              u"keelhaven: --limit: \"many\" is no number of runs\nTry \"keelhaven runs list --help\".\n"_s);
    for (const QStringList &words : {QStringList{u"status"_s}, addNightly}) {
        const auto answer = keelhaven(words);
        EXPECT_EQ(answer.status, 3);
        EXPECT_EQ(
            answer.error,
            u"keelhaven: Keelhaven is not running; start it with \"keelhaven\" or, without a window, \"keelhaven --headless\".\n"_s);
    }
    EXPECT_FALSE(QFileInfo::exists(m_home.paths().appSupportDir)) << "asking leaves nothing behind";
}

TEST_F(ProgramsTest, DoctorTellsWhatIsThereAndFailsOnlyWhenNothingCanRun)
{
    m_home.write(u".profile"_s, "PATH=" + m_home.path(u"tools:/usr/bin:/bin"_s).toUtf8() + "\n");
    const auto check = [&](const QString &name) {
        const auto answer = keelhaven({u"doctor"_s, u"--json"_s}).json();
        for (const auto &entry : *answer.arrayValue()) {
            if (entry[u"name"]->stringValue() == name)
                return std::pair(*entry[u"ok"]->boolValue(), *entry[u"detail"]->stringValue());
        }
        return std::pair(false, u"no such check"_s);
    };
    EXPECT_EQ(check(u"claude"_s), std::pair(false, u"not found: no Claude agent can run."_s));
    EXPECT_EQ(
        check(u"usage meters"_s),
        std::pair(
            false,
            u"nothing is known (~/.claude.json): scheduled runs start even when a limit is near. \"keelhaven usage --refresh\" asks Claude now."_s));
    const QByteArray meters = R"(,"utilization":{"five_hour":{"utilization":37.5}}}})";
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    m_home.write(u".claude.json"_s,
                 R"({"cachedUsageUtilization":{"fetchedAtMs":)" + QByteArray::number(now) + meters);
    EXPECT_EQ(check(u"usage meters"_s), std::pair(true, u"Session (5h) 37%, read 0m ago"_s));
    m_home.write(u".claude.json"_s, R"({"cachedUsageUtilization":{"fetchedAtMs":)" +
                                        QByteArray::number(now - 7'300'000) + meters);
    EXPECT_FALSE(check(u"usage meters"_s).first);
    EXPECT_TRUE(check(u"usage meters"_s).second.startsWith(u"Session (5h) 37%, read 2h ago: too old"_s));
    EXPECT_EQ(keelhaven({u"doctor"_s}).status, 1);
    const QString claude = m_home.write(
        u"tools/claude"_s,
        "#!/bin/sh\n[ \"$1\" = auth ] && echo '{\"loggedIn\": false}' || echo '2.1.0 (Claude Code)'\n");
    m_home.write(u"tools/tmux"_s, "#!/bin/sh\necho tmux 3.3a\n");
    for (const QString &tool : {claude, m_home.path(u"tools/tmux"_s)})
        QFile::setPermissions(tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_EQ(check(u"claude"_s), std::pair(true, u"2.1.0 (Claude Code) (%1)"_s.arg(claude)));
    EXPECT_FALSE(check(u"claude sign-in"_s).first);
    EXPECT_TRUE(check(u"database"_s).first);

    m_home.write(u".config/keelhaven/settings.json"_s, "{broken");
    EXPECT_TRUE(check(u"settings"_s).second.endsWith(u"no JSON object: nothing that stands in it holds."_s));
    EXPECT_TRUE(check(u"settings"_s).second.contains(u"settings.json.unreadable: what it set is lost"_s))
        << "the PATH of the login shell has been remembered since";
    const QString database = m_home.path(u".local/share/keelhaven/keelhaven.sqlite"_s);
    ASSERT_TRUE(KeelhavenDatabase::open(database));
    EXPECT_EQ(check(u"database"_s), std::pair(true, database));
    QFile file(database);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.seek(4096) &&
                file.write(QByteArray(4096, 'x')) == 4096);
    file.close();
    EXPECT_TRUE(check(u"database"_s).second.startsWith(database + u" is damaged ("_s));
    m_home.write(u".local/share/keelhaven/keelhaven.sqlite"_s, QByteArray(4096, 'x'));
    EXPECT_FALSE(check(u"database"_s).first);
}

TEST_F(ProgramsTest, AgentsAreAddedListedChangedAndDeleted)
{
    start();
    const auto added = keelhaven(addNightly + QStringList{u"--json"_s});
    ASSERT_EQ(added.status, 0) << added.error.toStdString();
    const QString id = added.json()[u"id"]->stringValue().value_or(QString());
    EXPECT_EQ(added.json()[u"cwd"]->stringValue(), m_home.path(u"project"_s));
    EXPECT_EQ(added.json()[u"enabled"]->boolValue(), false);

    const auto enabled = keelhaven({u"agents"_s, u"enable"_s, u"Nightly"_s, u"--json"_s});
    EXPECT_EQ(enabled.json()[u"enabled"]->boolValue(), true);
    const auto status = keelhaven({u"status"_s, u"--json"_s}).json();
    ASSERT_TRUE(status[u"nextFire"] && status[u"nextFire"]->objectValue());
    EXPECT_EQ((*status[u"nextFire"])[u"slotID"]->stringValue(), id);
    EXPECT_EQ(status[u"databaseError"], nullptr);

    EXPECT_EQ(keelhaven({u"agents"_s, u"edit"_s, id.left(8).toLower(), u"--priority"_s, u"3"_s, u"--weekly"_s,
                         u"sun@10:00"_s})
                  .status,
              0);
    const auto list = keelhaven({u"agents"_s, u"list"_s, u"--json"_s}).json();
    ASSERT_TRUE(list.arrayValue() && list.arrayValue()->size() == 1);
    const JSONValue &agent = list.arrayValue()->front();
    EXPECT_EQ(agent[u"priority"]->intValue(), 3);
    EXPECT_EQ((*agent[u"schedule"])[u"kind"]->stringValue(), u"weekly"_s);
    EXPECT_TRUE(keelhaven({u"agents"_s, u"list"_s}).output.contains(u"Sun at 10:00 am"_s));

    EXPECT_EQ(keelhaven({u"agents"_s, u"disable"_s, u"Nightly"_s}).status, 0);
    EXPECT_EQ(keelhaven({u"status"_s, u"--json"_s}).json()[u"nextFire"]->isNull(), true);
    EXPECT_EQ(keelhaven({u"agents"_s, u"delete"_s, id}).status, 0);
    const auto gone = keelhaven({u"agents"_s, u"delete"_s, id});
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.error, u"keelhaven: No agent matches \"%1\".\n"_s.arg(id));
}

TEST_F(ProgramsTest, WholeAgentsComeFromAFileOrStandardInput)
{
    start();
    const QByteArray slot =
        R"({"id": "AAAAAAAA-0000-4000-8000-000000000001", "name": "Filed", "cwds": ["sub"], "command": "work",
        "schedule": {"kind": "everyHours", "interval": 2}, "stallMinutes": 4})";
    const auto fromInput = keelhaven({u"agents"_s, u"add"_s, u"--file"_s, u"-"_s, u"--json"_s}, slot);
    ASSERT_EQ(fromInput.status, 0) << fromInput.error.toStdString();
    EXPECT_EQ(fromInput.json()[u"stallMinutes"]->intValue(), 4);
    EXPECT_EQ(fromInput.json()[u"cwd"]->stringValue(), m_home.path(u"project/sub"_s));
    const auto again = keelhaven({u"agents"_s, u"add"_s, u"--file"_s, u"-"_s}, slot);
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.error.contains(u"exists; change it with"_s));

    m_home.write(u"project/slot.json"_s, slot);
    const auto edited = keelhaven({u"agents"_s, u"edit"_s, u"Filed"_s, u"--file"_s, u"slot.json"_s,
                                   u"--name"_s, u"Renamed"_s, u"--json"_s});
    EXPECT_EQ(edited.json()[u"name"]->stringValue(), u"Renamed"_s);
    EXPECT_EQ(keelhaven({u"agents"_s, u"add"_s, u"--file"_s, u"absent.json"_s}).status, 1);
    const auto broken = keelhaven({u"agents"_s, u"add"_s, u"--file"_s, u"-"_s}, "{\"name\": \"x\"}");
    EXPECT_EQ(broken.error, u"keelhaven: Standard input is no agent: command: missing.\n"_s);
    EXPECT_EQ(
        keelhaven({u"agents"_s, u"add"_s, u"--file"_s, u"-"_s}, QByteArray(17 * 1024 * 1024, ' ')).status, 1);
}

TEST_F(ProgramsTest, WhatCannotBeSavedOrFoundIsRefusedWithOneSentence)
{
    start();
    QDir().mkpath(m_home.path(u".claude/plugins/cache"_s));
    const QStringList rest{u"--command"_s, u"x"_s, u"--every-hours"_s, u"1"_s};
    const std::pair<QStringList, QString> cases[] = {
        {QStringList{u"agents"_s, u"add"_s, u"--cwd"_s, u"."_s} + rest, u"Name the agent to save"_s},
        {QStringList{u"agents"_s, u"add"_s, u"--name"_s, u"x"_s} + rest, u"Add a project folder to save"_s},
        {QStringList{u"agents"_s, u"add"_s, u"--name"_s, u"x"_s, u"--cwd"_s, u"~/.claude/plugins/cache"_s} +
             rest,
         u"~/.claude/plugins/cache — runs are not allowed inside ~/.claude/plugins — use a project directory"_s},
        {{u"agents"_s, u"run"_s, u"nobody"_s}, u"No agent matches \"nobody\"."_s},
        {{u"runs"_s, u"show"_s, u"ABCD"_s}, u"No run matches \"ABCD\"."_s},
        {{u"runs"_s, u"list"_s, u"--agent"_s, u"nobody"_s}, u"No agent matches \"nobody\"."_s},
        {{u"watch"_s, u"--until-run-ends"_s, u"ABCD"_s}, u"No run matches \"ABCD\"."_s},
        {{u"open"_s, u"https://example.org"_s},
         u"Only keelhaven:// links of at most 2048 bytes can be opened."_s},
        {{u"open"_s, u"keelhaven://run/"_s + QString(2048, u'x')},
         u"Only keelhaven:// links of at most 2048 bytes can be opened."_s},
    };
    for (const auto &[words, sentence] : cases) {
        const auto answer = keelhaven(words);
        EXPECT_EQ(answer.status, 1);
        EXPECT_EQ(answer.error.toStdString(), (u"keelhaven: "_s + sentence + u'\n').toStdString());
        EXPECT_TRUE(answer.output.isEmpty());
    }
    EXPECT_EQ(keelhaven({u"agents"_s, u"add"_s, u"--daily"_s, u"25:00"_s}).status, 2);
}

TEST_F(ProgramsTest, ARunIsFollowedToItsEndShownAndRemoved)
{
    start();
    ASSERT_EQ(keelhaven(addNightly + QStringList{u"--preflight"_s, u"echo the tide is out; exit 3"_s}).status,
              0);
    QProcess watch;
    prepare(watch, {u"watch"_s, u"--json"_s});
    watch.start();
    const auto queued = keelhaven({u"agents"_s, u"run"_s, u"Nightly"_s, u"--json"_s}).json();
    ASSERT_TRUE(queued.arrayValue() && queued.arrayValue()->size() == 1);
    const QString id = *queued.arrayValue()->front().stringValue();

    const auto followed = keelhaven({u"watch"_s, u"--until-run-ends"_s, id});
    EXPECT_EQ(followed.status, 0);
    EXPECT_TRUE(followed.output.contains(u"finished"_s) &&
                followed.output.contains(u"preflight failed: the tide is out"_s))
        << followed.output.toStdString();
    const auto record = keelhaven({u"runs"_s, u"show"_s, id.left(6), u"--json"_s}).json();
    EXPECT_EQ(record[u"id"]->stringValue(), id);
    EXPECT_NE((*record[u"outcome"])[u"preflightFailed"], nullptr);
    EXPECT_EQ(keelhaven({u"runs"_s, u"list"_s, u"--agent"_s, u"Nightly"_s, u"--json"_s})
                  .json()
                  .arrayValue()
                  ->size(),
              1U);
    EXPECT_EQ(keelhaven({u"runs"_s, u"stop"_s, id}).error,
              u"keelhaven: The run %1 of \"Nightly\" has ended already.\n"_s.arg(id.left(8)));
    EXPECT_EQ(keelhaven({u"runs"_s, u"remove"_s, id}).status, 0);
    EXPECT_EQ(keelhaven({u"runs"_s, u"list"_s, u"--json"_s}).output, u"[]\n"_s);

    EXPECT_EQ(stop(SIGINT), 0);
    ASSERT_TRUE(watch.waitForFinished(10'000));
    EXPECT_EQ(watch.exitCode(), 0);
    const auto lines = watch.readAllStandardOutput().trimmed().split('\n');
    const auto last = JSONValue::parse(lines.last());
    ASSERT_TRUE(last);
    EXPECT_EQ((*last)[u"event"]->stringValue(), u"finished"_s);
}

TEST_F(ProgramsTest, SettingsAreTheSameWithAndWithoutAnInstance)
{
    const auto get = [&](const QString &key) {
        return keelhaven({u"settings"_s, u"get"_s, key}).output.trimmed();
    };
    EXPECT_EQ(keelhaven({u"settings"_s, u"set"_s, u"schedulerPaceSlack"_s, u"0"_s}).status, 0);
    EXPECT_EQ(get(u"schedulerPaceSlack"_s), u"0");
    start();
    EXPECT_EQ(get(u"schedulerPaceSlack"_s), u"0");
    const auto path = keelhaven({u"settings"_s, u"set"_s, u"keelhavenRunDirectory"_s, u"sub"_s, u"--json"_s});
    EXPECT_EQ(path.json()[u"value"]->stringValue(), m_home.path(u"project/sub"_s));
    const auto refused = keelhaven({u"settings"_s, u"set"_s, u"schedulerConcurrencyCap"_s, u"0"_s});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.error, u"keelhaven: schedulerConcurrencyCap takes a whole number from 1 to 20.\n");
    EXPECT_EQ(stop(SIGTERM), 0);
    EXPECT_EQ(get(u"keelhavenRunDirectory"_s), m_home.path(u"project/sub"_s));
    EXPECT_EQ(keelhaven({u"settings"_s, u"unset"_s, u"keelhavenRunDirectory"_s}).status, 0);
    EXPECT_EQ(get(u"keelhavenRunDirectory"_s), u"");
}

TEST_F(ProgramsTest, SecretsComeFromStandardInputAndAreNeverShown)
{
    const QString service = u"com.keelhaven.telegram-bot"_s;
    EXPECT_EQ(keelhaven({u"secret"_s, u"set"_s, service}, "123:abc").status, 3);
    start();
    const auto kept = keelhaven({u"secret"_s, u"set"_s, service, u"--json"_s}, "123:abc\n");
    EXPECT_EQ(kept.status, 0) << kept.error.toStdString();
    EXPECT_EQ(kept.output, u"{\"service\": \"com.keelhaven.telegram-bot\", \"isSet\": true}\n");
    const QString file = m_home.paths().secretsFile();
    EXPECT_TRUE(m_home.read(u".local/share/keelhaven/secrets.json"_s).contains("123:abc"))
        << "there is no session bus, so no keyring";
    EXPECT_EQ(QFile::permissions(file) & (QFile::ReadGroup | QFile::ReadOther), 0);
    EXPECT_TRUE(keelhaven({u"doctor"_s}).output.simplified().contains(u"✓ secrets kept in "_s + file));
    const std::tuple<QStringList, QByteArray, int> refusals[] = {
        {{u"set"_s, u"a b"_s}, "x", 2},       {{u"set"_s, service, u"123:abc"_s}, "", 2},
        {{u"set"_s, service}, "", 1},         {{u"set"_s, service}, "two\nlines", 1},
        {{u"set"_s, service}, "\xff\xfe", 1}, {{u"set"_s, service}, QByteArray(20'000, 'x'), 1},
    };
    for (const auto &[words, input, status] : refusals) {
        const auto refused = keelhaven(QStringList{u"secret"_s} + words, input);
        EXPECT_EQ(refused.status, status);
        EXPECT_EQ(refused.error.count(u'\n'), status) << "one sentence, and for wrong usage where to look";
    }
    EXPECT_EQ(keelhaven({u"secret"_s, u"delete"_s, service}).status, 0);
    EXPECT_FALSE(m_home.read(u".local/share/keelhaven/secrets.json"_s).contains("123"));
    EXPECT_EQ(keelhaven({u"secret"_s, u"delete"_s, service}).status, 0);
}

TEST_F(ProgramsTest, LogsAgendaAndAttachShowWhatRanRunsAndWillRun)
{
    start();
    ASSERT_EQ(keelhaven(addNightly + QStringList{u"--enable"_s, u"--preflight"_s, u"exit 3"_s}).status, 0);
    const auto days = keelhaven({u"agenda"_s, u"--days"_s, u"3"_s, u"--json"_s}).json();
    ASSERT_TRUE(days[u"days"] && days[u"days"]->arrayValue());
    EXPECT_EQ(days[u"days"]->arrayValue()->size(), 3U);
    const auto &tomorrow = *(*days[u"days"]->arrayValue())[1][u"entries"]->arrayValue();
    ASSERT_EQ(tomorrow.size(), 1U);
    EXPECT_EQ(tomorrow[0][u"name"]->stringValue(), u"Nightly");
    EXPECT_TRUE(tomorrow[0][u"date"]->stringValue()->endsWith(u"T09:00:00.000Z"));
    EXPECT_EQ(keelhaven({u"agenda"_s, u"--days"_s, u"0"_s}).status, 2);

    const auto queued = keelhaven({u"agents"_s, u"run"_s, u"Nightly"_s, u"--json"_s}).json();
    const QString id = *queued.arrayValue()->front().stringValue();
    ASSERT_EQ(keelhaven({u"watch"_s, u"--until-run-ends"_s, id}).status, 0);
    EXPECT_EQ(keelhaven({u"logs"_s, id}).output, u"No screen of this run was kept.\n");
    m_home.write(u".local/share/keelhaven/runs/"_s + id + u".txt"_s, "one\x1b[31m\ntwo");
    EXPECT_EQ(keelhaven({u"logs"_s, id}).output, u"one[31m\ntwo\n");
    const auto logs = keelhaven({u"logs"_s, id, u"--json"_s}).json();
    EXPECT_EQ(logs[u"scrollback"]->stringValue(), u"one\x1b[31m\ntwo");
    EXPECT_TRUE(logs[u"journal"]->arrayValue()->empty());
    EXPECT_EQ(logs[u"journalLeftOut"]->intValue(), 0);
    report(m_home.paths(), id, 1200);
    const auto few = keelhaven({u"logs"_s, id, u"--limit"_s, u"2"_s}).output;
    EXPECT_TRUE(few.contains(u"\nJournal\n1198 earlier reports are left out; --limit takes more.\n"));
    EXPECT_TRUE(few.endsWith(u"note      1200\n") && !few.contains(u" 1198\n")) << few.toStdString();
    const auto all = keelhaven({u"logs"_s, id, u"--json"_s}).json();
    EXPECT_EQ(all[u"journal"]->arrayValue()->size(), 1000U);
    EXPECT_EQ(all[u"journalLeftOut"]->intValue(), 200);

    EXPECT_EQ(
        keelhaven({u"attach"_s, id}).error,
        u"keelhaven: The run %1 has no open session; \"keelhaven logs %1\" shows what it wrote.\n"_s.arg(
            id.left(8)));
    EXPECT_EQ(keelhaven({u"attach"_s}).error, u"keelhaven: A session can only be joined from a terminal.\n");
}

TEST_F(ProgramsTest, InstallingTwiceChangesNothingAndUninstallingLeavesNothing)
{
    const auto installed = keelhaven({u"install"_s, u"--json"_s});
    EXPECT_EQ(installed.status, 0) << installed.error.toStdString();
    EXPECT_EQ(installed.json()[u"written"]->arrayValue()->size(), 8);
    QProcess linked;
    linked.setProcessEnvironment(m_environment);
    linked.start(m_home.path(u".local/bin/keelhaven"_s), {u"--version"_s});
    ASSERT_TRUE(linked.waitForFinished());
    EXPECT_EQ(linked.exitCode(), 0);
    const auto again = keelhaven({u"install"_s, u"--json"_s});
    EXPECT_TRUE(again.json()[u"written"]->arrayValue()->empty());
    EXPECT_EQ(again.json()[u"unchanged"]->arrayValue()->size(), 8);
    EXPECT_EQ(keelhaven({u"uninstall"_s}).status, 0);
    EXPECT_FALSE(QFileInfo::exists(m_home.path(u".local"_s)));
    EXPECT_TRUE(keelhaven({u"uninstall"_s}).output.startsWith(u"Nothing is installed."_s));
}

TEST_F(ProgramsTest, SetupIsToldWithAndWithoutAnInstance)
{
    m_home.write(u".profile"_s, "PATH=" + m_home.path(u"tools:/usr/bin:/bin"_s).toUtf8() + "\n");
    const auto state = [&](qsizetype row) {
        const auto answer = keelhaven({u"setup"_s, u"--json"_s}).json();
        return *(*answer[u"rows"]->arrayValue())[static_cast<std::size_t>(row)][u"state"]->stringValue();
    };
    EXPECT_EQ(state(0), u"missing");
    EXPECT_TRUE(keelhaven({u"setup"_s}).output.contains(u"keelhaven settings set keelhavenRunDirectory"_s));
    keelhaven({u"settings"_s, u"set"_s, u"keelhavenRunDirectory"_s, m_home.path(u"my code"_s)});
    EXPECT_TRUE(keelhaven({u"setup"_s}).output.contains(u"mkdir -p '%1'\n"_s.arg(m_home.path(u"my code"_s))));
    m_home.write(u".profile"_s, "exit 0\n");
    const QString silent = keelhaven({u"setup"_s}).output;
    EXPECT_TRUE(silent.contains(u"did not tell its PATH"_s)) << silent.toStdString();
    EXPECT_FALSE(silent.contains(u"curl"_s)) << "it may be there";
    m_home.write(u".profile"_s, "PATH=" + m_home.path(u"tools:/usr/bin:/bin"_s).toUtf8() + "\n");
    start();
    const QString claude = m_home.write(u"tools/claude"_s, "#!/bin/sh\necho '{\"loggedIn\": true}'\n");
    QFile::setPermissions(claude, QFile::ReadOwner | QFile::ExeOwner);
    EXPECT_EQ(state(0), u"ready");
    EXPECT_EQ(state(2), u"notReady");
    EXPECT_TRUE(*keelhaven({u"setup"_s, u"--skip"_s, u"--json"_s}).json()[u"done"]->boolValue());
    EXPECT_EQ(keelhaven({u"settings"_s, u"get"_s, u"setupDone"_s}).output, u"true\n");
}

TEST_F(ProgramsTest, PluginsAreListedWithAndWithoutAnInstance)
{
    EXPECT_EQ(keelhaven({u"plugins"_s, u"list"_s}).output, u"No plugins are installed.\n"_s);
    m_home.write(
        u".claude/plugins/installed_plugins.json"_s,
        R"({"version": 1, "plugins": {"a@m": [{"scope": "user", "installPath": "/", "version": "1.0"},
                     {"scope": "project", "projectPath": "/w", "installPath": "/gone\u001b[2J"}]}})");
    m_home.write(u".claude/settings.json"_s, R"({"enabledPlugins": {"a@m": true, "b\u001b[2J@m": true}})");
    for (const bool isRunning : {false, true}) {
        if (isRunning)
            start();
        const QString text = keelhaven({u"plugins"_s, u"list"_s}).output;
        EXPECT_TRUE(text.simplified().contains(u"a@m 1.0 on user, project /w (missing)"_s))
            << text.toStdString();
        EXPECT_TRUE(text.contains(u"@m is switched on, and not installed.\n"_s)) << text.toStdString();
        EXPECT_TRUE(text.contains(u"unknown version 1; inventory is partial"_s));
        EXPECT_FALSE(text.contains(u'\x1b')) << "a name drives no terminal";
        const auto json = keelhaven({u"plugins"_s, u"list"_s, u"--json"_s}).json();
        ASSERT_TRUE(json[u"plugins"] && json[u"plugins"]->arrayValue());
        EXPECT_EQ(json[u"plugins"]->arrayValue()->size(), 1U);
    }
}

} // namespace Keelhaven
