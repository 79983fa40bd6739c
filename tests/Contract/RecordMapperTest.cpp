#include "Contract/RecordMapper.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

enum class Colour { Red, DarkGreen };
enum class Mood { Calm, Odd };

struct Leaf
{
    int count = 3;
    bool isDry = false;
    bool operator==(const Leaf &) const = default;
};

struct Tree
{
    QString name;
    QUuid id;
    Colour colour = Colour::Red;
    Mood mood = Mood::Calm;
    std::optional<Date> plantedAt;
    std::optional<QString> owner;
    QStringList tags;
    double height = 1.5;
    bool isTall = true;
    bool isFelled = false;
    qint64 rings = 0;
    QList<Leaf> leaves;
    TolerantList<Leaf> fallen;
    QMap<QString, Leaf> branches;
    std::optional<Leaf> top;
    JSONValue extra;
    QString nickname;
    int visits = 0;
    bool operator==(const Tree &) const = default;
};

} // namespace

template <>
struct EnumTexts<Colour>
{
    static constexpr std::array<std::u16string_view, 2> texts = {u"red", u"dark_green"};
};

template <>
struct EnumTexts<Mood>
{
    static constexpr std::array<std::u16string_view, 2> texts = {u"calm", u"odd"};
    static constexpr Mood unknown = Mood::Odd;
};

template <>
struct RecordTable<Leaf>
{
    static auto fields()
    {
        return std::tuple{defaulted(u"count", &Leaf::count), defaulted(u"dry", &Leaf::isDry).omitDefault()};
    }
};

template <>
struct RecordTable<Tree>
{
    static auto fields()
    {
        return std::tuple{required(u"name", &Tree::name),
                          required(u"id", &Tree::id),
                          defaulted(u"colour", &Tree::colour),
                          defaulted(u"mood", &Tree::mood),
                          optional(u"plantedAt", &Tree::plantedAt),
                          optional(u"owner", &Tree::owner).lenient(),
                          defaulted(u"tags", &Tree::tags).orKey(u"labels").omitDefault(),
                          defaulted(u"height", &Tree::height).lenient(),
                          defaulted(u"tall", &Tree::isTall).omitDefault(),
                          defaulted(u"felled", &Tree::isFelled).omitDefault(),
                          defaulted(u"rings", &Tree::rings).omitDefault(),
                          defaulted(u"leaves", &Tree::leaves).omitDefault(),
                          defaulted(u"fallen", &Tree::fallen).omitDefault(),
                          defaulted(u"branches", &Tree::branches).omitDefault(),
                          optional(u"top", &Tree::top),
                          defaulted(u"extra", &Tree::extra).omitDefault(),
                          defaulted(u"nick", &Tree::nickname).neverWritten(),
                          derived<Tree>(u"shout", [](const Tree &tree) -> std::optional<JSONValue> {
                              if (tree.name.isEmpty())
                                  return std::nullopt;
                              return tree.name.toUpper();
                          })};
    }
    static void decoded(Tree &tree, const JSONObject &object)
    {
        tree.visits = static_cast<int>(object.size());
    }
    static void encoded(const Tree &tree, JSONObject &object)
    {
        if (tree.isFelled)
            object.remove(u"shout");
    }
};

namespace {

const QByteArray oakID = R"("name": "oak", "id": "0A1B2C3D-0000-4000-8000-00000000ABCD")";

Decoded<Tree> oak(const QByteArray &members = {})
{
    return decodeRecordBytes<Tree>("{" + oakID + (members.isEmpty() ? "" : ", ") + members + "}");
}

} // namespace

TEST(RecordMapper, DefaultsStandWhereKeysAreAbsentOrNull)
{
    Tree expected;
    expected.name = u"oak"_s;
    expected.id = QUuid::fromString(u"0a1b2c3d-0000-4000-8000-00000000abcd"_s);
    expected.visits = 2;
    EXPECT_EQ(oak(), expected);
    expected.visits = 8;
    EXPECT_EQ(
        oak(R"("colour": null, "tags": null, "height": null, "top": null, "extra": null, "unknown": 4)"),
        expected);
    EXPECT_EQ(encodeRecord(expected).keys(),
              QStringList({u"name"_s, u"id"_s, u"colour"_s, u"mood"_s, u"height"_s, u"shout"_s}));
}

TEST(RecordMapper, EveryFieldSurvivesARoundTrip)
{
    Tree tree;
    tree.name = u"Ahorn 🍁"_s;
    tree.id = QUuid::createUuid();
    tree.colour = Colour::DarkGreen;
    tree.mood = Mood::Odd;
    tree.plantedAt = Date(1772600707890ms);
    tree.owner = u""_s;
    tree.tags = {u"a"_s, u""_s};
    tree.height = -2.0;
    tree.isTall = false;
    tree.isFelled = true;
    tree.rings = std::numeric_limits<qint64>::min();
    tree.leaves = {Leaf{1, true}, Leaf{}};
    tree.fallen.items = {Leaf{7, false}};
    tree.branches = {{u"low"_s, Leaf{2, true}}, {u"high"_s, Leaf{}}};
    tree.top = Leaf{9, false};
    tree.extra = JSONArray{1, 2.0, nullptr};
    const JSONValue json = encodeRecord(tree);
    EXPECT_EQ(json[u"id"]->stringValue(), uuidText(tree.id));
    EXPECT_EQ(json[u"plantedAt"]->stringValue(), u"2026-03-04T05:05:07.890Z"_s);
    EXPECT_EQ(json[u"leaves"]->encoded(), R"([{"count": 1, "dry": true}, {"count": 3}])");
    EXPECT_EQ(json[u"shout"], nullptr);
    tree.visits = static_cast<int>(json.objectValue()->size());
    EXPECT_EQ(decodeRecordBytes<Tree>(json.encodedPretty()), tree);
}

TEST(RecordMapper, LenienceIsPerField)
{
    EXPECT_EQ(oak(R"("owner": 4, "height": "tall")")->owner, std::nullopt);
    EXPECT_EQ(oak(R"("height": "tall")")->height, 1.5);
    EXPECT_EQ(oak(R"("height": 2)")->height, 2.0);
    EXPECT_EQ(oak(R"("mood": "furious")")->mood, Mood::Odd);
    EXPECT_EQ(oak(R"("labels": ["old"])")->tags, QStringList{u"old"_s});
    EXPECT_EQ(oak(R"("labels": ["old"], "tags": null)")->tags, QStringList{u"old"_s});
    EXPECT_EQ(oak(R"("labels": ["old"], "tags": [])")->tags, QStringList());
    EXPECT_EQ(oak(R"("nick": "ned")")->nickname, u"ned");
    const auto tree = oak(R"("fallen": [{"count": 1}, 5, {"count": "x"}, {}])");
    EXPECT_EQ(tree->fallen, (TolerantList<Leaf>{{Leaf{1}, Leaf{}}, 2}));
}

struct BadRecord
{
    const char *members;
    const char *message;
};

class RecordErrors : public testing::TestWithParam<BadRecord>
{};

TEST_P(RecordErrors, NameTheKey)
{
    const auto tree = oak(GetParam().members);
    ASSERT_FALSE(tree) << GetParam().members;
    EXPECT_EQ(tree.error().message().toStdString(), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(Members, RecordErrors,
                         testing::Values(BadRecord{R"("name": null)", "name: missing"},
                                         BadRecord{R"("name": 1)", "name: expected a text"},
                                         BadRecord{R"("id": "0a1b2c3d")", "id: expected a UUID"},
                                         BadRecord{R"("colour": "pink")", "colour: unknown value: pink"},
                                         BadRecord{R"("colour": 1)", "colour: expected a text"},
                                         BadRecord{R"("rings": 1.5)", "rings: expected an integer"},
                                         BadRecord{R"("tall": 1)", "tall: expected a boolean"},
                                         BadRecord{R"("tags": "a")", "tags: expected a list"},
                                         BadRecord{R"("tags": ["a", 1])", "tags.1: expected a text"},
                                         BadRecord{R"("plantedAt": "2026-03-04T05:06:07Z")",
                                                   "plantedAt: bad ISO-8601 date: 2026-03-04T05:06:07Z"},
                                         BadRecord{R"("leaves": [{}, {"count": 3000000000}])",
                                                   "leaves.1.count: expected an integer"},
                                         BadRecord{R"("branches": {"low": {"dry": "no"}})",
                                                   "branches.low.dry: expected a boolean"},
                                         BadRecord{R"("fallen": {})", "fallen: expected a list"},
                                         BadRecord{R"("top": [])", "top: expected an object"},
                                         BadRecord{R"("x": )", "bad number"}));

} // namespace Keelhaven
