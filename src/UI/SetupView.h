#pragma once

#include <QObject>
#include <QQmlEngine>

namespace Keelhaven {

class AppModel;

/// The setup checklist and what is known of newer releases: "Setup" in QML. While the checklist can be seen
/// it looks again each time the application becomes active. The model outlives it.
class SetupView : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Setup)
    QML_SINGLETON
    /// The checklist is to be shown by itself.
    Q_PROPERTY(bool wanted READ isWanted NOTIFY changed)
    Q_PROPERTY(bool done READ isDone NOTIFY changed)
    Q_PROPERTY(bool allPassed READ allPassed NOTIFY changed)
    Q_PROPERTY(bool checking READ isChecking NOTIFY changed)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString subtitle READ subtitle CONSTANT)
    Q_PROPERTY(QString checkText READ checkText NOTIFY changed)
    Q_PROPERTY(QString skipText READ skipText CONSTANT)
    /// Objects with "title", "passed", "detail", "blocks" (the detail for "Prose", where it holds code),
    /// "action", "actionTitle" and "command".
    Q_PROPERTY(QVariantList rows READ rows NOTIFY changed)

    /// What else explains an open row; empty for nothing.
    Q_PROPERTY(QString note READ note NOTIFY changed)

    /// "Keelhaven 1.3 is available — you're on 1.2."; empty when nothing is.
    Q_PROPERTY(QString updateBanner READ updateBanner NOTIFY updateChanged)
    Q_PROPERTY(QString updateTitle READ updateTitle CONSTANT)
    /// "Check now" or "Checking…"
    Q_PROPERTY(QString updateCheckText READ updateCheckText NOTIFY updateChanged)
    Q_PROPERTY(bool updateChecking READ isUpdateChecking NOTIFY updateChanged)
    Q_PROPERTY(bool canCheckUpdates READ canCheckUpdates CONSTANT)
    Q_PROPERTY(QString updateLatest READ updateLatest NOTIFY updateChanged)
    Q_PROPERTY(QString updateCaption READ updateCaption NOTIFY updateChanged)
    Q_PROPERTY(QString updateError READ updateError NOTIFY updateChanged)
    Q_PROPERTY(QString skipVersionText READ skipVersionText CONSTANT)
    Q_PROPERTY(QString downloadText READ downloadText CONSTANT)
    /// Objects with "name", "use" and "license".
    Q_PROPERTY(QVariantList acknowledgements READ acknowledgements CONSTANT)

public:
    explicit SetupView(AppModel &model, QObject *parent = nullptr);

    static SetupView *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] bool isWanted() const;
    [[nodiscard]] bool isDone() const;
    [[nodiscard]] bool allPassed() const;
    [[nodiscard]] bool isChecking() const;
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString subtitle() const;
    [[nodiscard]] QString checkText() const;
    [[nodiscard]] QString skipText() const;
    [[nodiscard]] QVariantList rows() const;
    [[nodiscard]] QString note() const;
    [[nodiscard]] QString updateBanner() const;
    [[nodiscard]] QString updateTitle() const;
    [[nodiscard]] QString updateCheckText() const;
    [[nodiscard]] bool isUpdateChecking() const;
    [[nodiscard]] bool canCheckUpdates() const;
    [[nodiscard]] QString updateLatest() const;
    [[nodiscard]] QString updateCaption() const;
    [[nodiscard]] QString updateError() const;
    [[nodiscard]] QString skipVersionText() const;
    [[nodiscard]] QString downloadText() const;
    [[nodiscard]] QVariantList acknowledgements() const;

    /// For each place that shows the checklist: whether it can be seen now.
    Q_INVOKABLE void setWatched(bool watched);
    Q_INVOKABLE void check();
    Q_INVOKABLE void skip();
    /// Does what the row at `index` offers; a reason why not comes as the application's last error.
    Q_INVOKABLE void perform(int index);
    Q_INVOKABLE void chooseFolder(const QUrl &folder);
    Q_INVOKABLE void copy(const QString &text);

    /// Has texts that tell of the time read again.
    Q_INVOKABLE void refreshTimes() { Q_EMIT updateChanged(); }
    Q_INVOKABLE void checkUpdates();
    Q_INVOKABLE void skipVersion();
    Q_INVOKABLE void openDownload();

Q_SIGNALS:
    void changed();
    void updateChanged();

private:
    void onActivated(Qt::ApplicationState state);

    AppModel &m_model;
    int m_watchers = 0;
};

} // namespace Keelhaven
