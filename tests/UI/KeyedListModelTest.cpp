#include "UI/KeyedListModel.h"

#include <QAbstractItemModelTester>
#include <gtest/gtest.h>
#include <random>

namespace Keelhaven {
namespace {

struct Row
{
    int id = 0;
    int content = 0;
    bool operator==(const Row &) const = default;
};

class Rows : public KeyedListModel<Row, int>
{
public:
    using KeyedListModel::show;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override
    {
        return role == Qt::DisplayRole ? QVariant(at(index.row())->content) : QVariant();
    }

protected:
    [[nodiscard]] int key(const Row &row) const override { return row.id; }
};

/// Follows a model by its signals alone, as a view does.
class Follower
{
public:
    explicit Follower(Rows &model)
    {
        QObject::connect(&model, &Rows::rowsInserted, [&](const QModelIndex &, int first, int last) {
            for (int i = first; i <= last; ++i)
                seen.insert(i, *model.at(i));
        });
        QObject::connect(&model, &Rows::rowsRemoved, [&](const QModelIndex &, int first, int last) {
            seen.remove(first, last - first + 1);
        });
        QObject::connect(&model, &Rows::rowsMoved,
                         [&](const QModelIndex &, int first, int, const QModelIndex &, int to) {
                             seen.move(first, to > first ? to - 1 : to);
                         });
        QObject::connect(&model, &Rows::dataChanged, [&](const QModelIndex &first, const QModelIndex &last) {
            for (int i = first.row(); i <= last.row(); ++i)
                seen[i] = *model.at(i);
        });
        QObject::connect(&model, &Rows::modelReset, [&] { ++resets; });
    }
    QList<Row> seen;
    int resets = 0;
};

TEST(KeyedListModelTest, AnyChangeArrivesRowByRow)
{
    Rows model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    Follower follower(model);
    std::mt19937 random(7);
    QList<Row> rows;
    int next = 0;
    for (int round = 0; round < 400; ++round) {
        for (int edit = int(random() % 5); edit > 0; --edit) {
            const qsizetype place = rows.isEmpty() ? 0 : qsizetype(random() % unsigned(rows.size()));
            switch (random() % 4) {
            case 0:
                rows.insert(place, {next++, 0});
                break;
            case 1:
                if (!rows.isEmpty())
                    rows.removeAt(place);
                break;
            case 2:
                if (!rows.isEmpty())
                    rows.move(place, rows.size() - 1);
                break;
            default:
                if (!rows.isEmpty())
                    ++rows[place].content;
            }
        }
        model.show(rows);
        ASSERT_EQ(model.rows(), rows);
        ASSERT_EQ(follower.seen, rows);
    }
    EXPECT_EQ(follower.resets, 0);
}

} // namespace
} // namespace Keelhaven
