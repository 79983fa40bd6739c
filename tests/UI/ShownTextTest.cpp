#include "UI/ShownText.h"
#include "UI/RawOutput.h"
#include "UI/ReportBlocks.h"

#include "Support/TestHome.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

TEST(ShownTextTest, ALineIsOneLineOfVisibleCharacters)
{
    const struct
    {
        QString text;
        QString shown;
    } cases[] = {
        {u"plain"_s, u"plain"_s},
        {u"  a\nb\tc\r\n"_s, u"a b c"_s},
        {u"\u001b[31mred\u0007"_s, u"\ufffd[31mred\ufffd"_s},
        {u"\u202egnp.exe\u202c"_s, u"gnp.exe"_s},
        {u"a\u009bb"_s, u"a\ufffdb"_s},
        {u"<b>&amp;"_s, u"<b>&amp;"_s},
    };
    for (const auto &one : cases)
        EXPECT_EQ(ShownText::line(one.text), one.shown);
    EXPECT_EQ(ShownText::line(u"a👩‍👩‍👧b"_s, 4), u"a…"_s) << "no character is cut in two";
    EXPECT_EQ(ShownText::line(QString(1'000'000, u'x')).size(), ShownText::lineLimit + 1);
    EXPECT_EQ(ShownText::path(u"/home/ann/code"_s, u"/home/ann"_s), u"~/code"_s);
    EXPECT_EQ(ShownText::path(u"/home/annette"_s, u"/home/ann"_s), u"/home/annette"_s);
    EXPECT_EQ(ShownText::plain(u"## All **412** `tests` < 5 & *fine*"_s), u"All 412 tests < 5 & fine"_s);
}

TEST(ReportBlocksTest, MarkdownBecomesBlocksAndTagsStayText)
{
    const auto blocks = ReportBlocks::read(
        u"# Done\n\nOne\ntwo\n- a\n  - b\n3. c\n> q\n---\n```sh\nx <y>\n\n  z\n```\n<h1>raw</h1>"_s);
    using Kind = ReportBlock::Kind;
    const QList<ReportBlock> expected{{Kind::Heading, 1, {}, u"Done"_s},
                                      {Kind::Paragraph, 0, {}, u"One<br>two"_s},
                                      {Kind::Item, 0, u"•"_s, u"a"_s},
                                      {Kind::Item, 1, u"•"_s, u"b"_s},
                                      {Kind::Item, 0, u"3."_s, u"c"_s},
                                      {Kind::Quote, 0, {}, u"q"_s},
                                      {Kind::Rule, 0, {}, {}},
                                      {Kind::Code, 0, {}, u"x <y>\n\n  z"_s},
                                      {Kind::Paragraph, 0, {}, u"&lt;h1&gt;raw&lt;/h1&gt;"_s}};
    ASSERT_EQ(blocks.size(), expected.size());
    for (qsizetype i = 0; i < blocks.size(); ++i) {
        auto block = blocks[i];
        block.text.replace(u"<br/>"_s, u"<br>"_s).replace(u"<br />"_s, u"<br>"_s);
        EXPECT_EQ(block, expected[i]) << i << " " << block.text.toStdString();
    }
}

TEST(ReportBlocksTest, NoTextIsTooMuch)
{
    for (const QString &text :
         {QString(3'000'000, u'x'), u"- "_s.repeated(500'000), u"\n\na"_s.repeated(500'000),
          u"```\n"_s + QString(2'000'000, u'\n'), u"#"_s.repeated(400'000)}) {
        const auto blocks = ReportBlocks::read(text);
        EXPECT_LE(blocks.size(), ReportBlocks::countLimit + 1);
        for (const auto &block : blocks)
            EXPECT_LE(block.text.size(), ReportBlocks::blockLimit * 6);
    }
}

TEST(RawOutputTest, AFileIsReadAsBoundedLines)
{
    const TestHome home;
    const QString file = home.write(u"out.txt"_s, "one\n\x1b[2Jtwo\n" + QByteArray(100'000, 'z') + "\n\n\n");
    const auto lines = RawOutput::read(file);
    ASSERT_TRUE(lines);
    ASSERT_EQ(lines->size(), 3);
    EXPECT_EQ(lines->at(1), u"\ufffd[2Jtwo"_s);
    EXPECT_EQ(lines->at(2).size(), RawOutput::lineLimit + 1);
    EXPECT_FALSE(RawOutput::read(home.path(u"gone"_s)));
}

} // namespace
} // namespace Keelhaven
