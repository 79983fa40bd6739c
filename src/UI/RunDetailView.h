#pragma once

#include "App/AppModel.h"
#include "Surfaces/AgentsPane.h"
#include "Surfaces/DispatchTaskCard.h"
#include "Surfaces/RunDetail.h"
#include "UI/RawOutput.h"

#include <QTimer>

namespace Keelhaven {

/// The pane about the selected run. What it says is made by RunDetail and DispatchTaskCard; this lays it out
/// for QML and carries out the pane's actions. The model outlives it.
class RunDetailView : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(QString runID READ runID NOTIFY changed)
    /// "nothing", "task", "live", "finished", or "waiting" for a run that is queued or being launched
    Q_PROPERTY(QString card READ card NOTIFY changed)
    Q_PROPERTY(QVariantMap header READ header NOTIFY headerChanged)
    Q_PROPERTY(QVariantMap live READ live NOTIFY liveChanged)
    Q_PROPERTY(QVariantMap finished READ finished NOTIFY finishedChanged)
    Q_PROPERTY(QVariantMap task READ task NOTIFY taskChanged)
    Q_PROPERTY(QVariantList facts READ facts NOTIFY factsChanged)
    Q_PROPERTY(QVariantList deliverables READ deliverables NOTIFY deliverablesChanged)
    Q_PROPERTY(QString progress READ progress NOTIFY changed)
    Q_PROPERTY(RawOutput *rawOutput READ rawOutput CONSTANT)
    /// What the live run's terminal shows, while it is watched.
    Q_PROPERTY(RawOutput *liveScreen READ liveScreen CONSTANT)
    Q_PROPERTY(bool showsRawOutput READ showsRawOutput WRITE setShowsRawOutput NOTIFY rawOutputChanged)
    Q_PROPERTY(QString nothingText READ nothingText CONSTANT)
    /// Why the run is not live yet.
    Q_PROPERTY(QString waitingText READ waitingText NOTIFY changed)

public:
    explicit RunDetailView(AppModel &model, QObject *parent = nullptr);

    [[nodiscard]] QString runID() const;
    [[nodiscard]] QString card() const;
    [[nodiscard]] QVariantMap header() const { return m_parts.header; }
    [[nodiscard]] QVariantMap live() const { return m_parts.live; }
    [[nodiscard]] QVariantMap finished() const { return m_parts.finished; }
    [[nodiscard]] QVariantMap task() const { return m_parts.task; }
    [[nodiscard]] QVariantList facts() const { return m_parts.facts; }
    [[nodiscard]] QVariantList deliverables() const { return m_parts.deliverables; }
    /// What the live run said last of its work.
    [[nodiscard]] QString progress() const { return m_progress.value(m_runID.value_or(QUuid())); }
    [[nodiscard]] RawOutput *rawOutput() { return &m_rawOutput; }
    [[nodiscard]] RawOutput *liveScreen() { return &m_liveScreen; }
    [[nodiscard]] bool showsRawOutput() const { return m_showsRawOutput; }
    void setShowsRawOutput(bool shows);
    [[nodiscard]] QString nothingText() const { return RunDetail::nothingSelected.toString(); }
    [[nodiscard]] QString waitingText() const { return m_waiting ? m_waiting->reason : QString(); }

    /// How long the live run has been at it.
    Q_INVOKABLE QString elapsed() const;
    /// While it can be seen, a live run's terminal is looked at again and again.
    Q_INVOKABLE void setWatched(bool watched);
    Q_INVOKABLE void resume();
    Q_INVOKABLE void stop();
    /// Takes a waiting run out of the queue.
    Q_INVOKABLE void dequeue();
    Q_INVOKABLE void remove();
    Q_INVOKABLE void takeOver();
    Q_INVOKABLE void openInHerdr();
    Q_INVOKABLE void back();
    Q_INVOKABLE void openFile(const QString &path);
    Q_INVOKABLE void copyText(const QString &text);

Q_SIGNALS:
    void changed();
    void headerChanged();
    void liveChanged();
    void finishedChanged();
    void taskChanged();
    void factsChanged();
    void deliverablesChanged();
    void rawOutputChanged();

private:
    /// All that the pane shows of a run.
    struct Parts
    {
        QVariantMap header;
        QVariantMap live;
        QVariantMap finished;
        QVariantMap task;
        QVariantList facts;
        QVariantList deliverables;
    };

    void update();
    /// Tells QML only of parts that differ: what is laid out already stays, with its scroll position.
    void show(const Parts &parts);
    [[nodiscard]] static Parts partsOf(const RunDetail::WaitingRun &run);
    [[nodiscard]] Parts partsOf(const ActiveRun &run) const;
    [[nodiscard]] Parts partsOf(const RunRecord &record) const;
    [[nodiscard]] Parts partsOf(const DispatchRecord &task) const;
    [[nodiscard]] QVariantList factsOf(const RunRecord &record) const;
    void lookAtScreen();
    void hear(const EngineEvent &event);
    [[nodiscard]] QVariantList variantsOf(const QList<Asset> &assets) const;

    AppModel &m_model;
    std::optional<QUuid> m_runID;
    RunDetail::Selection m_selection;
    std::optional<RunDetail::WaitingRun> m_waiting; ///< the selected run, while it is on its way
    Parts m_parts;
    QHash<QUuid, QString> m_progress; ///< of live runs
    RawOutput m_rawOutput;
    RawOutput m_liveScreen;
    bool m_isLooking = false; ///< the terminal was asked and has not answered
    QTimer m_screenTimer;
    bool m_showsRawOutput = false;
    QTimer m_updateTimer;
};

} // namespace Keelhaven
