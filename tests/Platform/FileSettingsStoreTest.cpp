#include "Platform/FileSettingsStore.h"
#include "Platform/Files.h"
#include "Support/TestHome.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class SettingsFile : public testing::Test
{
protected:
    [[nodiscard]] QString file() const { return m_home.path(u"config/settings.json"_s); }

    const TestHome m_home;
    FileSettingsStore m_store{file()};
};

TEST_F(SettingsFile, EveryTypeComesBackFromTheFile)
{
    const QMap<QString, SettingValue> values = {
        {u"flag"_s, true},
        {u"integer"_s, std::numeric_limits<qint64>::max()},
        {u"real"_s, 0.25},
        {u"text"_s, u"größer\n"_s},
        {u"date"_s, Date(1772600707890ms)},
    };
    for (const auto &[key, value] : values.asKeyValueRange())
        m_store.set(key, value);
    const FileSettingsStore other(file());
    EXPECT_EQ(other.keys(), values.keys());
    for (const auto &[key, value] : values.asKeyValueRange())
        EXPECT_EQ(other.value(key), value) << key.toStdString();
    m_store.remove(u"flag"_s);
    EXPECT_EQ(other.value(u"flag"_s), std::nullopt);
    EXPECT_EQ(QFile::permissions(file()) &
                  (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther),
              0);
}

TEST_F(SettingsFile, WrongTypesReadAsTheFallback)
{
    m_home.write(
        u"config/settings.json"_s,
        R"({"text": "5", "integer": 5, "real": 5.5, "flag": true, "list": [1], "none": null, "date": {"date": "soon"}})");
    for (const QString &key : m_store.keys()) {
        const auto name = key.toStdString();
        EXPECT_EQ(m_store.flagOr(key, false), key == u"flag") << name;
        EXPECT_EQ(m_store.integerOr(key, -1), key == u"integer" ? 5 : -1) << name;
        EXPECT_EQ(m_store.realOr(key, -1), key == u"integer" ? 5 : key == u"real" ? 5.5 : -1) << name;
        EXPECT_EQ(m_store.text(key), key == u"text" ? u"5"_s : QString()) << name;
        EXPECT_EQ(m_store.date(key), std::nullopt) << name;
    }
    EXPECT_TRUE(m_store.flagOr(u"absent"_s, true));
}

TEST_F(SettingsFile, WhatThisVersionDoesNotKnowSurvives)
{
    m_home.write(u"config/settings.json"_s, R"({"future": {"a": [1, null]}, "known": 1})");
    m_store.set(u"known"_s, qint64(2));
    const QByteArray written = m_home.read(u"config/settings.json"_s).simplified();
    EXPECT_TRUE(written.contains(R"("future": { "a": [ 1, null ] })")) << written.toStdString();
    EXPECT_EQ(m_store.integerOr(u"known"_s, 0), 2);
}

TEST_F(SettingsFile, TornFileKeepsTheValuesAndADeletedOneClearsThem)
{
    m_store.set(u"name"_s, u"kept"_s);
    m_home.write(u"config/settings.json"_s, R"({"name": "to)");
    EXPECT_EQ(m_store.text(u"name"_s), u"kept");
    EXPECT_TRUE(FileSettingsStore::faultOf(file()));
    testing::internal::CaptureStderr();
    m_store.set(u"more"_s, true);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("settings.json.unreadable"), std::string::npos);
    EXPECT_EQ(FileSettingsStore(file()).text(u"name"_s), u"kept");
    EXPECT_EQ(m_home.read(u"config/settings.json.unreadable"_s), R"({"name": "to)");
    EXPECT_EQ(FileSettingsStore::faultOf(file()), std::nullopt);
    m_home.write(u"config/settings.json"_s, "\xEF\xBB\xBF{\"more\": false}");
    EXPECT_FALSE(m_store.flagOr(u"more"_s, true) || FileSettingsStore::faultOf(file()))
        << "what some editors put in front does no harm";
    QFile::remove(file());
    EXPECT_EQ(m_store.keys(), QStringList());
}

TEST_F(SettingsFile, EachTornFileIsKeptAndNoneIsReplacedThatCannotBe)
{
    const auto tearAndSet = [&](const QByteArray &torn) {
        m_home.write(u"config/settings.json"_s, torn);
        testing::internal::CaptureStderr();
        const bool isStored = FileSettingsStore(file()).set(u"name"_s, u"new"_s);
        testing::internal::GetCapturedStderr();
        return isStored;
    };
    for (const QByteArray &torn : {"[1]", "{2", " \n", "{3"})
        EXPECT_TRUE(tearAndSet(torn)) << torn.toStdString();
    const QStringList kept = FileSettingsStore::unreadableOf(file());
    ASSERT_EQ(kept.size(), 3) << "a blank file is nobody's";
    EXPECT_EQ(readFile(kept[0]).value(), "[1]");
    EXPECT_EQ(readFile(kept[2]).value(), "{3");
    for (int number = 4; number <= 9; ++number)
        QDir().mkpath(file() + u".unreadable%1"_s.arg(number));
    EXPECT_FALSE(tearAndSet("{4"));
    EXPECT_EQ(m_home.read(u"config/settings.json"_s), "{4");
}

TEST_F(SettingsFile, FileThatCannotBeReadNowIsNotReplaced)
{
    m_store.set(u"name"_s, u"kept"_s);
    QFile::rename(file(), file() + u".aside"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(file()).constData(), 0600), 0);
    testing::internal::CaptureStderr();
    m_store.set(u"more"_s, true);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("settings not saved"), std::string::npos);
    EXPECT_EQ(m_store.text(u"name"_s), u"kept");
    QFile::remove(file());
    QFile::rename(file() + u".aside"_s, file());
    EXPECT_EQ(FileSettingsStore(file()).keys(), QStringList{u"name"_s});
    m_store.set(u"next"_s, true);
    EXPECT_EQ(FileSettingsStore(file()).keys().size(), 3) << "the next save carries what could not be saved";
}

TEST_F(SettingsFile, IsReadAgainOnlyWhenItChanged)
{
    m_store.set(u"name"_s, u"old"_s);
    EXPECT_EQ(m_store.text(u"name"_s), u"old");
    struct stat before = {};
    const QByteArray path = QFile::encodeName(file());
    ASSERT_EQ(::stat(path.constData(), &before), 0);
    m_home.write(u"config/settings.json"_s, m_home.read(u"config/settings.json"_s).replace("old", "new"));
    const timespec unchanged[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.constData(), unchanged, 0), 0);
    EXPECT_EQ(m_store.text(u"name"_s), u"old") << "same file, size and time: it was not opened";
    const timespec later[] = {before.st_atim, {before.st_mtim.tv_sec + 1, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.constData(), later, 0), 0);
    EXPECT_EQ(m_store.text(u"name"_s), u"new");
}

TEST_F(SettingsFile, TwoWritersLoseNothing)
{
    const auto write = [this](const QString &prefix) {
        FileSettingsStore own(file());
        for (int i = 0; i < 40; ++i)
            own.set(prefix + QString::number(i), qint64(i));
    };
    {
        std::jthread first(write, u"a"_s);
        std::jthread second(write, u"b"_s);
    }
    EXPECT_EQ(m_store.keys().size(), 80);
}

} // namespace Keelhaven
