#include "Platform/Text.h"
#include "Platform/Uuid.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(Text, CutsOnlyBetweenPerceivedCharacters)
{
    const struct
    {
        QString text;
        qsizetype count;
        QString cut;
    } cases[] = {
        {u"abc"_s, 2, u"ab"_s},
        {u"abc"_s, 0, u""_s},
        {u"ae\u0301x"_s, 2, u"ae\u0301"_s},
        {u"😀😀"_s, 1, u"😀"_s},
        {u"👩‍🚀ab"_s, 1, u"👩‍🚀"_s},
        {u"🇩🇪🇫🇷x"_s, 1, u"🇩🇪"_s},
        {u"🇩🇪🇫🇷x"_s, 2, u"🇩🇪🇫🇷"_s},
        {u"\r\nab"_s, 2, u"\r\na"_s},
        {u"e"_s + QString(1000, u'\u0301') + u"x"_s, 2, u"e"_s + QString(63, u'\u0301')},
        {QString(1000, u'\u0301') + u"x"_s, 0, u""_s},
        {u"e"_s + QString(30, u'\u0301') + u"😀"_s.repeated(40), 1, u"e"_s + QString(30, u'\u0301')},
    };
    for (const auto &[text, count, cut] : cases)
        EXPECT_EQ(firstCharacters(text, count), cut) << text.toStdString() << " " << count;
}

TEST(Uuid, OnlyTheCanonicalFormIsRead)
{
    const auto id = uuidFromText(u"0a1b2c3d-0000-4000-8000-00000000ABcd");
    ASSERT_TRUE(id);
    EXPECT_EQ(uuidText(*id), u"0A1B2C3D-0000-4000-8000-00000000ABCD");
    for (const QString &bad :
         {u""_s, u"{0a1b2c3d-0000-4000-8000-00000000abcd}"_s, u"0a1b2c3d00004000800000000000abcd"_s,
          u"0a1b2c3d-0000-4000-8000-00000000abc"_s, u"0a1b2c3d-0000-4000-8000-00000000abcg"_s,
          u"0a1b2c3d/0000-4000-8000-00000000abcd"_s, u"../../../../../../../../../../../../"_s})
        EXPECT_EQ(uuidFromText(bad), std::nullopt) << bad.toStdString();
    const QString shortID = newShortID();
    EXPECT_EQ(shortID.size(), 8);
    EXPECT_EQ(shortID, shortID.toLower());
    EXPECT_NE(shortID, newShortID());
}

} // namespace Keelhaven
