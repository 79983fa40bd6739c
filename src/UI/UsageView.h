#pragma once

#include "Scheduler/Model/AgentProvider.h"

#include <QObject>
#include <QQmlEngine>
#include <QTimer>

namespace Keelhaven {

class AppModel;

/// The usage meters: "Usage" in QML. It asks Codex only while something shows it. The model outlives it.
class UsageView : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Usage)
    QML_SINGLETON
    /// "claude" or "codex": whose meters are shown. At first the provider of new agents.
    Q_PROPERTY(QString provider READ provider WRITE setProvider NOTIFY changed)
    /// Objects with "label", "percent", "text", "caption", "help", "ahead" and "extra", the estimated points
    /// of the percent.
    Q_PROPERTY(QVariantList meters READ meters NOTIFY changed)
    /// Sentences beside the meters.
    Q_PROPERTY(QStringList notices READ notices NOTIFY changed)
    Q_PROPERTY(bool refreshing READ isRefreshing NOTIFY changed)
    Q_PROPERTY(QString refreshHelp READ refreshHelp NOTIFY changed)

public:
    explicit UsageView(AppModel &model, QObject *parent = nullptr);

    static UsageView *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] QString provider() const;
    void setProvider(const QString &name);
    [[nodiscard]] QVariantList meters() const;
    [[nodiscard]] QStringList notices() const;
    [[nodiscard]] bool isRefreshing() const;
    [[nodiscard]] QString refreshHelp() const;

    Q_INVOKABLE void refresh();
    /// For each place that shows the meters: whether it can be seen now.
    Q_INVOKABLE void setWatched(bool watched);

Q_SIGNALS:
    void changed();

private:
    void follow();
    [[nodiscard]] QVariantList claudeMeters() const;
    [[nodiscard]] QVariantList codexMeters() const;

    AppModel &m_model;
    AgentProvider m_provider = AgentProvider::Claude;
    int m_watchers = 0;
    bool m_isFollowing = false;
    std::pair<QVariantList, QStringList> m_shown; ///< when the time was last looked at
    QTimer m_times;                               ///< captions tell how long until a reset
};

} // namespace Keelhaven
