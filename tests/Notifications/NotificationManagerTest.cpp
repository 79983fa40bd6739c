#include "Notifications/NotificationManager.h"

#include "Support/MemorySettings.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class RecordingSink : public NotificationSink
{
public:
    QStringList shown;
    void show(const QString &title, const QString &body, const QString &url) override
    {
        shown.append(title + u'|' + body + u'|' + url);
    }
};

class NotificationManagerTest : public testing::Test
{
protected:
    VirtualClock clock{Date(std::chrono::sys_days(std::chrono::year(2026) / 3 / 4))};
    MemorySettings settings;
    RecordingSink sink;
    // Two hours ahead of UTC.
    NotificationManager manager{clock, settings, sink, [] { return Calendar(QTimeZone(7200)); }};
};

TEST_F(NotificationManagerTest, QuietHoursAreLocal)
{
    EXPECT_FALSE(manager.isQuietHours()) << "off unless switched on";
    settings.set(u"quietHoursEnabled"_s, true);
    const std::pair<Span, bool> times[] = {
        {21h + 59min, false}, {22h, true}, {24h, true}, {31h + 59min, true}, {32h, false}};
    for (const auto &[local, quiet] : times) {
        clock.jump(Date(std::chrono::sys_days(std::chrono::year(2026) / 3 / 4)) + local - 2h - clock.now());
        EXPECT_EQ(manager.isQuietHours(), quiet) << local / 1min;
    }
}

TEST_F(NotificationManagerTest, RunNotificationsRespectQuietHoursUnlessTheyMustNot)
{
    settings.set(u"quietHoursEnabled"_s, true);
    const QUuid id("0A1B2C3D-0000-4000-8000-00000000000F");
    manager.postRun(u"quiet"_s, {}, id, false);
    manager.postRun(u"failed"_s, u"b"_s, id, true);
    clock.jump(8h);
    manager.postRun(u"day"_s, {}, id, false);
    const QString link = u"keelhaven://run/0A1B2C3D-0000-4000-8000-00000000000F"_s;
    EXPECT_EQ(sink.shown, (QStringList{u"failed|b|"_s + link, u"day||"_s + link}));
}

TEST_F(NotificationManagerTest, ClicksGoToTheProjectOrTheRouter)
{
    manager.clicked(u"keelhaven://runs"_s); // nobody is connected yet
    QStringList went;
    manager.onOpenProject = [&](const QString &name) { went.append(u"project "_s + name); };
    manager.onOpenURL = [&](const QString &url) { went.append(url); };
    for (const char *url : {"keelhaven://project/my%20app", "keelhaven://project", "keelhaven://run/x",
                            "http://project/x", "", "nonsense"})
        manager.clicked(QString::fromLatin1(url));
    EXPECT_EQ(went, (QStringList{u"project my app"_s, u"keelhaven://project"_s, u"keelhaven://run/x"_s}));
}

} // namespace
} // namespace Keelhaven
