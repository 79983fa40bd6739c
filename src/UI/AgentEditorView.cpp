#include "UI/AgentEditorView.h"

#include "App/AppModel.h"
#include "Mirror/MirrorClient.h"
#include "Mirror/MirrorMonitor.h"
#include "Platform/Clock.h"
#include "Platform/Tasks.h"
#include "Platform/Uuid.h"
#include "Plugins/PluginInventoryStore.h"
#include "Scheduler/Model/SlotTemplate.h"
#include "Surfaces/AgentsPane.h"
#include "Surfaces/SlotRow.h"
#include "UI/ShownText.h"

#include <QCoroTask>
#include <QDir>
#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto datesInterval = 20s; ///< how long a date that has passed may stay in sight
constexpr auto rescanDelay = 300ms; ///< lets a path be typed to its end
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

AgentEditorView::AgentEditorView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_guard(model.paths().home)
    , m_trial(model.children(), model.locator())
    , m_prompt(model.paths(), model.clock(), model.tasks())
{
    m_question.setSingleShot(true);
    connect(&m_question, &QTimer::timeout, this, &AgentEditorView::ask);
    m_minute.setInterval(datesInterval);
    connect(&m_minute, &QTimer::timeout, this, &AgentEditorView::showFacts);
    connect(&m_model.selection(), &AppSelection::slotEditorChanged, this, &AgentEditorView::targetChanged);
    connect(&m_model.scheduler(), &SchedulerEngine::changed, this, &AgentEditorView::engineChanged);
    followPrompt();
    load(m_model.selection().slotEditor());
}

void AgentEditorView::followPrompt()
{
    m_rescan.setSingleShot(true);
    m_rescan.setInterval(rescanDelay);
    connect(&m_rescan, &QTimer::timeout, this, &AgentEditorView::rescanPrompt);
    connect(&m_model.pluginInventory(), &PluginInventoryStore::changed, this, [this] {
        rescanPrompt();
        Q_EMIT choicesChanged();
    });
    PromptField &field = m_prompt.field();
    connect(&m_model.mirrorMonitor(), &MirrorMonitor::changed, &field, &PromptField::serviceChanged);
    field.onAddPlugin = [this](const QString &id) { setPlugin(id, true); };
    field.canMutate = [this] { return m_model.mirrorMonitor().canMutate(); };
    field.enableInFolder = [this](const QString &id, const QString &folder) {
        return m_model.mutate(m_model.mirror().pluginAction(u"enable"_s, id, u"project"_s, folder));
    };
}

void AgentEditorView::lookForFolders()
{
    const auto missingOf = [folders = m_promptFolders] {
        QStringList missing;
        for (const QString &folder : folders) {
            if (!QFileInfo(folder).isDir())
                missing.append(folder);
        }
        return missing;
    };
    QCoro::connect(onPool(missingOf), this, [this, asked = m_promptFolders](const QStringList &missing) {
        if (asked != m_promptFolders)
            return;
        m_missingFolders = missing;
        showFacts();
    });
}

void AgentEditorView::rescanPrompt()
{
    lookForFolders();
    m_prompt.field().setSurroundings(m_promptFolders, m_model.pluginInventory().current());
}

Date AgentEditorView::now() const
{
    return m_model.clock().now();
}

QString AgentEditorView::slotID() const
{
    return isNew() ? QString() : uuidText(m_target.id);
}

// What is open

void AgentEditorView::targetChanged()
{
    const SlotEditorTarget target = m_model.selection().slotEditor();
    if (target == m_target)
        m_wanted.reset();
    else if (hasChanges())
        askSoon(target);
    else
        load(target);
}

void AgentEditorView::askSoon(const SlotEditorTarget &wanted)
{
    m_wanted = wanted;
    // An agent that is being deleted is left before it is gone; then there is nothing to ask.
    m_question.start(0);
}

void AgentEditorView::ask()
{
    if (!m_wanted)
        return;
    if (!isNew() && !m_model.scheduler().slot(m_target.id))
        return discard();
    Q_EMIT discardWanted();
}

void AgentEditorView::load(const SlotEditorTarget &target)
{
    using Kind = SlotEditorTarget::Kind;
    const auto calendar = Calendar::current();
    m_target = target;
    m_wanted.reset();
    m_isGone = m_isQuitting = false;
    m_draft = AgentDraft::blank(m_model.settings(), now(), calendar);
    if (target.kind == Kind::BlankForShip)
        m_draft.shipID = target.id;
    const auto *start = target.kind == Kind::Template ? SlotTemplate::named(target.templateID) : nullptr;
    if (start)
        m_draft = AgentDraft::fromSlot(start->makeSlot(), now(), calendar);
    if (target.kind == Kind::Slot) {
        if (const auto slot = m_model.scheduler().slot(target.id))
            m_draft = AgentDraft::fromSlot(*slot, now(), calendar);
        else
            m_target = SlotEditorTarget::blank();
    }
    m_opened = m_draft;
    m_trial.cancel();
    m_trial.clear();
    show();
    Q_EMIT loaded();
    updateChoices();
}

void AgentEditorView::engineChanged()
{
    if (isNew())
        return showFacts();
    const auto slot = m_model.scheduler().slot(m_target.id);
    if (!slot && hasChanges()) {
        m_isGone = true;
        return showFacts();
    }
    if (!slot) {
        load(SlotEditorTarget::blank());
        return m_model.selection().setSlotEditor(m_target);
    }
    const auto stored = AgentDraft::fromSlot(*slot, now(), Calendar::current());
    if (stored == m_opened && !m_isGone)
        return showFacts();
    m_draft = AgentEditor::merged(m_draft, m_opened, stored);
    m_opened = stored;
    m_isGone = false;
    show();
}

void AgentEditorView::openNew()
{
    m_isWanted = true;
    m_model.selection().setSlotEditor(SlotEditorTarget::blank());
    Q_EMIT changed();
    if (isNew())
        Q_EMIT focusWanted();
}

void AgentEditorView::startFrom(const QString &templateID)
{
    m_model.selection().setSlotEditor(templateID.isEmpty() ? SlotEditorTarget::blank()
                                                           : SlotEditorTarget::ofTemplate(templateID));
}

bool AgentEditorView::close()
{
    const auto blank = SlotEditorTarget::blank();
    if (hasChanges()) {
        askSoon(blank);
        return true;
    }
    const bool isLeft = std::exchange(m_isWanted, false) || m_target != blank;
    m_model.selection().setSlotEditor(blank);
    Q_EMIT changed();
    return isLeft;
}

void AgentEditorView::revert()
{
    if (hasChanges())
        askSoon(m_target);
}

bool AgentEditorView::mayQuit()
{
    if (!hasChanges())
        return true;
    m_isQuitting = true;
    Q_EMIT discardWanted();
    return false;
}

void AgentEditorView::discard()
{
    if (m_isQuitting)
        return Q_EMIT quitAllowed();
    m_isWanted = false;
    load(m_wanted.value_or(m_target));
    m_model.selection().setSlotEditor(m_target);
}

void AgentEditorView::keep()
{
    m_wanted.reset();
    m_isQuitting = false;
    m_model.selection().setSlotEditor(m_target);
}

// What is done with it

bool AgentEditorView::save()
{
    for (QStringList *list : {&m_draft.cwds, &m_draft.addDirs}) {
        for (QString &path : *list)
            path = path.trimmed().isEmpty() ? QString() : QDir::cleanPath(expanded(path));
    }
    if (hint())
        return false;
    const SchedulerSlot slot = m_draft.toSlot();
    const QString shipKey = Setting::lastShipID.name.toString();
    if (slot.shipID)
        m_model.settings().set(shipKey, uuidText(*slot.shipID));
    else
        m_model.settings().remove(shipKey);
    m_target = SlotEditorTarget::ofSlot(slot.id);
    m_opened = m_draft; // nothing is left to lose
    m_model.scheduler().upsert(slot);
    m_model.selection().setSlotEditor(m_target);
    show();
    return true;
}

void AgentEditorView::duplicate()
{
    if (isNew())
        return;
    if (const auto copy = AgentsPane(m_model.scheduler()).duplicate(m_target.id))
        m_model.selection().setSlotEditor(SlotEditorTarget::ofSlot(*copy));
}

void AgentEditorView::remove()
{
    if (isNew())
        return;
    const QUuid id = m_target.id;
    load(SlotEditorTarget::blank());
    m_model.selection().setSlotEditor(m_target);
    AgentsPane(m_model.scheduler()).delete_(id);
}

void AgentEditorView::runNow()
{
    const auto runs = isNew() ? QList<QUuid>() : AgentsPane(m_model.scheduler()).runNow(m_target.id);
    if (!runs.isEmpty())
        m_model.selection().setSelectedRunID(runs.first());
}

// What it says

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

void AgentEditorView::setWatched(bool watched)
{
    if (watched == m_minute.isActive())
        return;
    if (!watched)
        return m_minute.stop();
    // There are commands without a folder too, and new ones since the last look.
    m_rescan.start();
    showFacts();
    m_minute.start();
}

} // namespace Keelhaven
