#include "Contract/JSONValue.h"

#include <gtest/gtest.h>
#include <random>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(JSONObject, KeepsPlacesThroughChanges)
{
    JSONObject object;
    EXPECT_TRUE(object.isEmpty());
    EXPECT_EQ(object.find(u"a"), nullptr);
    object.remove(u"a");

    object = {{u"b"_s, 1}, {u"a"_s, 2}, {u"b"_s, 3}};
    object.set(u"c"_s, u"x"_s);
    object.set(u"a"_s, nullptr);
    EXPECT_EQ(JSONValue(object).encoded(), R"({"b": 3, "a": null, "c": "x"})");

    object.remove(u"b");
    object.remove(u"missing");
    object.set(u"b"_s, true);
    EXPECT_EQ(object.keys(), QStringList({u"a"_s, u"c"_s, u"b"_s}));
    EXPECT_EQ(object.size(), 3);

    QStringList walked;
    for (const auto &[key, value] : object)
        walked.append(key + u'=' + value.serialized());
    EXPECT_EQ(walked, QStringList({u"a=null"_s, u"c=\"x\""_s, u"b=true"_s}));
    EXPECT_EQ(object, JSONObject::fromPairs({{u"a"_s, nullptr}, {u"c"_s, u"x"_s}, {u"b"_s, true}}));
}

TEST(JSONObject, CopyKeepsItsOwnMembers)
{
    JSONObject original{{u"a"_s, 1}};
    JSONObject copy = original;
    copy.set(u"a"_s, 2);
    copy.set(u"b"_s, 3);
    JSONObject third = copy;
    third.remove(u"a");
    EXPECT_EQ(JSONValue(original).encoded(), R"({"a": 1})");
    EXPECT_EQ(JSONValue(copy).encoded(), R"({"a": 2, "b": 3})");
    EXPECT_EQ(JSONValue(third).encoded(), R"({"b": 3})");
    original = copy;
    copy = {};
    EXPECT_EQ(original.size(), 2);
}

// A plain list of pairs is the model; sizes cross the border between walking and hashing both ways.
TEST(JSONObject, AgreesWithAPlainListUnderRandomChanges)
{
    std::mt19937 random(20260304);
    JSONObject object;
    QList<std::pair<QString, JSONValue>> model;
    for (int step = 0; step < 20'000; ++step) {
        const bool grows = (step / 400) % 2 == 0;
        const QString key =
            u"key %1 of a longer kind"_s.arg(random() % 120).right(static_cast<int>(random() % 2) * 12 + 18);
        const auto known =
            std::find_if(model.begin(), model.end(), [&](const auto &pair) { return pair.first == key; });
        if (random() % 10 < (grows ? 8 : 2)) {
            object.set(key, step);
            if (known == model.end())
                model.append({key, step});
            else
                known->second = step;
        } else {
            object.remove(key);
            if (known != model.end())
                model.erase(known);
        }
        const JSONValue *found = object.find(key);
        const auto expected =
            std::find_if(model.begin(), model.end(), [&](const auto &pair) { return pair.first == key; });
        ASSERT_EQ(found != nullptr, expected != model.end()) << step;
        if (found)
            ASSERT_EQ(*found, expected->second) << step;
        if (step % 97 == 0)
            ASSERT_EQ(object, JSONObject::fromPairs(model)) << step;
    }
}

TEST(JSONObject, ParserFindsRepeatedKeysInLargeObjects)
{
    QByteArray text = "{";
    for (int i = 0; i < 100'000; ++i)
        text += "\"key" + QByteArray::number(i % 50'000) + "\":" + QByteArray::number(i) + ",";
    text += "\"last\":0}";
    const auto value = JSONValue::parse(text);
    ASSERT_TRUE(value);
    const JSONObject &object = *value->objectValue();
    ASSERT_EQ(object.size(), 50'001);
    EXPECT_EQ(object.keys().first(), u"key0");
    EXPECT_EQ(object.keys().last(), u"last");
    for (int i = 0; i < 50'000; ++i)
        ASSERT_EQ(object.find(u"key%1"_s.arg(i))->intValue(), 50'000 + i);
    EXPECT_EQ(object.find(u"key50000"), nullptr);
}

} // namespace Keelhaven
