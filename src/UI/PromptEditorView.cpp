#include "UI/PromptEditorView.h"

#include "UI/ShownText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

PromptEditorView::PromptEditorView(const KeelhavenPaths &paths, Clock &clock, Tasks &tasks, QObject *parent)
    : QObject(parent)
    , m_field(paths, clock, tasks)
{
    connect(&m_field, &PromptField::suggestionsChanged, this, &PromptEditorView::follow);
    connect(&m_field, &PromptField::noticesChanged, this, &PromptEditorView::noticesChanged);
}

void PromptEditorView::follow()
{
    QVariantList list;
    for (const PromptSuggestion &suggestion : m_field.suggestions())
        list.append(QVariantMap{{u"label"_s, ShownText::line(suggestion.label)},
                                {u"detail"_s, ShownText::line(suggestion.detail)}});
    if (std::exchange(m_suggestions, list) != list)
        Q_EMIT suggestionsChanged();
    Q_EMIT selectionChanged();
}

QVariantList PromptEditorView::notices() const
{
    QVariantList list;
    for (const PromptNotice &notice : m_field.notices())
        list.append(QVariantMap{
            {u"text"_s, ShownText::line(notice.text)},
            {u"help"_s, notice.help},
            {u"addLabel"_s, notice.offersAdd ? PromptField::addLabel.toString() : QString()},
            {u"enableLabel"_s, ShownText::line(notice.enableLabel)},
            {u"canEnable"_s, notice.canEnable},
            {u"enableHelp"_s, notice.enableHelp},
        });
    return list;
}

QVariantMap PromptEditorView::accept(int row)
{
    const auto edit = m_field.accept(row < 0 ? std::nullopt : std::optional<qsizetype>(row));
    if (!edit)
        return {};
    return {
        {u"start"_s, int(edit->start)}, {u"length"_s, int(edit->length)}, {u"insertion"_s, edit->insertion}};
}

void PromptEditorView::addToAgent(int notice)
{
    if (const auto found = m_field.notices().value(notice); found.issue)
        m_field.addToAgent(*found.issue);
}

void PromptEditorView::enable(int notice)
{
    if (const auto found = m_field.notices().value(notice); found.issue)
        m_field.enable(*found.issue);
}

} // namespace Keelhaven
