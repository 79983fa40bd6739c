#include "Platform/InotifyDirectoryWatch.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(InotifyDirectoryWatch, TellsOfEveryKindOfChange)
{
    const TestHome home;
    home.write(u"watched/log"_s, "a");
    int events = 0;
    int losses = 0;
    InotifyDirectoryWatchFactory factory;
    std::unique_ptr<DirectoryWatch> watch = factory.watch(
        home.path(u"watched"_s), [&] { ++events; },
        [&] {
            ++losses;
            watch.reset();
        });
    ASSERT_NE(watch, nullptr);
    const auto isTold = [&](const char *what, const std::function<void()> &change) {
        const int before = events;
        change();
        EXPECT_TRUE(waitUntil([&] { return events > before; })) << what;
    };
    isTold("append", [&] {
        QFile log(home.path(u"watched/log"_s));
        ASSERT_TRUE(log.open(QIODevice::Append));
        log.write("b");
        log.flush();
    });
    isTold("create", [&] { home.write(u"watched/new"_s, {}); });
    isTold("move", [&] { QFile::rename(home.path(u"watched/new"_s), home.path(u"away"_s)); });
    isTold("delete", [&] { QFile::remove(home.path(u"watched/log"_s)); });
    QDir().rmdir(home.path(u"watched"_s));
    EXPECT_TRUE(waitUntil([&] { return losses > 0; }));
    EXPECT_EQ(losses, 1);
}

TEST(InotifyDirectoryWatch, NeedsAFolder)
{
    const TestHome home;
    const QString file = home.write(u"file"_s, {});
    InotifyDirectoryWatchFactory factory;
    EXPECT_EQ(factory.watch(home.path(u"absent"_s), [] {}, [] {}), nullptr);
    EXPECT_EQ(factory.watch(file, [] {}, [] {}), nullptr);
}

} // namespace Keelhaven
