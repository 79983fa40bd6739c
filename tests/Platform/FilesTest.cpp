#include "Platform/Files.h"
#include "Support/TestHome.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

mode_t modeOf(const QString &path)
{
    struct stat info = {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

/// A tree with a link inside it, a link out of it, a dangling link and a link to itself.
class FileTree : public testing::Test
{
protected:
    FileTree()
    {
        m_home.write(u"root/real/file"_s, "x");
        m_home.write(u"outside/deep/file"_s, "x");
        QFile::link(u"real"_s, path(u"root/inner"_s));
        QFile::link(path(u"outside/deep"_s), path(u"root/out"_s));
        QFile::link(path(u"outside/missing"_s), path(u"root/dangling"_s));
        QFile::link(u"loop"_s, path(u"root/loop"_s));
        QFile::link(u"root"_s, path(u"alias"_s));
    }
    [[nodiscard]] QString path(const QString &relative) const { return m_home.path(relative); }

    const TestHome m_home;
};

} // namespace

TEST_F(FileTree, PathsResolveAsTheSystemWalksThem)
{
    const QList<std::pair<QString, QString>> cases = {
        {u"root/real/file"_s, u"root/real/file"_s},
        {u"root/./real//../real/file"_s, u"root/real/file"_s},
        {u"root/inner/file"_s, u"root/real/file"_s},
        {u"alias/inner/new/thing"_s, u"root/real/new/thing"_s},
        {u"root/out/.."_s, u"outside"_s},
        {u"root/out/../escape"_s, u"outside/escape"_s},
        {u"root/dangling/file"_s, u"outside/missing/file"_s},
        {u"root/new/../other"_s, u"root/other"_s},
        {u"root/loop"_s, u"root/loop"_s},
    };
    for (const auto &[given, resolved] : cases)
        EXPECT_EQ(resolvedPath(path(given)), path(resolved)) << given.toStdString();
    EXPECT_EQ(resolvedPath(u"/../.."_s), u"/");
    EXPECT_EQ(resolvedPath(u"name"_s), QDir::current().canonicalPath() + u"/name"_s);
}

TEST_F(FileTree, InsideIsDecidedByResolvedComponents)
{
    for (const QString &inside :
         {u"root"_s, u"root/"_s, u"root/real"_s, u"root/new/file"_s, u"alias/real"_s, u"root/../alias/x"_s})
        EXPECT_TRUE(isInside(path(inside), path(u"root"_s))) << inside.toStdString();
    for (const QString &outside :
         {u""_s, u"rootless"_s, u"root/.."_s, u"root/out"_s, u"root/out/../x"_s, u"root/dangling"_s})
        EXPECT_FALSE(isInside(path(outside), path(u"root"_s))) << outside.toStdString();
    EXPECT_TRUE(isInside(path(u"outside/x"_s), path(u"root/out/.."_s)));
    EXPECT_TRUE(isInside(u"/anything"_s, u"/"_s));
}

TEST_F(FileTree, WritesAreWholeAndPrivate)
{
    const QString file = path(u"made/for/it/state.json"_s);
    ASSERT_TRUE(writeFileAtomically(file, "first"));
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(modeOf(path(u"made"_s)), 0700U);
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    ASSERT_TRUE(writeFileAtomically(file, "second"));
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(readFile(file), QByteArray("second"));
    EXPECT_EQ(QDir(path(u"made/for/it"_s)).entryList(QDir::Files | QDir::Hidden),
              QStringList{u"state.json"_s});
}

TEST_F(FileTree, FailuresNameThePath)
{
    const QString underFile = path(u"root/real/file/below/it"_s);
    const auto written = writeFileAtomically(underFile, "x");
    ASSERT_FALSE(written);
    EXPECT_TRUE(written.error().message().contains(u"root/real/file"));
    const auto overFolder = writeFileAtomically(path(u"root/real"_s), "x");
    ASSERT_FALSE(overFolder);
    EXPECT_TRUE(overFolder.error().message().startsWith(u"cannot write "_s + path(u"root/real"_s)));
    for (const QString &unreadable : {u"root/real"_s, u"absent"_s}) {
        const auto read = readFile(path(unreadable));
        ASSERT_FALSE(read) << unreadable.toStdString();
        EXPECT_TRUE(read.error().message().startsWith(u"cannot read "_s + path(unreadable)));
    }
}

TEST_F(FileTree, WhatIsNoFileOrTooBigToBeOneIsRefusedAtOnce)
{
    const QString pipe = path(u"pipe"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_EQ(readFile(pipe).error().message(), u"cannot read "_s + pipe + u": it is no regular file"_s);
    const QString sparse = m_home.write(u"sparse"_s, "x");
    ASSERT_EQ(::truncate(QFile::encodeName(sparse).constData(), off_t(100) << 30), 0);
    EXPECT_EQ(readFile(sparse).error().message(),
              u"cannot read "_s + sparse + u": it is larger than 1024 MB"_s);
    const QString small = m_home.write(u"small"_s, "12345");
    EXPECT_EQ(readFile(small, 5), QByteArray("12345"));
    EXPECT_FALSE(readFile(small, 4));
    EXPECT_FALSE(readFile(u"/proc/self/status"_s, 100)) << "it tells no size beforehand";
    EXPECT_TRUE(readFile(u"/proc/self/status"_s)->startsWith("Name:"))
        << "a file that does not know its size";
}

TEST(Files, TildeIsTheHome)
{
    EXPECT_EQ(expandTilde(u"~"_s, u"/h"_s), u"/h");
    EXPECT_EQ(expandTilde(u"~/a"_s, u"/h"_s), u"/h/a");
    EXPECT_EQ(expandTilde(u"~other/a"_s, u"/h"_s), u"~other/a");
    EXPECT_EQ(expandTilde(u"/a/~"_s, u"/h"_s), u"/a/~");
}

} // namespace Keelhaven
