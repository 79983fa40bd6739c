#pragma once

#include "Surfaces/MorningReportCard.h"

#include <QObject>
#include <QQmlEngine>
#include <QTimer>

namespace Keelhaven {

class AppModel;

/// The morning report of the board: "Sweep" in QML. The model outlives it.
class SweepView : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Sweep)
    QML_SINGLETON
    Q_PROPERTY(QString timing READ timing NOTIFY changed)
    Q_PROPERTY(QString outcome READ outcome NOTIFY changed)
    Q_PROPERTY(bool isFailure READ isFailure NOTIFY changed)
    /// As the "Prose" part takes them.
    Q_PROPERTY(QVariantList blocks READ blocks NOTIFY changed)
    Q_PROPERTY(QString notice READ notice NOTIFY changed)
    Q_PROPERTY(QString state READ state NOTIFY changed)
    Q_PROPERTY(QString runBlocked READ runBlocked NOTIFY changed)
    Q_PROPERTY(QString resumeBlocked READ resumeBlocked NOTIFY changed)
    Q_PROPERTY(QString runID READ runID NOTIFY changed)
    Q_PROPERTY(QString liveRunID READ liveRunID NOTIFY changed)
    /// Objects with "runID", "when" and "summary".
    Q_PROPERTY(QVariantList followUps READ followUps NOTIFY changed)
    Q_PROPERTY(QVariantList earlier READ earlier NOTIFY changed)

public:
    explicit SweepView(AppModel &model, QObject *parent = nullptr);

    static SweepView *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] QString timing() const { return m_card.timing; }
    [[nodiscard]] QString outcome() const { return m_card.outcome; }
    [[nodiscard]] bool isFailure() const { return m_card.isFailure; }
    [[nodiscard]] QVariantList blocks() const { return m_blocks; }
    [[nodiscard]] QString notice() const;
    [[nodiscard]] QString state() const;
    [[nodiscard]] QString runBlocked() const;
    [[nodiscard]] QString resumeBlocked() const;
    [[nodiscard]] QString runID() const;
    [[nodiscard]] QString liveRunID() const;
    [[nodiscard]] QVariantList followUps() const;
    [[nodiscard]] QVariantList earlier() const;

    /// Starts a sweep, also soon after the last one.
    Q_INVOKABLE void run();
    /// Opens the conversation of the latest sweep.
    Q_INVOKABLE void resume();
    /// Shows a run on the agents panel.
    Q_INVOKABLE void show(const QString &runID);
    /// While the card can be seen, its times go on.
    Q_INVOKABLE void setWatched(bool watched);

Q_SIGNALS:
    void changed();

private:
    void update();

    AppModel &m_model;
    MorningReportCard m_card;
    QVariantList m_blocks;
    bool m_isWatched = false;
    QTimer m_updateTimer; ///< many changes of the engine, one look
    QTimer m_seconds;
};

} // namespace Keelhaven
