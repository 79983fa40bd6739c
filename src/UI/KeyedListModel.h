#pragma once

#include <QAbstractListModel>

namespace Keelhaven {

/// A list of rows that changes row by row: what stays keeps its place on screen, its selection and its
/// scroll position. A `Row` has `operator==`, and `key(row)` names it across changes; keys are unique.
template <typename Row, typename Key>
class KeyedListModel : public QAbstractListModel
{
public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
    }
    [[nodiscard]] const QList<Row> &rows() const { return m_rows; }
    [[nodiscard]] const Row *at(qsizetype index) const
    {
        return index >= 0 && index < m_rows.size() ? &m_rows[index] : nullptr;
    }
    [[nodiscard]] int indexOf(const Key &wanted) const
    {
        for (qsizetype i = 0; i < m_rows.size(); ++i) {
            if (key(m_rows[i]) == wanted)
                return static_cast<int>(i);
        }
        return -1;
    }

protected:
    [[nodiscard]] virtual Key key(const Row &row) const = 0;

    /// Makes the rows those of `wanted`, by the removals, insertions, moves and changes that takes.
    void show(const QList<Row> &wanted)
    {
        removeAllBut(wanted);
        for (qsizetype i = 0; i < wanted.size(); ++i) {
            if (i < m_rows.size() && key(m_rows[i]) == key(wanted[i]))
                update(i, wanted[i]);
            else if (const qsizetype from = find(key(wanted[i]), i + 1); from >= 0)
                move(from, i, wanted[i]);
            else
                i = insertRun(wanted, i);
        }
    }

    /// Tells views to read these roles of all rows again; for texts that depend on the time.
    void refresh(const QList<int> &roles)
    {
        if (!m_rows.isEmpty())
            Q_EMIT dataChanged(index(0), index(rowCount() - 1), roles);
    }

private:
    void removeAllBut(const QList<Row> &wanted)
    {
        QSet<Key> kept;
        kept.reserve(wanted.size());
        for (const Row &row : wanted)
            kept.insert(key(row));
        for (qsizetype last = m_rows.size() - 1; last >= 0; --last) {
            if (kept.contains(key(m_rows[last])))
                continue;
            qsizetype first = last;
            while (first > 0 && !kept.contains(key(m_rows[first - 1])))
                --first;
            beginRemoveRows({}, static_cast<int>(first), static_cast<int>(last));
            m_rows.remove(first, last - first + 1);
            endRemoveRows();
            last = first;
        }
        m_known = {};
        for (const Row &row : std::as_const(m_rows))
            m_known.insert(key(row));
    }

    [[nodiscard]] qsizetype find(const Key &wanted, qsizetype from) const
    {
        if (!m_known.contains(wanted))
            return -1;
        for (qsizetype i = from; i < m_rows.size(); ++i) {
            if (key(m_rows[i]) == wanted)
                return i;
        }
        return -1;
    }

    void update(qsizetype place, const Row &row)
    {
        if (m_rows[place] == row)
            return;
        m_rows[place] = row;
        const auto changed = index(static_cast<int>(place));
        Q_EMIT dataChanged(changed, changed);
    }

    void move(qsizetype from, qsizetype to, const Row &row)
    {
        beginMoveRows({}, static_cast<int>(from), static_cast<int>(from), {}, static_cast<int>(to));
        m_rows.move(from, to);
        endMoveRows();
        update(to, row);
    }

    /// Inserts the new rows that stand together at `first`; gives the last one's place.
    qsizetype insertRun(const QList<Row> &wanted, qsizetype first)
    {
        qsizetype last = first;
        while (last + 1 < wanted.size() && !m_known.contains(key(wanted[last + 1])))
            ++last;
        beginInsertRows({}, static_cast<int>(first), static_cast<int>(last));
        m_rows.insert(first, last - first + 1, {});
        std::copy(wanted.begin() + first, wanted.begin() + last + 1, m_rows.begin() + first);
        endInsertRows();
        return last;
    }

    QList<Row> m_rows;
    QSet<Key> m_known; ///< keys that were there before the rows of the present change came in
};

} // namespace Keelhaven
