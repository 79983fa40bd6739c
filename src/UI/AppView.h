#pragma once

#include "UI/AgentEditorView.h"
#include "UI/RunDetailView.h"
#include "UI/SchedulerView.h"

namespace Keelhaven {

class AppSelection;

/// The application as its screens see it: "App" in QML. The model outlives it.
class AppView : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(App)
    QML_SINGLETON
    /// "keelhaven", "projects", "scheduler" or "plugins"
    Q_PROPERTY(QString panel READ panel WRITE setPanel NOTIFY panelChanged)
    /// Empty while the database is the real one.
    Q_PROPERTY(QString databaseError READ databaseError CONSTANT)
    /// Why the last thing that was asked for could not be done; empty when there is nothing to tell.
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    /// What is stored has been read: only then an empty list is empty.
    Q_PROPERTY(bool isReady READ isReady NOTIFY isReadyChanged)
    Q_PROPERTY(bool showsSettings READ showsSettings WRITE setShowsSettings NOTIFY showsSettingsChanged)
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(SchedulerView *scheduler READ scheduler CONSTANT)
    Q_PROPERTY(RunDetailView *runDetail READ runDetail CONSTANT)
    Q_PROPERTY(AgentEditorView *agentEditor READ agentEditor CONSTANT)

public:
    explicit AppView(AppModel &model, QObject *parent = nullptr);

    /// The view that belongs to the engine; the engine does not own it.
    static AppView *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] QString panel() const;
    void setPanel(const QString &name);
    [[nodiscard]] QString databaseError() const;
    [[nodiscard]] QString lastError() const;
    [[nodiscard]] bool isReady() const { return m_model.isStarted(); }
    [[nodiscard]] bool showsSettings() const;
    void setShowsSettings(bool shows);
    [[nodiscard]] QString version() const;
    [[nodiscard]] SchedulerView *scheduler() { return &m_scheduler; }
    [[nodiscard]] RunDetailView *runDetail() { return &m_runDetail; }
    [[nodiscard]] AgentEditorView *agentEditor() { return &m_agentEditor; }
    [[nodiscard]] AppModel &model() { return m_model; }

    /// Where the screen "{name}.qml" lies; empty when this build has none.
    Q_INVOKABLE QUrl screen(const QString &name) const;
    Q_INVOKABLE void dismissError();
    /// Quits, unless edits would be lost: then the user is asked first.
    Q_INVOKABLE void quit();
    /// Opens an address of the web, of mail, or of a file that is no program.
    Q_INVOKABLE void openLink(const QString &link);

Q_SIGNALS:
    void panelChanged();
    void lastErrorChanged();
    void showsSettingsChanged();
    void isReadyChanged();
    /// The window is to come to the front.
    void raiseRequested();

private:
    AppModel &m_model;
    SchedulerView m_scheduler;
    RunDetailView m_runDetail;
    AgentEditorView m_agentEditor;
};

} // namespace Keelhaven
