#include "Notifications/DeepLink.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
using Action = DeepLink::Action;

constexpr const char *id = "0A1B2C3D-0000-4000-8000-00000000000F";

TEST(DeepLink, EachLinkAndItsAction)
{
    const struct
    {
        const char *text;
        Action action;
        std::optional<QString> name = std::nullopt;
    } cases[] = {
        {"keelhaven://project/my-app", Action::OpenProject, u"my-app"_s},
        {"keelhaven://project/my%20app/", Action::OpenProject, u"my app"_s},
        {"keelhaven://project/a/b%C3%A9?x#y", Action::OpenProject, u"bé"_s},
        {"keelhaven://project/50%", Action::OpenProject, u"50%"_s},
        {"keelhaven://project/%zz", Action::OpenProject, u"%zz"_s},
        {"keelhaven://project/%+1", Action::OpenProject, u"%+1"_s},
        {"keelhaven://project/%ff", Action::OpenProject, u"%ff"_s},
        {"keelhaven://project/a%00b", Action::OpenProject, u"a%00b"_s},
        {"keelhaven://project", Action::RaiseWindow},
        {"keelhaven://project///", Action::RaiseWindow},
        {"keelhaven://project/%2F", Action::RaiseWindow, u"/"_s},
        {"keelhaven://activity", Action::RaiseWindow},
        {"keelhaven://settings", Action::RaiseWindow},
        {"keelhaven://scheduler/wake", Action::WakeScheduler, u"wake"_s},
        {"keelhaven://scheduler/sleep", Action::None, u"sleep"_s},
        {"keelhaven://scheduler", Action::None},
        {"keelhaven://dispatch/wake", Action::WakeDispatch, u"wake"_s},
        {"keelhaven://captain/wake/", Action::WakeCaptain, u"wake"_s},
        {"keelhaven://captain/wake/not", Action::None, u"not"_s},
        {"keelhaven://runs", Action::ShowScheduler},
        {"keelhaven://runs/", Action::ShowScheduler},
        {"keelhaven://ship/none", Action::ShowShip, u"none"_s},
        {"keelhaven://run", Action::ShowRun},
        {"keelhaven://elsewhere/x", Action::RaiseWindow, u"x"_s},
        {"keelhaven:", Action::RaiseWindow},
        {"keelhaven:runs", Action::RaiseWindow, u"runs"_s},
        {"KEELHAVEN://Runs", Action::ShowScheduler},
        {"keelhaven://u:p@runs:80", Action::ShowScheduler},
    };
    for (const auto &test : cases) {
        const auto link = DeepLink::parse(QString::fromUtf8(test.text));
        ASSERT_TRUE(link) << test.text;
        EXPECT_EQ(link->action(), test.action) << test.text;
        EXPECT_EQ(link->name, test.name) << test.text;
        EXPECT_FALSE(link->uuid) << test.text;
    }
}

TEST(DeepLink, ReadsIDsOfOneFormOnly)
{
    for (const char *host : {"run", "runs", "ship"}) {
        const QString base = u"keelhaven://%1/"_s.arg(QString::fromLatin1(host));
        EXPECT_EQ(DeepLink::parse(base + QString::fromLatin1(id))->uuid, QUuid(id));
        EXPECT_EQ(DeepLink::parse(base + QString::fromLatin1(id).toLower())->uuid, QUuid(id));
        EXPECT_FALSE(DeepLink::parse(base + u'{' + QString::fromLatin1(id) + u'}')->uuid);
    }
}

TEST(DeepLink, RefusesOtherSchemesLongTextAndControlCharacters)
{
    for (const char *text : {"", "runs", "http://project/x", "keelhavenx://runs", "://runs", "keelhaven"})
        EXPECT_FALSE(DeepLink::parse(QString::fromLatin1(text))) << text;
    for (const QChar bad : {u' ', u'\n', u'\0', u'\x7f'})
        EXPECT_FALSE(DeepLink::parse(u"keelhaven://project/a"_s + bad));
    const QString start = u"keelhaven://project/"_s;
    EXPECT_TRUE(DeepLink::parse(start + QString(2048 - start.size(), u'a')));
    EXPECT_FALSE(DeepLink::parse(start + QString(2049 - start.size(), u'a')));
    EXPECT_FALSE(DeepLink::parse(start + QString(1100, u'é')));
}

TEST(DeepLink, WhatIsBuiltComesBack)
{
    for (const QString &name : {u"my app"_s, u"a/b"_s, u"50%"_s, u"naïve ✓"_s, u"a?b#c"_s})
        EXPECT_EQ(DeepLink::parse(DeepLink::project(name))->name, name);
    EXPECT_EQ(DeepLink::project(u"my app"_s), u"keelhaven://project/my%20app"_s);
    EXPECT_EQ(DeepLink::run(QUuid(id)), u"keelhaven://run/"_s + QString::fromLatin1(id));
    EXPECT_EQ(DeepLink::ship(QUuid(id)), u"keelhaven://ship/"_s + QString::fromLatin1(id));
}

} // namespace
} // namespace Keelhaven
