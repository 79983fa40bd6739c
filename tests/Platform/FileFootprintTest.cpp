#include "Platform/FileFootprint.h"

#include "Support/TestHome.h"

#include <QFile>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

struct Found
{
    QStringList paths;
    FileFootprint footprint;
};

TEST(FileFootprint, StandsUntilSomethingComesOrIsReplaced)
{
    const TestHome home;
    const QString link = home.path(u"link"_s);
    ASSERT_TRUE(QFile::link(u"/usr"_s, link));
    const QStringList paths{link, home.path(u"absent"_s), u"/usr/lib"_s};
    const FileFootprint footprint(paths);
    EXPECT_TRUE(footprint.stillStands());
    const auto late = FileFootprint::MonotonicClock::now() + FileFootprint::longestTrust;
    EXPECT_FALSE(footprint.stillStands(late)) << "the reading may have failed for want of file handles";

    QFile::remove(link);
    EXPECT_FALSE(footprint.stillStands()) << "gone";
    ASSERT_TRUE(QFile::link(u"/usr/lib"_s, link));
    EXPECT_FALSE(footprint.stillStands()) << "leads elsewhere";
    QFile::remove(link);
    ASSERT_TRUE(QFile::link(u"/usr"_s, link));
    EXPECT_TRUE(footprint.stillStands());
    home.write(u"absent"_s, {});
    EXPECT_FALSE(footprint.stillStands()) << "came";
}

TEST(FileFootprint, IsUnknownWhereAChangeCouldHide)
{
    const TestHome home;
    EXPECT_FALSE(FileFootprint().stillStands());
    EXPECT_FALSE(FileFootprint({home.write(u"new"_s, "a")}).stillStands()) << "written this very moment";
    EXPECT_FALSE(FileFootprint(QStringList(FileFootprint::largest + 1, u"/usr"_s)).stillStands());
}

TEST(FileFootprint, ReadingCountsUnderTheLooksAroundIt)
{
    const TestHome home;
    const QString file = home.path(u"absent"_s);
    int reads = 0;
    const auto read = [&] {
        ++reads;
        return Found{.paths = {u"/usr"_s, file}, .footprint = {}};
    };
    const Found first = FileFootprint::ofReading({}, read);
    EXPECT_EQ(reads, 2) << "only the first one told the paths";
    EXPECT_TRUE(first.footprint.stillStands());
    EXPECT_TRUE(FileFootprint::ofReading(first.footprint.paths(), read).footprint.stillStands());
    EXPECT_EQ(reads, 3);

    const auto disturbed = [&] {
        home.write(u"absent"_s, {});
        return read();
    };
    EXPECT_FALSE(FileFootprint::ofReading(first.paths, disturbed).footprint.stillStands());
}

} // namespace
} // namespace Keelhaven
