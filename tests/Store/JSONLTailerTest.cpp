#include "Store/JSONLTailer.h"

#include "Support/TestHome.h"

#include <QFile>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class JSONLTailerTest : public ::testing::Test
{
protected:
    /// A line of this type, an hour old unless told.
    QByteArray line(const char *type, std::optional<double> ts = std::nullopt) const
    {
        return QByteArray("{\"ts\": ") + QByteArray::number(ts.value_or(nowSeconds - 3600), 'f', 3) +
               ", \"type\": \"" + type + "\"}\n";
    }

    void append(const QString &name, const QByteArray &bytes)
    {
        QFile out(home.path(name));
        ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Append));
        ASSERT_EQ(out.write(bytes), bytes.size());
    }
    void append(const QByteArray &bytes) { append(u"events.jsonl"_s, bytes); }
    void rotate() { ASSERT_TRUE(QFile::rename(path, home.path(u"events.1.jsonl"_s))); }

    static QString types(const EventList &events)
    {
        QString list;
        for (const auto &event : events)
            list += event.type;
        return list;
    }
    /// Types of the new events, "/" and of all.
    QString read()
    {
        const auto result = tailer.read(path, now);
        return types(result.newEvents) + u'/' + types(result.events);
    }

    TestHome home;
    const QString path = home.path(u"events.jsonl"_s);
    Date now = Date(std::chrono::seconds(1772600707));
    const double nowSeconds = 1772600707;
    JSONLTailer tailer;
};

TEST(LineBufferTest, LineBeyondTheLimitIsDroppedWholeInWhateverPiecesItComes)
{
    const QByteArray text = "abcd\nefghi\n\njklmnopq\nrst\nuvwxyz";
    for (qsizetype piece = 1; piece <= text.size(); ++piece) {
        LineBuffer lines(4);
        QByteArray seen;
        for (qsizetype at = 0; at < text.size(); at += piece)
            lines.add(QByteArrayView(text).sliced(at, std::min(piece, text.size() - at)),
                      [&](QByteArrayView line) { seen.append(line).append('|'); });
        EXPECT_EQ(seen, "abcd||rst|") << piece;
        EXPECT_TRUE(lines.partial().isEmpty()) << piece;
    }
}

TEST_F(JSONLTailerTest, GivesEachWholeLineOnce)
{
    EXPECT_EQ(read(), u"/"_s);
    append(line("a") + "garbage\n\n" + line("b") + line("c").chopped(6));
    EXPECT_EQ(read(), u"ab/ab"_s);
    EXPECT_EQ(read(), u"/ab"_s);
    append(line("c").right(6).chopped(1));
    EXPECT_EQ(read(), u"/ab"_s);
    append("\n" + line("d"));
    EXPECT_EQ(read(), u"cd/abcd"_s);
    EXPECT_EQ(tailer.unreadBytes(path), 0U);
}

TEST_F(JSONLTailerTest, TruncatedFileIsReadFromItsStart)
{
    append(line("a") + line("b") + "half a li");
    EXPECT_EQ(read(), u"ab/ab"_s);
    ASSERT_TRUE(QFile::resize(path, 0));
    append(line("c"));
    EXPECT_EQ(read(), u"c/abc"_s);
}

TEST_F(JSONLTailerTest, RotationLosesAndDoublesNothing)
{
    append(line("a"));
    EXPECT_EQ(read(), u"a/a"_s);
    append(line("b"));
    rotate();
    EXPECT_EQ(tailer.unreadBytes(path), static_cast<quint64>(line("b").size()));
    EXPECT_EQ(read(), u"b/ab"_s) << "the new file is not there yet";
    append(u"events.1.jsonl"_s, line("c") + line("d").chopped(3));
    append(line("e"));
    EXPECT_EQ(read(), u"ce/abce"_s);
    // A writer that had the old file open.
    append(u"events.1.jsonl"_s, line("d").right(3));
    append(line("f"));
    EXPECT_EQ(read(), u"df/abcedf"_s);
    now += JSONLTailer::afterglow;
    append(u"events.1.jsonl"_s, line("g"));
    EXPECT_EQ(read(), u"g/abcedfg"_s);
    append(u"events.1.jsonl"_s, line("h"));
    EXPECT_EQ(read(), u"/abcedfg"_s) << "by now nobody has the old one open";
}

TEST_F(JSONLTailerTest, ReplacedFileIsReadWholeThoughItIsLonger)
{
    append(line("a"));
    EXPECT_EQ(read(), u"a/a"_s);
    home.write(u"fresh"_s, line("b") + line("c"));
    ASSERT_EQ(::rename(home.path(u"fresh"_s).toUtf8().constData(), path.toUtf8().constData()), 0);
    EXPECT_EQ(read(), u"bc/abc"_s);
}

TEST_F(JSONLTailerTest, EventsOf30DaysAreKept)
{
    const double month = 2592000;
    append(line("a", nowSeconds - month) + line("b", nowSeconds - month + 1) + "{\"type\": \"z\"}\n" +
           line("c", nowSeconds - month + 3) + line("d") + line("e", nowSeconds - month + 2));
    EXPECT_EQ(read(), u"abzcde/bcde"_s);
    now += std::chrono::seconds(2);
    EXPECT_EQ(read(), u"/cd"_s);
    now += std::chrono::seconds(1);
    EXPECT_EQ(read(), u"/d"_s);
}

TEST_F(JSONLTailerTest, OldEventsOfABacklogStayOutOfMemory)
{
    const double month = 2592000;
    const qsizetype many = 12'000; // more than is read at once
    const QByteArray longType(500, 'z');
    append(line("a") + line(longType.constData(), nowSeconds - month).repeated(many) + line("b"));
    const auto result = tailer.read(path, now);
    EXPECT_EQ(types(result.events), u"ab"_s);
    EXPECT_EQ(types(result.newEvents.last(1)), u"b"_s);
    EXPECT_LT(result.newEvents.size(), many) << "only those near the end are made at all";
}

TEST_F(JSONLTailerTest, PipeInItsPlaceIsNoFile)
{
    ASSERT_EQ(::mkfifo(path.toUtf8().constData(), 0600), 0);
    EXPECT_EQ(read(), u"/"_s);
}

} // namespace
} // namespace Keelhaven
