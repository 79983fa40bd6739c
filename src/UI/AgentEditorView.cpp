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

#include <QCoroTask>
#include <QDir>
#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto datesInterval = 20s; ///< how long a date that has passed may stay in sight
constexpr auto rescanDelay = 300ms; ///< lets a path be typed to its end

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

// Whether it is seen

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
