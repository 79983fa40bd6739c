#include "Contract/JSONValue.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Kind = JSONValue::Kind;

namespace {

JSONValue parsed(const QByteArray &text)
{
    const auto value = JSONValue::parse(text);
    EXPECT_TRUE(value) << text.toStdString() << ": " << value.error().text.toStdString();
    return value ? *value : JSONValue();
}

} // namespace

struct RoundTrip
{
    QByteArray text;
    Kind kind;
    QByteArray written;
};

class JSONRoundTrip : public testing::TestWithParam<RoundTrip>
{};

TEST_P(JSONRoundTrip, IsReadAndWritten)
{
    const auto &[text, kind, written] = GetParam();
    const JSONValue value = parsed(text);
    EXPECT_EQ(value.kind(), kind);
    EXPECT_EQ(value.encoded(), written);
    EXPECT_EQ(value.serialized(), QString::fromUtf8(written));
    EXPECT_EQ(parsed(written).encoded(), written);
}

INSTANTIATE_TEST_SUITE_P(
    Values, JSONRoundTrip,
    testing::Values(RoundTrip{R"({"b":1,"a":2})", Kind::Object, R"({"b": 1, "a": 2})"},
                    RoundTrip{" \t\r\n[ 1 , [ ] , { } ] \n", Kind::Array, "[1, [], {}]"},
                    RoundTrip{R"({"a":1,"b":0,"a":2})", Kind::Object, R"({"a": 2, "b": 0})"},
                    RoundTrip{R"({"é":1,"\u00e9":2})", Kind::Object, R"({"é": 2})"},
                    RoundTrip{"true", Kind::Bool, "true"}, RoundTrip{"false", Kind::Bool, "false"},
                    RoundTrip{"null", Kind::Null, "null"}, RoundTrip{"1", Kind::Int, "1"},
                    RoundTrip{"-0", Kind::Int, "0"}, RoundTrip{"007", Kind::Int, "7"},
                    RoundTrip{"9223372036854775807", Kind::Int, "9223372036854775807"},
                    RoundTrip{"-9223372036854775808", Kind::Int, "-9223372036854775808"},
                    RoundTrip{"9223372036854775808", Kind::Double, "9.223372036854776e+18"},
                    RoundTrip{"123456789012345678901", Kind::Double, "1.2345678901234568e+20"},
                    RoundTrip{"1.0", Kind::Double, "1.0"}, RoundTrip{"-0.0", Kind::Double, "-0.0"},
                    RoundTrip{"1e3", Kind::Double, "1000.0"}, RoundTrip{"1E-2", Kind::Double, "0.01"},
                    RoundTrip{"0.1", Kind::Double, "0.1"},
                    RoundTrip{"999999999999999.0", Kind::Double, "999999999999999.0"},
                    RoundTrip{"1e15", Kind::Double, "1e+15"},
                    RoundTrip{"-123456789012345680.0", Kind::Double, "-1.2345678901234568e+17"},
                    RoundTrip{"5e-324", Kind::Double, "5e-324"}, RoundTrip{"1e-999", Kind::Double, "0.0"},
                    RoundTrip{R"("")", Kind::String, R"("")"},
                    RoundTrip{R"("\"\\\/\b\f\n\r\t\u001f\u0000")", Kind::String,
                              R"("\"\\/\u0008\u000c\n\r\t\u001f\u0000")"},
                    RoundTrip{R"("\u00e9\u20AC\ud83d\ude00")", Kind::String, "\"é€😀\""},
                    RoundTrip{"\"a\tb\x7f\"", Kind::String, "\"a\\tb\x7f\""},
                    RoundTrip{"\"exactly14bytes\"", Kind::String, "\"exactly14bytes\""},
                    RoundTrip{"\"a text that is not kept \\\"inside\\\" its value\"", Kind::String,
                              "\"a text that is not kept \\\"inside\\\" its value\""},
                    RoundTrip{"\"x\xff\xc3\"", Kind::String, "\"x\xef\xbf\xbd\xef\xbf\xbd\""},
                    RoundTrip{"\"\xc3\\n\xa9\"", Kind::String, "\"\xef\xbf\xbd\\n\xef\xbf\xbd\""},
                    RoundTrip{"{\"\xfe\":1}", Kind::Object, "{\"\xef\xbf\xbd\": 1}"}));

struct BadText
{
    QByteArray text;
    const char *error;
    qsizetype offset;
};

class JSONParseErrors : public testing::TestWithParam<BadText>
{};

TEST_P(JSONParseErrors, NameReasonAndByte)
{
    const auto &[text, error, offset] = GetParam();
    const auto value = JSONValue::parse(text);
    ASSERT_FALSE(value) << text.toStdString();
    EXPECT_EQ(value.error().message().toStdString(), error) << text.toStdString();
    EXPECT_EQ(value.error().offset, offset) << text.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Texts, JSONParseErrors,
    testing::Values(BadText{"", "unexpected end", 0}, BadText{" \n", "unexpected end", 2},
                    BadText{"[1,", "unexpected end", 3}, BadText{"{\"a\":", "unexpected end", 5},
                    BadText{"1 2", "trailing content", 2}, BadText{"nulll", "trailing content", 4},
                    BadText{"tru", "expected true", 0}, BadText{"[fals]", "expected false", 1},
                    BadText{"nil", "expected null", 0}, BadText{"{1:2}", "expected key", 1},
                    BadText{"{", "expected key", 1}, BadText{"{\"a\":1,}", "expected key", 7},
                    BadText{"{\"a\" 1}", "expected :", 5}, BadText{"{\"a\":1;", "expected , or }", 6},
                    BadText{"{\"a\":1", "expected , or }", 6}, BadText{"[1 2]", "expected , or ]", 3},
                    BadText{"[1", "expected , or ]", 2}, BadText{"[1,]", "bad number", 3},
                    BadText{"-", "bad number", 0}, BadText{".5", "bad number", 0},
                    BadText{"\xef\xbb\xbf{}", "bad number", 0}, BadText{"[1.]", "unparseable number", 1},
                    BadText{"1e+", "unparseable number", 0}, BadText{"-2.5e", "unparseable number", 0},
                    BadText{"1e999", "unparseable number", 0}, BadText{"\"abc", "unterminated string", 4},
                    BadText{"\"a\\n", "unterminated string", 4}, BadText{"\"\\", "bad escape", 2},
                    BadText{"\"\\x\"", "bad escape char", 2}, BadText{"\"\\u12\"", "short unicode escape", 3},
                    BadText{"\"\\u12g4\"", "bad hex digit", 5},
                    BadText{"\"\\ud83d\"", "lone high surrogate", 7},
                    BadText{"\"\\ud83d\\n\"", "lone high surrogate", 7},
                    BadText{"\"\\ud83d\\u0041\"", "bad low surrogate", 9},
                    BadText{"\"\\udc00\"", "bad unicode escape", 7}));

TEST(JSONValue, RefusesTooDeepNestingAndSurvivesDeepValues)
{
    const auto nested = [](int levels) { return QByteArray(levels, '[') + QByteArray(levels, ']'); };
    EXPECT_TRUE(JSONValue::parse(nested(1000)));
    for (const int levels : {1001, 2'000'000}) {
        const auto error = JSONValue::parse(nested(levels)).error();
        EXPECT_EQ(error.message(), u"nesting too deep");
        EXPECT_EQ(error.offset, 1000);
    }
    JSONValue deep;
    JSONValue twin;
    for (int i = 0; i < 300'000; ++i) {
        deep = i % 2 ? JSONValue(JSONArray{deep}) : JSONValue(JSONObject{{u"k"_s, deep}});
        twin = i % 2 ? JSONValue(JSONArray{twin}) : JSONValue(JSONObject{{u"k"_s, twin}});
    }
    EXPECT_TRUE(deep == twin);
    EXPECT_EQ(deep.encoded().size(), 300'000 / 2 * (2 + 7) + 4);
}

TEST(JSONValue, ReadsOnlyItsOwnKind)
{
    const JSONValue whole(3.0);
    EXPECT_EQ(whole.intValue(), 3);
    EXPECT_EQ(JSONValue(3.5).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(0x1p63).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(-0x1p63).intValue(), std::numeric_limits<qint64>::min());
    EXPECT_EQ(JSONValue(std::nan("")).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(7).doubleValue(), 7.0);
    EXPECT_EQ(JSONValue(u"7"_s).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(1).boolValue(), std::nullopt);
    EXPECT_EQ(JSONValue(true).intValue(), std::nullopt);
    EXPECT_EQ(JSONValue(true).doubleValue(), std::nullopt);
    EXPECT_EQ(JSONValue(nullptr).stringValue(), std::nullopt);
    EXPECT_EQ(JSONValue(JSONArray{}).objectValue(), nullptr);
    EXPECT_EQ(JSONValue(JSONObject{}).arrayValue(), nullptr);
    const JSONValue object(JSONObject{{u"k"_s, u"größer als vierzehn Bytes"_s}});
    ASSERT_NE(object[u"k"], nullptr);
    EXPECT_EQ(object[u"k"]->stringValue(), u"größer als vierzehn Bytes"_s);
    EXPECT_EQ(object[u"x"], nullptr);
    EXPECT_EQ(JSONValue(JSONArray{object})[u"k"], nullptr);
}

TEST(JSONValue, TruthFollowsContent)
{
    for (const char *text :
         {"true", "1", "-0.5", "\"0\"", "[0]", R"({"a":null})", "\"longer than the value itself\""})
        EXPECT_TRUE(parsed(text).isTruthy()) << text;
    for (const char *text : {"false", "0", "-0.0", "\"\"", "[]", "{}", "null"})
        EXPECT_FALSE(parsed(text).isTruthy()) << text;
}

TEST(JSONValue, EqualityLooksAtKindAndContent)
{
    const QList<QByteArray> different = {"null",
                                         "false",
                                         "true",
                                         "1",
                                         "1.0",
                                         "\"1\"",
                                         "[1]",
                                         "[1, 1]",
                                         R"({"a": 1})",
                                         R"({"a": 1, "b": 2})",
                                         R"({"b": 2, "a": 1})",
                                         R"({"a": 1, "b": 3})",
                                         "\"a text of some length\"",
                                         "\"a text of same length\""};
    for (qsizetype i = 0; i < different.size(); ++i) {
        for (qsizetype j = 0; j < different.size(); ++j)
            EXPECT_EQ(parsed(different[i]) == parsed(different[j]), i == j)
                << different[i].toStdString() << " " << different[j].toStdString();
    }
}

TEST(JSONValue, WritesWhatHasNoTextAsNull)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(JSONValue(JSONArray{std::nan(""), infinity, -infinity}).encoded(), "[null, null, null]");
}

TEST(JSONValue, PrettyFormSortsKeysByCodePoint)
{
    const JSONValue value =
        parsed("{\"b\":[1,{\"z\":1.5,\"y\":\"t\"}],\"\xf0\x90\x80\x80\":null,\"\xef\xbf\xbd\":{},\"a\":[]}");
    EXPECT_EQ(value.encodedPretty(), R"({
  "a": [],
  "b": [
    1,
    {
      "y": "t",
      "z": 1.5
    }
  ],
  ")"
                                     "\xef\xbf\xbd"
                                     R"(": {},
  ")"
                                     "\xf0\x90\x80\x80"
                                     R"(": null
})");
    EXPECT_EQ(parsed("[]").encodedPretty(), "[]");
    EXPECT_EQ(parsed("1").encodedPretty(), "1");
}

TEST(JSONValue, CopiesAreIndependentAcrossThreads)
{
    QByteArray text = "{";
    for (int i = 0; i < 200; ++i)
        text += QByteArray(i ? "," : "") + "\"key number " + QByteArray::number(i) +
                "\": [\"some longer text\", " + QByteArray::number(i) + "]";
    const JSONValue shared = parsed(text + "}");
    const auto work = [copy = shared] {
        for (int round = 0; round < 50; ++round) {
            JSONObject own = *copy.objectValue();
            own.set(u"key number 7"_s, u"changed"_s);
            const JSONValue *eight = own.find(u"key number 8");
            if (!eight || (*eight->arrayValue())[1].intValue() != 8)
                std::abort();
        }
    };
    {
        std::jthread first(work);
        std::jthread second(work);
    }
    EXPECT_EQ(shared[u"key number 7"]->kind(), Kind::Array);
}

} // namespace Keelhaven
