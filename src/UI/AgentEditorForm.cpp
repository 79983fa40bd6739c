// The fields of the agent editor: from the draft to their controls, and back.
#include "App/AppModel.h"
#include "Platform/Clock.h"
#include "Platform/Tasks.h"
#include "Platform/Uuid.h"
#include "Scheduler/Prompt/PathCompleter.h"
#include "UI/AgentEditorView.h"

#include <QCoroTask>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

using HourMinute = ScheduleSpec::HourMinute;

/// The text as a multi-line field gives it back when nobody has touched it: it knows one kind of line end and
/// one kind of blank.
QString asEdited(QString text)
{
    text.replace(u"\r\n"_s, u"\n"_s);
    for (QChar &c : text) {
        const auto code = c.unicode();
        if (code == u'\r' || code == 0x2028 || code == 0x2029 || code == 0xfdd0 || code == 0xfdd1)
            c = u'\n';
        else if (code == 0xa0)
            c = u' ';
    }
    return text;
}

QVariantList variantOf(const std::set<int> &numbers)
{
    return {numbers.begin(), numbers.end()};
}

template <typename E>
E clamped(const QVariant &value, E last)
{
    return static_cast<E>(std::clamp(value.toInt(), 0, static_cast<int>(last)));
}

} // namespace

void AgentEditorView::showForm()
{
    const auto calendar = Calendar::current();
    const auto wall = calendar.wallTime(m_draft.once);
    QVariantList times;
    for (const HourMinute &time : std::as_const(m_draft.times))
        times.append(clockText(time));
    QStringList cwds;
    for (const QString &path : std::as_const(m_draft.cwds))
        cwds.append(shownPath(path));
    QStringList addDirs;
    for (const QString &path : std::as_const(m_draft.addDirs))
        addDirs.append(shownPath(path));
    m_form = {
        {u"name"_s, m_draft.name},
        {u"provider"_s, int(m_draft.model.provider)},
        {u"model"_s, m_draft.model.model.value_or(QString())},
        {u"command"_s, asEdited(m_draft.command)},
        {u"cwds"_s, cwds},
        {u"scheduleKind"_s, int(m_draft.scheduleKind)},
        {u"times"_s, times},
        {u"days"_s, variantOf(m_draft.days)},
        {u"interval"_s, m_draft.interval},
        {u"hasWindow"_s, m_draft.hasWindow},
        {u"windowStart"_s, m_draft.window.startHour},
        {u"windowEnd"_s, m_draft.window.endHour},
        {u"onceDay"_s, AgentEditor::dayText(wall.day)},
        {u"onceTime"_s, clockText({wall.hour, wall.minute})},
        {u"captainDecides"_s, m_draft.captainDecides},
        {u"shipID"_s, m_draft.shipID ? uuidText(*m_draft.shipID) : QString()},
        {u"preflight"_s, m_draft.preflight},
        {u"priority"_s, m_draft.priority},
        {u"timeoutMinutes"_s, m_draft.timeoutMinutes},
        {u"stallMinutes"_s, m_draft.stallMinutes},
        {u"keepAwake"_s, m_draft.keepAwake},
        {u"enabled"_s, m_draft.enabled && supportsScheduling(m_draft.model.provider)},
        {u"maxUsagePercent"_s,
         m_draft.maxUsagePercent ? QString::number(*m_draft.maxUsagePercent) : QString()},
        {u"runOnlyIfChanged"_s, m_draft.runOnlyIfChanged},
        {u"workspaceMode"_s, int(m_draft.workspaceMode)},
        {u"plugins"_s, m_draft.plugins},
        {u"closeFinishedTab"_s, m_draft.closeFinishedTab},
        {u"keepSessionOpen"_s, m_draft.keepSessionOpen},
        {u"addDirs"_s, addDirs},
    };
    Q_EMIT changed();
}

bool AgentEditorView::set(const QString &key, const QVariant &value)
{
    if (!take(key, value))
        return false;
    show();
    if (key == u"provider" || key == u"shipID" || key == u"model")
        Q_EMIT choicesChanged();
    return true;
}

bool AgentEditorView::take(const QString &key, const QVariant &value)
{
    static const QHash<QString, bool AgentDraft::*> switches{
        {u"hasWindow"_s, &AgentDraft::hasWindow},
        {u"captainDecides"_s, &AgentDraft::captainDecides},
        {u"keepAwake"_s, &AgentDraft::keepAwake},
        {u"enabled"_s, &AgentDraft::enabled},
        {u"runOnlyIfChanged"_s, &AgentDraft::runOnlyIfChanged},
        {u"closeFinishedTab"_s, &AgentDraft::closeFinishedTab},
        {u"keepSessionOpen"_s, &AgentDraft::keepSessionOpen},
    };
    const QString text = value.toString();
    if (const auto field = switches.value(key))
        m_draft.*field = value.toBool();
    else if (key == u"name")
        m_draft.name = text;
    else if (key == u"preflight")
        m_draft.preflight = text;
    else if (key == u"command") {
        if (text == asEdited(m_draft.command))
            return false;
        m_draft.command = text;
    } else if (key == u"provider")
        m_draft.setProvider(clamped(value, AgentProvider::Codex));
    else if (key == u"model")
        m_draft.model.model = text.isEmpty() ? std::nullopt : std::optional(text);
    else if (key == u"shipID")
        m_draft.shipID = uuidFromText(text);
    else if (key == u"scheduleKind")
        m_draft.scheduleKind = clamped(value, AgentDraft::ScheduleKind::Once);
    else if (key == u"workspaceMode")
        m_draft.workspaceMode = clamped(value, WorkspaceMode::PerFolder);
    else if (key == u"windowStart")
        m_draft.window.startHour = std::clamp(value.toInt(), 0, 23);
    else if (key == u"windowEnd")
        m_draft.window.endHour = std::clamp(value.toInt(), 1, 24);
    else if (key == u"onceDay" || key == u"onceTime")
        return takeOnce(text, key == u"onceDay");
    else
        return takeNumber(key, text);
    return true;
}

bool AgentEditorView::takeNumber(const QString &key, const QString &text)
{
    static const QHash<QString, int AgentDraft::*> numbers{
        {u"priority"_s, &AgentDraft::priority},
        {u"timeoutMinutes"_s, &AgentDraft::timeoutMinutes},
        {u"stallMinutes"_s, &AgentDraft::stallMinutes},
        {u"interval"_s, &AgentDraft::interval},
    };
    const bool isCap = key == u"maxUsagePercent";
    if (isCap && text.trimmed().isEmpty()) {
        m_draft.maxUsagePercent.reset();
        return true;
    }
    bool isNumber = false;
    const int number = text.trimmed().toInt(&isNumber);
    const auto *spec = AgentEditor::field(key);
    const int least = spec ? spec->least : 1;
    const int most = spec ? spec->most : 24;
    if (!isNumber || number < least || number > most)
        return false;
    if (isCap)
        m_draft.maxUsagePercent = number;
    else if (const auto field = numbers.value(key))
        m_draft.*field = number;
    else
        return false;
    return true;
}

bool AgentEditorView::takeOnce(const QString &text, bool isDay)
{
    const auto calendar = Calendar::current();
    auto wall = calendar.wallTime(m_draft.once);
    const auto day = isDay ? AgentEditor::dayFromText(text, calendar.wallTime(now()).day) : wall.day;
    const auto time = isDay ? HourMinute{wall.hour, wall.minute} : AgentEditor::clockFromText(text);
    if (!day || !time)
        return false;
    m_draft.once = calendar.resolve(*day, time->hour, time->minute);
    return true;
}

bool AgentEditorView::setTime(int index, const QString &text)
{
    const auto time = AgentEditor::clockFromText(text);
    if (!time || index < 0 || index >= m_draft.times.size())
        return false;
    m_draft.times[index] = *time;
    show();
    return true;
}

void AgentEditorView::addTime()
{
    m_draft.times.append(AgentEditor::furtherTime(m_draft.times));
    show();
}

void AgentEditorView::removeTime(int index)
{
    if (index < 0 || index >= m_draft.times.size())
        return;
    m_draft.times.removeAt(index);
    show();
}

void AgentEditorView::toggleDay(int day)
{
    if (!m_draft.days.erase(day))
        m_draft.days.insert(day);
    show();
}

QStringList *AgentEditorView::folders(const QString &key)
{
    return key == u"cwds" ? &m_draft.cwds : key == u"addDirs" ? &m_draft.addDirs : nullptr;
}

void AgentEditorView::addFolder(const QString &key, const QString &path)
{
    auto *list = folders(key);
    const QString folder = expanded(path);
    if (!list || folder.isEmpty() || list->contains(folder))
        return;
    list->append(folder);
    show();
}

void AgentEditorView::setFolder(const QString &key, int index, const QString &path)
{
    auto *list = folders(key);
    if (!list || index < 0 || index >= list->size())
        return;
    (*list)[index] = expanded(path);
    show();
}

void AgentEditorView::removeFolder(const QString &key, int index)
{
    auto *list = folders(key);
    if (!list || index < 0 || index >= list->size())
        return;
    list->removeAt(index);
    show();
}

void AgentEditorView::leaveFolder(const QString &key, int index)
{
    const auto *list = folders(key);
    if (!list || index < 0 || index >= list->size())
        return;
    const QString path = list->at(index);
    if (path.isEmpty())
        removeFolder(key, index);
    else if (const QString clean = QDir::cleanPath(path); clean != path)
        setFolder(key, index, clean);
}

void AgentEditorView::completeFolder(const QString &text)
{
    m_typedFolder = text;
    if (text.isEmpty())
        return suggestFolders({});
    const auto find = [text, home = m_model.paths().home] {
        const auto foldersOf = [](const QString &directory) {
            auto entries = PathCompleter::defaultLister(directory);
            entries.removeIf([](const auto &entry) { return !entry.isDir; });
            return entries;
        };
        return PathCompleter::completions(text, {}, home, foldersOf, promptSuggestionLimit);
    };
    QCoro::connect(onPool(find), this, [this, text](const QStringList &found) {
        if (text == m_typedFolder)
            suggestFolders(found);
    });
}

void AgentEditorView::suggestFolders(const QStringList &folders)
{
    if (std::exchange(m_folderSuggestions, folders) != folders)
        Q_EMIT folderSuggestionsChanged();
}

void AgentEditorView::moveFolder(const QString &key, int from, int to)
{
    auto *list = folders(key);
    if (!list || from < 0 || to < 0 || from >= list->size() || to >= list->size())
        return;
    list->move(from, to);
    show();
}

void AgentEditorView::setPlugin(const QString &id, bool picked)
{
    const QString name = id.trimmed();
    if (name.isEmpty() || m_draft.plugins.contains(name) == picked)
        return;
    if (picked)
        m_draft.plugins.append(name);
    else
        m_draft.plugins.removeAll(name);
    show();
    if (picked)
        Q_EMIT choicesChanged();
}

QString AgentEditorView::expanded(const QString &path) const
{
    const QString text = path.trimmed();
    const QString home = m_model.paths().home;
    if (text == u"~")
        return home;
    return text.startsWith(u"~/") ? home + text.mid(1) : text;
}

QString AgentEditorView::shownPath(const QString &path) const
{
    const QString home = m_model.paths().home;
    if (path == home)
        return u"~"_s;
    return path.startsWith(home + u'/') ? u'~' + path.mid(home.size()) : path;
}

QUrl AgentEditorView::folderToStartAt() const
{
    // Beside the folder that was added last: the next one is often its neighbour.
    const QString beside =
        m_draft.cwds.isEmpty() ? QString() : QFileInfo(m_draft.cwds.constLast()).absolutePath();
    return QUrl::fromLocalFile(QDir(beside).exists() && !beside.isEmpty() ? beside : m_model.paths().home);
}

QVariantMap AgentEditorView::month(int monthsFromChosen) const
{
    using namespace std::chrono;
    const auto calendar = Calendar::current();
    const auto chosen = calendar.wallTime(m_draft.once).day;
    const auto today = calendar.wallTime(now()).day;
    const auto date = year_month_day(chosen);
    const auto month = year_month(date.year(), date.month()) + months(monthsFromChosen);
    const sys_days first(month / 1);
    const auto start = first - days((weekday(first) - Monday).count());
    QVariantList cells;
    for (auto day = start; day < start + weeks(6); day += days(1)) {
        const auto shown = year_month_day(day);
        cells.append(QVariantMap{{u"text"_s, QString::number(unsigned(shown.day()))},
                                 {u"day"_s, AgentEditor::dayText(day)},
                                 {u"isOther"_s, shown.month() != month.month()},
                                 {u"isPast"_s, day < today},
                                 {u"isToday"_s, day == today},
                                 {u"isChosen"_s, day == chosen}});
    }
    const QString name = QLocale::c().monthName(int(unsigned(month.month())));
    return {{u"title"_s, u"%1 %2"_s.arg(name).arg(int(month.year()))}, {u"cells"_s, cells}};
}

} // namespace Keelhaven
