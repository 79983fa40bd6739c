#include "Contract/ObjectReader.h"
#include "Contract/LosslessJSONObject.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

JSONValue parsed(const char *text)
{
    return JSONValue::parse(QByteArray(text)).value();
}

struct KeepsItsObject
{
    JSONObject raw;
};

} // namespace

TEST(ObjectReader, GivesNothingForTheWrongType)
{
    const ObjectReader reader(
        parsed(R"({"text": "5", "int": 5, "whole": 5.0, "real": 5.5, "flag": true, "none": null})"));
    const QStringList keys = reader.object().keys() + QStringList{u"absent"_s};
    for (const QString &key : keys) {
        const auto name = key.toStdString();
        EXPECT_EQ(reader.raw(key) != nullptr, key != u"none" && key != u"absent") << name;
        EXPECT_EQ(reader.string(key), key == u"text" ? std::optional(u"5"_s) : std::nullopt) << name;
        EXPECT_EQ(reader.integer(key),
                  key == u"int" || key == u"whole" ? std::optional<qint64>(5) : std::nullopt)
            << name;
        EXPECT_EQ(reader.bool_(key), key == u"flag" ? std::optional(true) : std::nullopt) << name;
        const bool isNumber = key == u"int" || key == u"whole" || key == u"real";
        EXPECT_EQ(reader.double_(key).has_value(), isNumber) << name;
        EXPECT_EQ(reader.stringArray(key), std::nullopt) << name;
        EXPECT_EQ(reader.intMap(key), std::nullopt) << name;
    }
}

TEST(ObjectReader, KeepsWhatFitsInOrder)
{
    const ObjectReader reader(
        parsed(R"({"list": ["a", 1, null, "b"], "map": {"z": 1, "y": "no", "x": 3.0, "w": 3.5}})"));
    EXPECT_EQ(reader.stringArray(u"list"), QStringList({u"a"_s, u"b"_s}));
    EXPECT_EQ(reader.array(u"list", &JSONValue::intValue), QList<qint64>{1});
    EXPECT_EQ(reader.intMap(u"map"), (KeyedList<qint64>{{u"z"_s, 1}, {u"x"_s, 3}}));
    EXPECT_EQ(reader.objectMap(u"map", &JSONValue::stringValue), (KeyedList<QString>{{u"y"_s, u"no"_s}}));
    const auto sizes = reader.objectMapSelf([](const JSONValue &value) -> std::optional<qsizetype> {
        return value.objectValue() ? std::optional(value.objectValue()->size()) : std::nullopt;
    });
    EXPECT_EQ(sizes, (KeyedList<qsizetype>{{u"map"_s, 4}}));
}

TEST(ObjectReader, ReadsAnythingElseAsAnEmptyObject)
{
    for (const char *text : {"[1]", "\"x\"", "null", "3"})
        EXPECT_TRUE(ObjectReader(parsed(text)).object().isEmpty()) << text;
    EXPECT_TRUE(ObjectReader(nullptr).object().isEmpty());
    const JSONValue outer = parsed(R"({"inner": {"a": 1}})");
    EXPECT_EQ(ObjectReader(outer[u"inner"]).integer(u"a"), 1);
}

TEST(LosslessJSONObject, GivesUnknownFieldsBack)
{
    const QByteArray text = R"({"z": 1.0, "unknown": [{"k": null}], "a": "é"})";
    const KeepsItsObject record{*JSONValue::parse(text)->objectValue()};
    EXPECT_EQ(jsonValue(record).encoded(), text);
}

} // namespace Keelhaven
