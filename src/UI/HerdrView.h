#pragma once

#include <QObject>
#include <QQmlEngine>

namespace Keelhaven {

class AppModel;

/// The terminal host on the settings sheet: "Herdr" in QML. The model outlives it.
class HerdrView : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Herdr)
    QML_SINGLETON
    /// "Herdr 0.9.1 (protocol 22) — managed by Keelhaven, server running"; empty while nothing is known.
    Q_PROPERTY(QString summary READ summary NOTIFY changed)
    /// What is wrong, or empty.
    Q_PROPERTY(QString message READ message NOTIFY changed)
    /// No run can start.
    Q_PROPERTY(bool blocksRuns READ blocksRuns NOTIFY changed)
    Q_PROPERTY(QString installError READ installError NOTIFY changed)
    Q_PROPERTY(QString binary READ binary NOTIFY changed)
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    /// A server of another version still runs.
    Q_PROPERTY(bool pendingRestart READ pendingRestart NOTIFY changed)
    /// Runs are live or wait, so that the server cannot be replaced now.
    Q_PROPERTY(bool hasRuns READ hasRuns NOTIFY changed)

public:
    explicit HerdrView(AppModel &model, QObject *parent = nullptr);

    static HerdrView *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] QString summary() const;
    [[nodiscard]] QString message() const;
    [[nodiscard]] bool blocksRuns() const;
    [[nodiscard]] QString installError() const;
    [[nodiscard]] QString binary() const;
    [[nodiscard]] bool busy() const;
    [[nodiscard]] bool pendingRestart() const;
    [[nodiscard]] bool hasRuns() const;

    Q_INVOKABLE void check();
    Q_INVOKABLE void reinstall();
    Q_INVOKABLE void restartServer();

Q_SIGNALS:
    void changed();

private:
    AppModel &m_model;
};

} // namespace Keelhaven
