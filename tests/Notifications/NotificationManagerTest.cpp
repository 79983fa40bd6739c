#include "Notifications/NotificationManager.h"

#include "Contract/Models/EventList.h"
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

TEST_F(NotificationManagerTest, SessionsThatEndOrFlagSomethingAreTold)
{
    const StateFile::Links links{{u"my app"_s, u"/code/app"_s}};
    const auto event = [](const char *json) { return *EventRecord::fromLine(QByteArrayView(json)); };
    const EventList events{
        event(R"({"type": "Stop", "cwd": "/code/app/src", "last_message": "done"})"),
        event(R"({"type": "Stop", "cwd": "/code/other/"})"),
        event(R"({"type": "Stop"})"),
        event(R"({"type": "flag", "repo_hint": "hinted", "cwd": "/code/app", "note": "look"})"),
        event(R"({"type": "flag", "cwd": "/"})"),
        event(R"({"type": "SubagentStop", "cwd": "/code/app"})"),
        event(R"({"type": "Stop", "provider": "codex", "cwd": "/code/app"})"),
        event(R"({"type": "Stop", "provider": "codex", "run_id": "0A1B2C3D-0000-4000-8000-00000000000F"})"),
    };
    manager.process(events, links);
    EXPECT_EQ(sink.shown, QStringList()) << "off unless switched on";
    settings.set(u"notificationsEnabled"_s, true);
    manager.process(events, links);
    const QString app = u"keelhaven://project/my%20app"_s;
    EXPECT_EQ(sink.shown, (QStringList{u"Session finished in my app|done|"_s + app,
                                       u"Session finished in other||keelhaven://project/other"_s,
                                       u"Session finished in a project||keelhaven://project/a%20project"_s,
                                       u"⚑ Flagged in hinted|look|keelhaven://project/hinted"_s,
                                       u"⚑ Flagged in /||keelhaven://project/%2F"_s,
                                       u"Session finished in my app||"_s + app}));
    sink.shown.clear();
    settings.set(u"quietHoursEnabled"_s, true); // it is two in the morning
    manager.process(events, links);
    EXPECT_EQ(sink.shown, QStringList());
}

TEST_F(NotificationManagerTest, LongMessagesAreCutBetweenCharacters)
{
    settings.set(u"notificationsEnabled"_s, true);
    const QString face = u"\U0001F469\u200D\U0001F4BB"_s; // one character of five units
    const std::pair<QString, QString> cases[] = {
        {QString(120, u'x'), QString(120, u'x')},
        {QString(121, u'x'), QString(119, u'x') + u'…'},
        {QString(119, u'x') + face, QString(119, u'x') + face},
        {QString(118, u'x') + face + u"yz"_s, QString(118, u'x') + face + u'…'},
    };
    for (const auto &[message, body] : cases) {
        EventRecord stop;
        stop.type = u"Stop"_s;
        stop.cwd = u"/p"_s;
        stop.lastMessage = message;
        manager.process({stop}, {});
        EXPECT_EQ(sink.shown.takeLast(), u"Session finished in p|%1|keelhaven://project/p"_s.arg(body));
    }
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
