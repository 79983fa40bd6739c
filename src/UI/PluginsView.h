#pragma once

#include "UI/PluginRows.h"

#include <QCoroTask>
#include <QQmlEngine>
#include <QTimer>

namespace Keelhaven {

class AppModel;

/// Claude Code's plugins, and whether the sessions that the user starts by hand are followed: "Plugins" in
/// QML. Looks into the plugins' folders while it can be seen. The model outlives it.
class PluginsView : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Plugins)
    QML_SINGLETON
    Q_PROPERTY(Keelhaven::PluginListModel *plugins READ plugins CONSTANT)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY changed)
    /// "5 installed, 3 on"; empty when none are.
    Q_PROPERTY(QString summary READ summary NOTIFY changed)
    /// What could not be read as it should.
    Q_PROPERTY(QStringList notices READ notices NOTIFY changed)
    Q_PROPERTY(bool loading READ isLoading NOTIFY changed)
    Q_PROPERTY(bool hasInstalled READ hasInstalled NOTIFY changed)
    Q_PROPERTY(QString selected READ selected WRITE setSelected NOTIFY changed)
    /// Empty for no selection; else "title", "state", "tone", "description", "isRead" (its folder was),
    /// "warning", "facts" as the "Facts" part takes them, and "groups" of objects with "title", "more" and
    /// "entries" of "name" and "description".
    Q_PROPERTY(QVariantMap detail READ detail NOTIFY detailChanged)
    /// It was looked for, and is not there.
    Q_PROPERTY(bool claudeMissing READ isClaudeMissing NOTIFY changed)
    Q_PROPERTY(bool tracking READ isTracking NOTIFY changed)
    Q_PROPERTY(QString trackingText READ trackingText NOTIFY changed)
    /// Why the switch is off limits; empty while it is not.
    Q_PROPERTY(QString trackingBlocked READ trackingBlocked NOTIFY changed)
    /// What the last commands printed; empty before the first.
    Q_PROPERTY(QString trackingOutput READ trackingOutput NOTIFY changed)

public:
    explicit PluginsView(AppModel &model, QObject *parent = nullptr);

    static PluginsView *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] PluginListModel *plugins() { return &m_list; }
    [[nodiscard]] QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);
    [[nodiscard]] QString summary() const;
    [[nodiscard]] QStringList notices() const;
    [[nodiscard]] bool isLoading() const;
    [[nodiscard]] bool hasInstalled() const;
    [[nodiscard]] QString selected() const { return m_selected; }
    void setSelected(const QString &key);
    [[nodiscard]] QVariantMap detail() const { return m_detail; }
    [[nodiscard]] bool isClaudeMissing() const { return m_claude == Tool::Missing; }
    [[nodiscard]] bool isTracking() const;
    [[nodiscard]] QString trackingText() const;
    [[nodiscard]] QString trackingBlocked() const;
    [[nodiscard]] QString trackingOutput() const;

    Q_INVOKABLE void setTracking(bool on);
    /// Reads everything again.
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void setWatched(bool watched);

Q_SIGNALS:
    void changed();
    void detailChanged();

private:
    enum class Tool { Unknown, Found, Missing };
    using Contents = QHash<QString, LocalPluginInfo>; ///< by install folder

    void update();
    void readContents();
    QCoro::Task<> runReading();
    QCoro::Task<> findClaude();
    QCoro::Task<> track(bool on);
    [[nodiscard]] QStringList folders() const;
    [[nodiscard]] QList<PluginRow> rows() const;
    [[nodiscard]] const LocalPluginInfo *contentsOf(const std::optional<QString> &folder) const;
    [[nodiscard]] QVariantMap describeSelected() const;
    [[nodiscard]] QVariantMap describe(const PluginRecord &plugin) const;
    [[nodiscard]] QVariantMap describeBundled() const;

    AppModel &m_model;
    PluginListModel m_list;
    Contents m_contents;
    QString m_searchText;
    QString m_selected;
    QVariantMap m_detail;
    Tool m_claude = Tool::Unknown;
    std::optional<QString> m_bundledRoot;
    bool m_isWatched = false;
    bool m_isReading = false;
    bool m_readAgain = false;
    bool m_isSeeking = false;
    QTimer m_updateTimer; ///< many changes, one look
};

} // namespace Keelhaven
