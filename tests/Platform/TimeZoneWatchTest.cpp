#include "Platform/TimeZoneWatch.h"

#include "Platform/InotifyDirectoryWatch.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(TimeZoneWatch, TellsOfAnotherZoneAndOfNothingElse)
{
    const TestHome home;
    InotifyDirectoryWatchFactory watches;
    int changes = 0;
    const auto link = [&](const QString &zone) {
        // As timedated does it: the new link takes the old one's place in one step.
        const QString made = home.path(u"made"_s);
        ASSERT_TRUE(QFile::link(u"/usr/share/zoneinfo/"_s + zone, made));
        ASSERT_EQ(std::rename(qPrintable(made), qPrintable(home.path(u"localtime"_s))), 0);
    };
    link(u"Europe/Berlin"_s);
    TimeZoneWatch watch(watches, home.path());
    watch.onChanged = [&] { ++changes; };
    watch.start();

    link(u"Asia/Kolkata"_s);
    EXPECT_TRUE(waitUntil([&] { return changes == 1; }));
    link(u"Asia/Kolkata"_s);
    home.write(u"hosts"_s, "other");
    QFile::remove(home.path(u"localtime"_s));
    link(u"America/New_York"_s);
    EXPECT_TRUE(waitUntil([&] { return changes == 2; }));
    watch.stop();
    link(u"Europe/Berlin"_s);
    settle();
    EXPECT_EQ(changes, 2);
}

} // namespace Keelhaven
