#include "App/Commands/PlainLines.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(PlainLines, LosesWhatDrivesATerminalOrReordersText)
{
    const std::pair<QString, QString> cases[] = {
        {u""_s, u""_s},
        {u"\x1b]0;title\x07"_s, u"]0;title\n"_s},
        {u"a\r\n\tb"_s, u"a\n\tb\n"_s},
        {u"file\u202Egnp.exe\u2069"_s, u"filegnp.exe\n"_s},
        {u"\U0001F469\u200D\U0001F4BB\n"_s, u"\U0001F469\u200D\U0001F4BB\n"_s},
        {u"\u009b31m"_s, u"31m\n"_s},
    };
    for (const auto &[text, plain] : cases)
        EXPECT_EQ(plainLines(text).toStdString(), plain.toStdString());
}

} // namespace Keelhaven
