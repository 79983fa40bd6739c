#pragma once

#include <QAbstractListModel>
#include <QQmlEngine>

namespace Keelhaven {

/// The saved terminal output of a run, line by line, read on a pool thread. Lines of any length are shown
/// bounded; the file itself stays as it is.
class RawOutput : public QAbstractListModel
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(bool loading READ isLoading NOTIFY stateChanged)
    Q_PROPERTY(bool failed READ hasFailed NOTIFY stateChanged)

public:
    /// Longest line shown, in UTF-16 units.
    static constexpr qsizetype lineLimit = 2'000;
    /// Most of a file that is read, in bytes, from its end.
    static constexpr qint64 fileLimit = 16 * 1024 * 1024;

    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(m_lines.size());
    }
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override { return {{Qt::DisplayRole, "line"}}; }

    /// Reads the file; an earlier read that is still under way is dropped.
    void open(const QString &path);
    void close();
    /// Shows a text that is at hand; one that is shown already changes nothing.
    void setText(const QString &text);
    [[nodiscard]] bool isLoading() const { return m_isLoading; }
    [[nodiscard]] bool hasFailed() const { return m_hasFailed; }

    /// A text as bounded lines, without empty ones at its end.
    [[nodiscard]] static QStringList linesOf(QStringView text);
    /// The text of a file as lines; nothing when it cannot be read.
    [[nodiscard]] static std::optional<QStringList> read(const QString &path);

Q_SIGNALS:
    void stateChanged();

private:
    void show(const std::optional<QStringList> &lines);

    QStringList m_lines;
    quint64 m_request = 0; ///< of the read that counts
    bool m_isLoading = false;
    bool m_hasFailed = false;
};

} // namespace Keelhaven
