#include "App/Commands/SettingsCommands.h"

#include "App/AppPanel.h"
#include "App/Commands/CommandTable.h"
#include "Contract/SettingsCatalog.h"
#include "Support/MemorySettings.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

class SettingsCommandsTest : public testing::Test
{
protected:
    CommandReply call(const QStringList &words)
    {
        const auto parsed = parseCommandLine(QStringList{u"settings"_s} + words, commandTable());
        if (const auto *help = std::get_if<HelpText>(&parsed))
            return {.output = help->text};
        if (const auto *error = std::get_if<UsageError>(&parsed))
            return {.exit = ExitStatus::WrongUsage, .error = error->sentence};
        const auto &command = std::get<ParsedCommand>(parsed);
        const ControlCaller caller{words, u"/work/here"_s, m_columns, false};
        return command.command->runLocal(
            command.arguments, {.caller = caller,
                                .settings = m_settings,
                                .paths = m_paths,
                                .settingChanged = [this](const QString &key) { m_changed.append(key); }});
    }
    /// What a call prints, or why it is refused.
    QString said(const QString &words)
    {
        const CommandReply reply = call(words.split(u' '));
        EXPECT_EQ(reply.exit == ExitStatus::Done, reply.error.isEmpty()) << words.toStdString();
        return (reply.output + reply.error).trimmed();
    }

    MemorySettings m_settings;
    KeelhavenPaths m_paths = KeelhavenPaths::forHome(u"/home/me"_s);
    QStringList m_changed;
    int m_columns = 0;
};

} // namespace

TEST_F(SettingsCommandsTest, ValuesAreSetReadAndUnsetAndWhoeverKeepsThemIsTold)
{
    EXPECT_EQ(said(u"get schedulerConcurrencyCap"_s), u"5");
    EXPECT_EQ(said(u"set schedulerConcurrencyCap 7"_s), u"schedulerConcurrencyCap is 7.");
    EXPECT_EQ(m_settings.value(u"schedulerConcurrencyCap"_s), SettingValue(qint64(7)));
    EXPECT_EQ(said(u"set schedulerSessionCapPercent 0"_s), u"schedulerSessionCapPercent is 0.");
    EXPECT_EQ(said(u"set dispatcherChatID -1001"_s), u"dispatcherChatID is -1001.");
    EXPECT_EQ(said(u"set keelhavenRunDirectory ../code"_s), u"keelhavenRunDirectory is /work/code.");
    EXPECT_EQ(said(u"set herdrPathOverride ~/bin/herdr"_s), u"herdrPathOverride is /home/me/bin/herdr.");
    EXPECT_EQ(said(u"unset schedulerConcurrencyCap"_s), u"schedulerConcurrencyCap is 5.");
    EXPECT_EQ(said(u"unset herdrPathOverride"_s), u"herdrPathOverride is not set.");
    EXPECT_EQ(m_changed.size(), 7);
    const QString list = u"- be brief\n- \x1b[1mask"_s;
    EXPECT_EQ(call({u"set"_s, u"keelhavenDispatchInstructions"_s, list}).error, QString());
    EXPECT_EQ(call({u"get"_s, u"keelhavenDispatchInstructions"_s}).output, list + u'\n');
    m_columns = 80;
    EXPECT_EQ(call({u"get"_s, u"keelhavenDispatchInstructions"_s}).output, u"- be brief\n- [1mask\n")
        << "nothing in it drives a terminal";
    m_columns = 0;
    m_settings.set(u"quietHoursEnabled"_s, u"yes"_s);
    EXPECT_TRUE(said(u"list"_s).simplified().contains(
        u"quietHoursEnabled false default; the stored value means nothing"));
}

TEST_F(SettingsCommandsTest, WhatNoReaderTakesIsRefusedAndChangesNothing)
{
    const QString pointer =
        u"keelhaven: The settings hold no secrets; \"keelhaven secret set SERVICE\" keeps them safely."_s;
    const std::pair<QString, QString> cases[] = {
        {u"set schedulerConcurrencyCap 21"_s,
         u"keelhaven: schedulerConcurrencyCap takes a whole number from 1 to 20."_s},
        {u"get sound"_s,
         u"keelhaven: There is no setting \"sound\"; \"keelhaven settings --help\" tells them all."_s},
        {u"unset sound"_s,
         u"keelhaven: There is no setting \"sound\"; \"keelhaven settings --help\" tells them all."_s},
        {u"set telegramBotToken 1"_s, pointer},
        {u"set com.keelhaven.slack-bot x"_s, pointer},
        {u"set slackDispatcherUserID xoxb-1-2"_s, pointer},
    };
    for (const auto &[words, sentence] : cases)
        EXPECT_EQ(said(words).toStdString(), sentence.toStdString());
    EXPECT_TRUE(m_settings.keys().isEmpty() && m_changed.isEmpty());
    EXPECT_EQ(call({u"set"_s, u"quietHoursEnabled"_s}).error, u"VALUE is missing");
    EXPECT_EQ(call({u"set"_s, u"a"_s, u"b"_s, u"c"_s}).error, u"unexpected \"c\"");
    EXPECT_EQ(call({u"get"_s, u""_s}).error, u"KEY is empty") << "a variable of the shell that is not set";
    EXPECT_EQ(call({u"set"_s, u"a"_s, u"-b"_s}).error, u"unknown option \"-b\"");
}

TEST_F(SettingsCommandsTest, HelpAndJSONTellEveryKey)
{
    const QString help = said(u"--help"_s);
    for (const auto &spec : SettingsCatalog::all()) {
        EXPECT_TRUE(help.contains(u"  %1\n"_s.arg(spec.key))) << spec.key.toString().toStdString();
        EXPECT_FALSE(spec.label.isEmpty() && spec.effect.isEmpty());
    }
    EXPECT_TRUE(help.contains(
        u"integer: a whole number from 0 to 100; 0 means no session cap; screens offer 5 to 95, "
        u"step 5; default 50"_s));
    EXPECT_FALSE(help.contains(u"{n}") || help.contains(u"  · ")) << "captions of steppers stand alone here";
    EXPECT_TRUE(help.contains(u"      at most N: the ceiling on parked task sessions\n"_s));
    const auto list = JSONValue::parse(said(u"list --all --json"_s).toUtf8());
    ASSERT_TRUE(list && list->arrayValue());
    EXPECT_EQ(list->arrayValue()->size(), SettingsCatalog::all().size());
    const auto one = JSONValue::parse(said(u"set schedulerPaceSlack 0 --json"_s).toUtf8());
    ASSERT_TRUE(one);
    EXPECT_EQ((*one)[u"value"]->intValue(), 0);
    EXPECT_EQ((*one)[u"default"]->intValue(), 10);
    EXPECT_EQ((*one)[u"isSet"]->boolValue(), true);
    EXPECT_EQ((*one)[u"page"]->stringValue(), u"misc");
}

TEST(PanelRestore, TheFirstStartOpensTheBoardAndOldChoicesAreTakenOverOnce)
{
    using Values = QMap<QString, SettingValue>;
    const Values introduced{{u"boardIntroduced"_s, true}};
    const auto with = [&](Values more) {
        more.insert(introduced);
        return more;
    };
    const std::pair<Values, PanelRestore> cases[] = {
        {{}, {AppPanel::Keelhaven, true, false}},
        {{{u"appPanel"_s, u"plugins"_s}}, {AppPanel::Keelhaven, true, false}},
        {with({{u"appPanel"_s, u"plugins"_s}, {u"schedulerSelected"_s, true}}),
         {AppPanel::Plugins, false, false}},
        {with({{u"appPanel"_s, u"moon"_s}}), {AppPanel::Projects, false, true}},
        {with({{u"schedulerSelected"_s, true}, {u"pluginsSelected"_s, true}}),
         {AppPanel::Scheduler, false, true}},
        {with({{u"pluginsSelected"_s, true}}), {AppPanel::Plugins, false, true}},
        {with({{u"pluginsSelected"_s, u"true"_s}}), {AppPanel::Projects, false, true}},
    };
    for (const auto &[values, expected] : cases) {
        MemorySettings settings;
        for (const auto &[key, value] : values.asKeyValueRange())
            settings.set(key, value);
        const auto restore = PanelRestore::from(settings);
        EXPECT_EQ(restore, expected);
        restore.applyTo(settings);
        EXPECT_TRUE(settings.flag(u"boardIntroduced"_s));
        EXPECT_EQ(settings.keys().contains(u"pluginsSelected"_s) && expected.removesEarlierKeys, false);
    }
}

} // namespace Keelhaven
