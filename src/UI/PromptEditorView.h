#pragma once

#include "Scheduler/Prompt/PromptField.h"

#include <QQmlEngine>
#include <QVariant>

namespace Keelhaven {

/// A prompt field for QML: what PromptField offers and tells, as values. The clock and the tasks outlive it.
class PromptEditorView : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY selectionChanged)
    Q_PROPERTY(int selection READ selection NOTIFY selectionChanged)
    /// Objects with "label" and "detail".
    Q_PROPERTY(QVariantList suggestions READ suggestions NOTIFY suggestionsChanged)
    /// Objects with "text", "help", "addLabel", "enableLabel", "canEnable" and "enableHelp"; the labels are
    /// empty where there is no such button.
    Q_PROPERTY(QVariantList notices READ notices NOTIFY noticesChanged)

public:
    PromptEditorView(const KeelhavenPaths &paths, Clock &clock, Tasks &tasks, QObject *parent = nullptr);

    [[nodiscard]] PromptField &field() { return m_field; }
    [[nodiscard]] bool isOpen() const { return m_field.isOpen(); }
    [[nodiscard]] int selection() const { return static_cast<int>(m_field.selection()); }
    [[nodiscard]] QVariantList suggestions() const { return m_suggestions; }
    [[nodiscard]] QVariantList notices() const;

    Q_INVOKABLE void load(const QString &text) { m_field.load(text); }
    Q_INVOKABLE void edited(const QString &text, int caret) { m_field.edited(text, caret); }
    Q_INVOKABLE void caretMoved(int caret) { m_field.caretMoved(caret); }
    Q_INVOKABLE bool moveSelection(int by) { return m_field.moveSelection(by); }
    Q_INVOKABLE bool dismiss() { return m_field.dismiss(); }
    /// The row, or the selected one for -1. An object with "start", "length" and "insertion", or an empty
    /// one.
    Q_INVOKABLE QVariantMap accept(int row);
    Q_INVOKABLE void addToAgent(int notice);
    Q_INVOKABLE void enable(int notice);

Q_SIGNALS:
    void selectionChanged();
    void suggestionsChanged();
    void noticesChanged();

private:
    void follow();

    PromptField m_field;
    QVariantList m_suggestions;
};

} // namespace Keelhaven
