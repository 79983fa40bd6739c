// What the agent editor says and offers.
#include "App/AppModel.h"
#include "Plugins/PluginInventoryStore.h"
#include "Scheduler/Model/SlotTemplate.h"
#include "Surfaces/AgentsPane.h"
#include "Surfaces/SlotRow.h"
#include "UI/AgentEditorView.h"
#include "UI/ShownText.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shownNameLimit = 80;

using Group = AgentEditor::Group;

QVariantMap variantOf(const Confirmation &question)
{
    return {{u"title"_s, question.title},
            {u"text"_s, ShownText::paragraph(question.message)},
            {u"button"_s, ShownText::line(question.button, shownNameLimit)}};
}

QVariantMap choice(const QString &value, const QString &text)
{
    return {{u"value"_s, value}, {u"text"_s, ShownText::line(text, shownNameLimit)}};
}

} // namespace

std::optional<QString> AgentEditorView::hint() const
{
    return m_draft.saveHint([this](const QString &path) { return m_guard.isForbidden(path); });
}

QString AgentEditorView::hintedField() const
{
    const auto key =
        AgentEditor::hintedField(m_draft, [this](const QString &path) { return m_guard.isForbidden(path); });
    return key ? key->toString() : QString();
}

void AgentEditorView::show()
{
    const SchedulerSlot slot = m_draft.toSlot();
    m_prompt.field().setPickedPlugins(slot.plugins);
    if (slot.cwds != m_promptFolders) {
        m_promptFolders = slot.cwds;
        m_missingFolders.clear();
        m_rescan.start();
    }
    showForm();
    showFacts();
}

QString AgentEditorView::subtitle(const SchedulerSlot &slot) const
{
    const auto calendar = Calendar::current();
    if (!supportsScheduling(slot.provider))
        return SlotRow::of(slot, now(), calendar).toggleHelp.value_or(QString());
    return u"%1 · %2"_s.arg(SlotRow::scheduleText(slot.schedule, calendar),
                            SlotRow::nextRunText(slot, now(), calendar));
}

void AgentEditorView::showFacts()
{
    const auto calendar = Calendar::current();
    const auto shipList = shipChoices();
    const SchedulerSlot slot = m_draft.toSlot();
    const auto reason = hint();
    QVariantMap summaries;
    for (const Group group : {Group::Gates, Group::Limits, Group::Workspace, Group::Session, Group::Ship})
        summaries.insert(
            QString::number(int(group)),
            QVariantMap{{u"label"_s, AgentEditor::label(group)},
                        {u"text"_s, ShownText::line(AgentEditor::summary(group, m_draft, shipList))}});
    const auto workspaceError = m_model.scheduler().lastWorkspaceError();
    const qint64 defaultCap = Setting::read(m_model.settings(), Setting::schedulerSessionCapPercent);
    QVariantMap facts{
        {u"name"_s, ShownText::line(slot.name)},
        {u"subtitle"_s, subtitle(slot)},
        {u"isNew"_s, isNew()},
        {u"isCodex"_s, m_draft.model.provider == AgentProvider::Codex},
        {u"hasChanges"_s, hasChanges()},
        {u"hint"_s, ShownText::line(reason.value_or(QString()))},
        {u"canSave"_s, !reason && (isNew() || hasChanges() || m_isGone)},
        {u"warning"_s, ShownText::line(m_draft.captainWarning(shipList).value_or(QString()))},
        {u"nextDates"_s, m_draft.nextDates(now(), calendar)},
        {u"noDates"_s, AgentEditor::noDatesReason(m_draft, now(), calendar).value_or(QString())},
        {u"summaries"_s, summaries},
        {u"defaultCap"_s, defaultCap < 1 ? u"no cap"_s : u"%1 %"_s.arg(defaultCap)},
    };
    QStringList missing;
    for (const QString &folder : m_missingFolders)
        missing.append(ShownText::line(shownPath(folder), shownNameLimit));
    facts.insert(u"folderNote"_s, AgentEditor::missingFoldersNote(missing));
    facts.insert(u"promptNote"_s, AgentEditor::turnsDirection(slot.command)
                                      ? AgentEditor::directionNote.toString()
                                      : QString());
    if (m_isGone)
        facts.insert(u"notice"_s, u"This agent was deleted elsewhere. Saving brings it back."_s);
    else if (!isNew() && workspaceError && slot.usesWorkspace())
        facts.insert(u"notice"_s, u"Its workspace could not be built: "_s + ShownText::line(*workspaceError));
    if (std::exchange(m_facts, facts) != facts)
        Q_EMIT changed();
}

QVariantMap AgentEditorView::fields() const
{
    QVariantMap all;
    for (const auto &field : AgentEditor::fields())
        all.insert(field.key.toString(), QVariantMap{{u"label"_s, field.label.toString()},
                                                     {u"help"_s, field.help.toString()},
                                                     {u"least"_s, field.least},
                                                     {u"most"_s, field.most},
                                                     {u"step"_s, field.step}});
    return all;
}

QVariantList AgentEditorView::templates() const
{
    QVariantList list;
    for (const SlotTemplate &item : SlotTemplate::all())
        list.append(QVariantMap{{u"id"_s, item.id}, {u"name"_s, item.name}, {u"prompt"_s, item.prompt}});
    return list;
}

QVariantList AgentEditorView::models() const
{
    const AgentProvider provider = m_draft.model.provider;
    const QString chosen = m_draft.model.model.value_or(QString());
    QVariantList list{choice({}, AgentModelCatalog::defaultLabel(provider))};
    bool isListed = chosen.isEmpty();
    const QString home = m_model.paths().home;
    for (const auto &entry : AgentModelCatalog::entries(provider, AgentModelCatalog::codexHome(home))) {
        list.append(choice(entry.value, entry.label));
        isListed = isListed || entry.value == chosen;
    }
    if (!isListed)
        list.append(choice(chosen, chosen));
    return list;
}

QVariantList AgentEditorView::ships() const
{
    QVariantList list{choice({}, u"No ship"_s)};
    bool isListed = !m_draft.shipID;
    for (const auto &ship : shipChoices()) {
        list.append(choice(uuidText(ship.id), ship.name));
        isListed = isListed || ship.id == m_draft.shipID;
    }
    if (!isListed)
        list.append(choice(uuidText(*m_draft.shipID), u"A ship that is gone"_s));
    return list;
}

QVariantList AgentEditorView::plugins() const
{
    QVariantList list;
    QStringList known;
    for (const PluginOption &option : m_model.pluginInventory().options()) {
        known.append(option.id);
        list.append(QVariantMap{{u"id"_s, option.id},
                                {u"name"_s, ShownText::line(option.name)},
                                {u"description"_s, ShownText::line(option.description.value_or(QString()))},
                                {u"isInstalled"_s, true}});
    }
    for (const QString &id : m_draft.plugins) {
        if (!known.contains(id))
            list.append(QVariantMap{{u"id"_s, id},
                                    {u"name"_s, ShownText::line(id)},
                                    {u"description"_s, QString()},
                                    {u"isInstalled"_s, false}});
    }
    return list;
}

void AgentEditorView::updateChoices()
{
    showFacts();
    Q_EMIT choicesChanged();
}

QVariantMap AgentEditorView::discardQuestion() const
{
    return variantOf(AgentEditor::discardQuestion(isNew() ? QString() : ShownText::line(m_opened.name)));
}

QVariantMap AgentEditorView::deleteQuestion() const
{
    return variantOf(SchedulerListPane::deleteQuestion(ShownText::line(m_opened.name, shownNameLimit)));
}

} // namespace Keelhaven
