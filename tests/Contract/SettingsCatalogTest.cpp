#include "Contract/SettingsCatalog.h"

#include "Support/MemorySettings.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QByteArray sourceOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

TEST(SettingsCatalog, AnEmptyStoreBehavesAsTheDefaultsSay)
{
    const MemorySettings empty;
    EXPECT_EQ(Setting::read(empty, Setting::schedulerConcurrencyCap), 5);
    EXPECT_EQ(Setting::read(empty, Setting::schedulerSessionCapPercent), 50);
    EXPECT_TRUE(Setting::read(empty, Setting::schedulerPaceGuardEnabled));
    EXPECT_EQ(Setting::read(empty, Setting::schedulerPaceSlack), 10);
    EXPECT_TRUE(Setting::read(empty, Setting::sweepKeelhavenOnOpen));
    EXPECT_EQ(Setting::read(empty, Setting::dispatchKeepOpenHours), 12);
    EXPECT_EQ(Setting::read(empty, Setting::dispatchMaxOpenSessions), 5);
    EXPECT_EQ(Setting::read(empty, Setting::assetCopyLimitMB), 512);
    EXPECT_EQ(Setting::read(empty, Setting::defaultAgentProvider), u"claude"_s);
    EXPECT_EQ(Setting::read(empty, Setting::directionPanelTab), u"overview"_s);
    const QSet<QString> on{u"schedulerPaceGuardEnabled"_s, u"sweepKeelhavenOnOpen"_s};
    for (const auto &spec : SettingsCatalog::all()) {
        if (spec.type == SettingType::Flag)
            EXPECT_EQ(std::get<bool>(*spec.fallback), on.contains(spec.key.toString()))
                << spec.key.toString().toStdString();
    }
}

TEST(SettingsCatalog, ReadersInTheSourceKnowNoOtherKeyAndNoOtherDefault)
{
    // settings.flagOr(u"key"_s, true) and its like, and constants that name a key.
    static const QRegularExpression call(
        u"ettings\\.(flag|flagOr|integerOr|realOr|text|date|value|remove)\\(\\s*u\"(\\w+)\"_s(?:,\\s*([\\w:]+))?"_s);
    int seen = 0;
    QDirIterator files(QStringLiteral(KEELHAVEN_SOURCE_DIR "/src"), {u"*.cpp"_s}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        for (const auto &match : call.globalMatch(QString::fromUtf8(sourceOf(path)))) {
            const auto *spec = SettingsCatalog::find(match.capturedView(2));
            ASSERT_TRUE(spec) << path.toStdString() << ": " << match.captured(2).toStdString();
            ++seen;
            const QString reader = match.captured(1);
            if (reader == u"flag" && spec->type == SettingType::Flag)
                EXPECT_EQ(*spec->fallback, SettingValue(false)) << match.captured(0).toStdString();
            else if (reader.endsWith(u"Or"))
                ADD_FAILURE() << path.toStdString() << ": takes its default from the catalogue: "
                              << match.captured(0).toStdString();
        }
    }
    EXPECT_GT(seen, 2) << "the walk itself is broken";
}

TEST(SettingsCatalog, ReadersTakeOnlyWhatMeansSomething)
{
    MemorySettings settings;
    const auto runDirectory = [&](const QString &text) {
        settings.set(u"keelhavenRunDirectory"_s, text);
        return Setting::runDirectory(settings, u"/home/me"_s);
    };
    EXPECT_EQ(runDirectory(u" \t\u00a0"_s), std::nullopt);
    EXPECT_EQ(runDirectory(u" ~/Code "_s), u"/home/me/Code"_s);
    EXPECT_EQ(runDirectory(u"/odd\n"_s), u"/odd\n"_s);
    settings.set(u"dispatcherChatID"_s, u" -1001234567890 "_s);
    EXPECT_EQ(Setting::dispatcherChat(settings), -1001234567890);
    for (const QString &wrong : {u"me"_s, u"9223372036854775808"_s, u""_s}) {
        settings.set(u"dispatcherChatID"_s, wrong);
        EXPECT_EQ(Setting::dispatcherChat(settings), std::nullopt);
    }
    settings.set(u"lastShipID"_s, u"{no}"_s);
    EXPECT_EQ(Setting::shipID(settings, Setting::lastShipID), std::nullopt);
    settings.set(u"keelhavenDispatchInstructions"_s, u" \n be brief \n"_s);
    EXPECT_EQ(Setting::read(settings, Setting::keelhavenDispatchInstructions), u"be brief"_s);
    settings.set(u"telegramUpdateOffset"_s, u"7"_s);
    EXPECT_EQ(Setting::read(settings, Setting::telegramUpdateOffset), std::nullopt);
    settings.set(u"updateLastCheckedAt"_s, qint64(7));
    EXPECT_EQ(Setting::read(settings, Setting::updateLastCheckedAt), 7.0);
}

TEST(SettingsCatalog, TypedWordsBecomeValuesOrAreRefusedWithTheRange)
{
    const auto parsed = [](QStringView key, const QString &text) {
        const auto value = SettingsCatalog::parse(*SettingsCatalog::find(key), text);
        return value ? u"="_s + SettingsCatalog::valueText(*value) : value.error();
    };
    const std::tuple<QStringView, QString, QString> cases[] = {
        {u"schedulerConcurrencyCap", u"20"_s, u"=20"_s},
        {u"schedulerConcurrencyCap", u"0"_s, u"schedulerConcurrencyCap takes a whole number from 1 to 20."_s},
        {u"schedulerConcurrencyCap", u"5.5"_s,
         u"schedulerConcurrencyCap takes a whole number from 1 to 20."_s},
        {u"schedulerSessionCapPercent", u"0"_s, u"=0"_s},
        {u"schedulerSessionCapPercent", u"52"_s, u"=52"_s},
        {u"schedulerSessionCapPercent", u"101"_s,
         u"schedulerSessionCapPercent takes a whole number from 0 to 100; 0 means no session cap."_s},
        {u"quietHoursEnabled", u"On"_s, u"=true"_s},
        {u"quietHoursEnabled", u"maybe"_s, u"quietHoursEnabled takes true or false."_s},
        {u"defaultAgentProvider", u"codex"_s, u"=codex"_s},
        {u"defaultAgentProvider", u"gpt"_s, u"defaultAgentProvider takes claude or codex."_s},
        {u"dispatcherChatID", u"-100"_s, u"=-100"_s},
        {u"dispatcherChatID", u"@me"_s, u"dispatcherChatID takes a whole number."_s},
        {u"defaultAgentModel", u" "_s,
         u"defaultAgentModel takes a text; \"keelhaven settings unset defaultAgentModel\" clears it."_s},
        {u"lastShipID", u"1234"_s, u"lastShipID takes a full id."_s},
        {u"keelhavenLastSweepAt", u"2026-03-04T05:06:07+01:00"_s, u"=2026-03-04T04:06:07.000Z"_s},
        {u"updateLastCheckedAt", u"nan"_s, u"updateLastCheckedAt takes a number."_s},
    };
    for (const auto &[key, text, expected] : cases)
        EXPECT_EQ(parsed(key, text).toStdString(), expected.toStdString());
}

TEST(SettingsCatalog, WhatReadersWouldNotTakeIsNotTheEffectiveValue)
{
    MemorySettings settings;
    const auto effective = [&](const QString &key, const SettingValue &stored) {
        settings.set(key, stored);
        return SettingsCatalog::effective(settings, *SettingsCatalog::find(key));
    };
    EXPECT_EQ(effective(u"schedulerPaceSlack"_s, qint64(0)), SettingValue(qint64(0)));
    EXPECT_EQ(effective(u"schedulerPaceSlack"_s, u"0"_s), SettingValue(qint64(10)));
    EXPECT_EQ(effective(u"defaultAgentProvider"_s, u"gpt"_s), SettingValue(u"claude"_s));
    EXPECT_EQ(effective(u"appPanel"_s, u"moon"_s), std::nullopt);
    EXPECT_EQ(effective(u"updateLastCheckedAt"_s, qint64(3)), SettingValue(3.0));
    for (const auto &[value, secret] : {std::pair{u"xoxb-1-a"_s, true},
                                        {u"xapp-1"_s, true},
                                        {u"123456:ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghi"_s, true},
                                        {u"-100123"_s, false},
                                        {u"~/code"_s, false}})
        EXPECT_EQ(SettingsCatalog::looksLikeSecret(value), secret) << value.toStdString();
}

} // namespace Keelhaven
