#pragma once

#include "Platform/Result.h"
#include "Scheduler/Model/AgentModelCatalog.h"

#include <QObject>
#include <QQmlEngine>
#include <QSet>

namespace Keelhaven {

class AppModel;
struct SecretError;

/// The settings sheet: "Settings" in QML. What stands on which page is data of SettingsSheet; this reads and
/// writes the values, each change at once. The model outlives it.
class SettingsView : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Settings)
    QML_SINGLETON
    /// The id of the page that is open: "general", "sources", "integrations", "misc".
    Q_PROPERTY(QString page READ page WRITE setPage NOTIFY pageChanged)
    /// Objects with "id", "title" and "subtitle".
    Q_PROPERTY(QVariantList pages READ pages CONSTANT)
    /// Counts the changes of any value, whoever made them.
    Q_PROPERTY(int revision READ revision NOTIFY valuesChanged)
    /// What a new agent may start on, as objects with "text" and "group".
    Q_PROPERTY(QVariantList models READ models NOTIFY valuesChanged)
    Q_PROPERTY(int modelIndex READ modelIndex NOTIFY valuesChanged)
    /// The secrets of all pages: objects with "section", "service", "label", "placeholder", "state"
    /// ("looking", "set", "missing", "unknown"), "text" and "fault".
    Q_PROPERTY(QVariantList secrets READ secrets NOTIFY secretsChanged)

public:
    explicit SettingsView(AppModel &model, QObject *parent = nullptr);

    static SettingsView *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] QString page() const;
    void setPage(const QString &id);
    [[nodiscard]] QVariantList pages() const;
    [[nodiscard]] int revision() const { return m_revision; }
    [[nodiscard]] QVariantList models() const;
    [[nodiscard]] int modelIndex() const;
    [[nodiscard]] QVariantList secrets() const;

    /// Objects with "title" and "rows"; a row has "key", "control" ("switch", "stepper", "text", "folder",
    /// "file", "choice", "model"), "label", "caption", "placeholder", "help", "onlyWith", "least", "most",
    /// "step" and "choices".
    Q_INVOKABLE QVariantList sections(const QString &page) const;
    /// What readers of the key see; empty text where nothing is set.
    Q_INVOKABLE QVariant value(const QString &key) const;
    /// The row's caption with its value in it.
    Q_INVOKABLE QString caption(const QString &key) const;
    /// Whether the switch that the row depends on is on.
    Q_INVOKABLE bool matters(const QString &onlyWith) const;
    /// Stores a value, and gives the sentence that says why it is not one; empty text takes the key back.
    Q_INVOKABLE QString set(const QString &key, const QVariant &value);
    /// A path as a folder chooser gives it, or as a person types it.
    Q_INVOKABLE QString setPath(const QString &key, const QString &pathOrURL);
    Q_INVOKABLE void chooseModel(int index);

    /// Asks the secret store which secrets there are; it may ask the user to unlock it.
    Q_INVOKABLE void lookAtSecrets();
    Q_INVOKABLE void setSecret(const QString &service, const QString &text);
    Q_INVOKABLE void removeSecret(const QString &service);

Q_SIGNALS:
    void pageChanged();
    void valuesChanged();
    void secretsChanged();

private:
    struct Secret
    {
        enum class State { Unknown, Looking, Set, Missing };
        State state = State::Unknown;
        QString fault;
    };

    [[nodiscard]] QList<AgentModelCatalog::Entry> modelEntries() const;
    void write(const QString &key, const QString &text);
    void show(const QString &service, Secret::State state, const QString &fault = {});
    static QCoro::Task<> look(QPointer<SettingsView> self, QString service);
    static QCoro::Task<> keep(QPointer<SettingsView> self, QString service, QString secret);
    static QCoro::Task<> drop(QPointer<SettingsView> self, QString service);

    AppModel &m_model;
    int m_revision = 0;
    QHash<QString, Secret> m_secrets;
};

} // namespace Keelhaven
