#pragma once

#include "Surfaces/MenuBarPanel.h"

#include <QObject>
#include <QQmlEngine>
#include <QTimer>

namespace Keelhaven {

class AppModel;

/// What the panel behind the status icon shows: "Glance" in QML. The model outlives it.
class GlanceView : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Glance)
    QML_SINGLETON
    /// A status area shows the icon; without one the window carries the panel.
    Q_PROPERTY(bool hasTray READ hasTray NOTIFY trayChanged)
    /// "service", "viewer"
    Q_PROPERTY(QString status READ status NOTIFY changed)
    /// "3 projects · 1 active today"; empty where nothing counts them.
    Q_PROPERTY(QString projects READ projects NOTIFY changed)
    Q_PROPERTY(QString updateLine READ updateLine NOTIFY changed)
    /// Objects with "shipID", "text" and "needsYou".
    Q_PROPERTY(QVariantList fleet READ fleet NOTIFY changed)
    /// Objects with "runID" and "text".
    Q_PROPERTY(QVariantList runs READ runs NOTIFY changed)
    Q_PROPERTY(QString nextFire READ nextFire NOTIFY changed)
    /// Objects as the "UsageMeter" part takes them.
    Q_PROPERTY(QVariantList meters READ meters NOTIFY changed)
    /// "Start service", "Refresh"; empty while neither can be done.
    Q_PROPERTY(QString serviceButton READ serviceButton NOTIFY changed)

    Q_PROPERTY(bool keepAwake READ keepsAwake WRITE setKeepAwake NOTIFY powerChanged)
    Q_PROPERTY(QString keepAwakeLabel READ keepAwakeLabel CONSTANT)
    Q_PROPERTY(QString keepAwakeHelp READ keepAwakeHelp CONSTANT)
    Q_PROPERTY(QString keepAwakeNote READ keepAwakeNote NOTIFY powerChanged)
    Q_PROPERTY(bool preventLock READ preventsLock WRITE setPreventLock NOTIFY powerChanged)
    Q_PROPERTY(QString preventLockLabel READ preventLockLabel CONSTANT)
    Q_PROPERTY(QString preventLockHelp READ preventLockHelp CONSTANT)

public:
    /// Projects of the board, by what is told of them.
    struct ProjectCounts
    {
        int projects = 0;
        int activeToday = 0;
        int flags = 0;
    };

    explicit GlanceView(AppModel &model, QObject *parent = nullptr);

    static GlanceView *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] bool hasTray() const { return m_hasTray; }
    void setHasTray(bool has);
    [[nodiscard]] QString status() const;
    [[nodiscard]] QString projects() const;
    [[nodiscard]] QString updateLine() const;
    [[nodiscard]] QVariantList fleet() const;
    [[nodiscard]] QVariantList runs() const;
    [[nodiscard]] QString nextFire() const;
    [[nodiscard]] QVariantList meters() const;
    [[nodiscard]] QString serviceButton() const;
    [[nodiscard]] bool keepsAwake() const;
    void setKeepAwake(bool on);
    [[nodiscard]] QString keepAwakeLabel() const;
    [[nodiscard]] QString keepAwakeHelp() const;
    [[nodiscard]] QString keepAwakeNote() const;
    [[nodiscard]] bool preventsLock() const;
    void setPreventLock(bool on);
    [[nodiscard]] QString preventLockLabel() const;
    [[nodiscard]] QString preventLockHelp() const;

    /// What stands beside the icon: the live runs, else the next one.
    [[nodiscard]] QString toolTip() const;

    /// For each place that shows the panel: whether it can be seen now. Its seconds count meanwhile.
    Q_INVOKABLE void setWatched(bool watched);
    /// "keelhaven", "scheduler" or "plugins" on the raised window; "" raises it as it is.
    Q_INVOKABLE void open(const QString &panel);
    Q_INVOKABLE void showRun(const QString &runID);
    Q_INVOKABLE void showShip(const QString &shipID);
    Q_INVOKABLE void download();
    Q_INVOKABLE void useService();
    Q_INVOKABLE void quit();

    /// Starts the analysis service; unset where this build cannot.
    std::function<void()> startService;
    /// Unset where nothing reads the projects.
    std::function<ProjectCounts()> countProjects;
    std::function<QList<FleetSummary::ShipName>()> ships = [] { return QList<FleetSummary::ShipName>(); };

Q_SIGNALS:
    void trayChanged();
    void changed();
    void powerChanged();
    /// The icon was clicked, at a point of the screen; 0, 0 where nobody knows.
    void panelWanted(int x, int y);

private:
    [[nodiscard]] MenuBarPanel::Mirror mirror() const;
    [[nodiscard]] bool bridgeRunning() const;
    void setFlag(const QString &key, bool on);
    void updateTimer();

    AppModel &m_model;
    bool m_hasTray = false;
    int m_watchers = 0;
    QTimer m_changeTimer; ///< many changes of the engine, one look
    QTimer m_seconds;
};

} // namespace Keelhaven
