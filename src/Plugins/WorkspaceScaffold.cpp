#include "Plugins/WorkspaceScaffold.h"

#include "Contract/RecordMapper.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/Files.h"
#include "Platform/OneShot.h"
#include "Platform/Shell.h"

#include <QScopeGuard>
#include <QTextBoundaryFinder>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr int loggedOutput = 300;

constexpr QStringView explanation =
    u"This folder is a Keelhaven task workspace. Your persistent archive is\n"
    u"`./work/` — read it before writing new output so you build on previous runs,\n"
    u"and save your results into it. Do not modify `.claude/`, `CLAUDE.md`, or\n"
    u"`workspace.json`; they belong to the Keelhaven dashboard.\n";

QString claudeMarkdown(const WorkspaceScaffold::Plan &plan)
{
    QString text = u"# Task: "_s + plan.slug;
    if (plan.task != u"shared")
        text += u" ("_s + plan.task + u')';
    text += u"\n\n"_s;
    text += explanation;
    text += u'\n';
    if (!plan.projectFolders.isEmpty()) {
        text += plan.projectFolders.size() == 1 ? u"## Project folder\n\n"_s : u"## Project folders\n\n"_s;
        text += u"The code this task is about lives outside this workspace; you have access to it:\n\n"_s;
        for (const QString &folder : plan.projectFolders)
            text += u"- "_s + folder + u'\n';
        text += u'\n';
    }
    return text + u"## Brief\n\n"_s + (plan.brief.isEmpty() ? u"(no brief yet)"_s : plan.brief) + u'\n';
}

JSONValue textList(const QStringList &list)
{
    return JSONCodec<QStringList>::encode(list);
}

QString localTime(const Calendar &calendar, Date moment)
{
    const auto wall = calendar.wallTime(moment);
    const auto date = wall.date();
    const QDate day(static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
                    static_cast<int>(static_cast<unsigned>(date.day())));
    return QDateTime(day, QTime(wall.hour, wall.minute, wall.second), Qt::UTC)
        .toString(u"yyyy-MM-dd'T'HH:mm:ss"_s);
}

/// Empty when the file is missing or no object.
std::optional<JSONObject> readObject(const QString &path)
{
    const auto bytes = readFile(path);
    const auto json = bytes ? JSONValue::parse(*bytes).value_or(JSONValue()) : JSONValue();
    const JSONObject *object = json.objectValue();
    return object ? std::optional(*object) : std::nullopt;
}

QString textOf(const JSONObject &object, QStringView key)
{
    const JSONValue *value = object[key];
    return value ? value->stringValue().value_or(QString()) : QString();
}

QStringList pluginsNotIn(const QStringList &plugins, const std::optional<JSONObject> &old)
{
    const JSONValue *known = old ? (*old)[u"plugins"] : nullptr;
    const JSONArray *array = known ? known->arrayValue() : nullptr;
    QStringList fresh;
    for (const QString &plugin : plugins) {
        const auto isPlugin = [&](const JSONValue &value) { return value.stringValue() == plugin; };
        if (!array || !std::ranges::any_of(*array, isPlugin))
            fresh.append(plugin);
    }
    return fresh;
}

/// The last `count` characters, none of them cut.
QString lastCharacters(const QString &text, int count)
{
    if (text.size() <= count)
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.toEnd();
    for (int taken = 0; taken < count && finder.position() > 0; ++taken)
        finder.toPreviousBoundary();
    return text.sliced(finder.position());
}

/// Where the entry of this absolute path stands: the folders in front resolved, a link at the end not
/// followed.
QString unfollowed(const QString &path)
{
    QString trimmed = path;
    while (trimmed.endsWith(u'/') || trimmed.endsWith(u"/."))
        trimmed.chop(1);
    const qsizetype slash = trimmed.lastIndexOf(u'/');
    if (slash < 0 || trimmed.endsWith(u"/.."))
        return resolvedPath(path);
    return resolvedPath(trimmed.first(slash + 1)) + trimmed.sliced(slash);
}

/// What is written here belongs to the workspace. Written through a link that an agent put in its place, a
/// project's own CLAUDE.md or the user's settings would be lost.
void removeLink(const QString &path)
{
    if (QFileInfo(path).isSymLink())
        QFile::remove(path);
}

std::optional<WorkspaceError> write(const QString &path, const QByteArray &bytes)
{
    removeLink(path);
    const auto written = writeFileAtomically(path, bytes);
    if (written)
        return std::nullopt;
    return WorkspaceError{WorkspaceError::Kind::File, written.error().message()};
}

std::optional<WorkspaceError> make(const QString &folder)
{
    const auto made = makeFolder(folder);
    if (made)
        return std::nullopt;
    return WorkspaceError{WorkspaceError::Kind::File, made.error().message()};
}

} // namespace

/// The installations of all workspaces: each rewrites the user's one list of installed plugins.
struct WorkspaceScaffold::Installs
{
    std::optional<OneShot<bool>> last; ///< resolved when the latest that was asked for is over
    QSet<QString> waiting;
};

WorkspaceError WorkspaceError::unknownMarketplace(const QString &plugin, const QString &marketplace)
{
    return {Kind::UnknownMarketplace, u"%1: marketplace “%2” isn't known to Claude — add it first "
                                      "(claude plugin marketplace add …)"_s.arg(plugin, marketplace)};
}

WorkspaceError WorkspaceError::outsideRoot(const QString &path)
{
    return {Kind::OutsideRoot, u"refusing to delete outside ~/KeelhavenWork: "_s + path};
}

WorkspaceScaffold::WorkspaceScaffold(Clock &clock, const ClaudeLocator &commands, const QString &home,
                                     std::function<Calendar()> calendar)
    : m_clock(clock)
    , m_commands(commands)
    , m_root(home + u"/KeelhavenWork"_s)
    , m_pluginsDir(home + u"/.claude/plugins"_s)
    , m_calendar(std::move(calendar))
    , m_installs(std::make_shared<Installs>())
{}

Result<WorkspaceScaffold::Result, WorkspaceError> WorkspaceScaffold::ensure(const Plan &plan) const
{
    const QString recordFile = plan.dir + u"/workspace.json"_s;
    const auto old = readObject(recordFile);
    removeLink(plan.dir + u"/.claude"_s);
    if (auto error = make(plan.dir + u"/.claude"_s))
        return failure(*std::move(error));
    const auto settingsJSON = settings(plan.plugins);
    if (!settingsJSON)
        return failure(settingsJSON.error());
    if (auto error = write(plan.dir + u"/.claude/settings.json"_s, *settingsJSON))
        return failure(*std::move(error));
    if (auto error = write(plan.dir + u"/CLAUDE.md"_s, claudeMarkdown(plan).toUtf8()))
        return failure(*std::move(error));
    if (auto error = make(plan.dir + u"/work"_s))
        return failure(*std::move(error));
    const JSONValue json = record(plan, old.value_or(JSONObject()));
    if (auto error = write(recordFile, json.encodedPretty()))
        return failure(*std::move(error));
    return Result{plan.dir, !old, pluginsNotIn(plan.plugins, old)};
}

Result<QByteArray, WorkspaceError> WorkspaceScaffold::settings(const QStringList &plugins) const
{
    // Read at each use: the user may have added the marketplace that the last launch missed.
    const JSONObject known = loadKnownMarketplaces(m_pluginsDir);
    JSONObject enabled;
    JSONObject marketplaces;
    for (const QString &plugin : plugins) {
        enabled.set(plugin, true);
        const qsizetype at = plugin.lastIndexOf(u'@');
        if (at < 0)
            continue;
        const QString marketplace = plugin.sliced(at + 1);
        const JSONValue *entry = known[marketplace];
        if (!entry || !entry->objectValue())
            return failure(WorkspaceError::unknownMarketplace(plugin, marketplace));
        const JSONValue *source = (*entry)[u"source"];
        marketplaces.set(marketplace, JSONObject{{u"source"_s, source ? *source : JSONValue()}});
    }
    JSONObject settings{{u"enabledPlugins"_s, enabled}};
    if (!marketplaces.isEmpty())
        settings.set(u"extraKnownMarketplaces"_s, marketplaces);
    return JSONValue(settings).encodedPretty();
}

JSONObject WorkspaceScaffold::record(const Plan &plan, JSONObject record) const
{
    record.set(u"version"_s, 1);
    if (textOf(record, u"id").isEmpty())
        record.set(u"id"_s, QUuid::createUuid().toString(QUuid::Id128));
    record.set(u"project"_s, plan.slug);
    record.set(u"task"_s, plan.task);
    if (textOf(record, u"created_at").isEmpty())
        record.set(u"created_at"_s, localTime(m_calendar(), m_clock.now()));
    record.set(u"plugins"_s, textList(plan.plugins));
    record.set(u"brief"_s, plan.brief);
    if (plan.slotID)
        record.set(u"slot_id"_s, JSONCodec<QUuid>::encode(*plan.slotID));
    record.set(u"project_folders"_s, textList(plan.projectFolders));
    return record;
}

Result<void, WorkspaceError> WorkspaceScaffold::remove(const QString &dir) const
{
    // A relative path would mean another folder wherever the program happens to run.
    if (!dir.startsWith(u'/') || !isInside(dir, m_root) || resolvedPath(dir) == resolvedPath(m_root))
        return failure(WorkspaceError::outsideRoot(dir));
    const QString entry = unfollowed(dir);
    const QString folder = resolvedPath(dir);
    // Of a link only the link goes: what it leads to is another workspace's.
    const bool isRemoved =
        QFileInfo(entry).isSymLink() ? QFile::remove(entry) : QDir(folder).removeRecursively();
    if (!isRemoved)
        return failure(WorkspaceError{WorkspaceError::Kind::File, u"cannot delete "_s + folder});
    return {};
}

QCoro::Task<> WorkspaceScaffold::installPlugins(QStringList plugins, QString dir,
                                                std::function<void(const QString &line)> log) const
{
    const auto &commands = m_commands;
    const auto installs = m_installs;
    const QString wanted = dir + u'\n' + plugins.join(u'\n');
    if (installs->waiting.contains(wanted))
        co_return;
    const OneShot<bool> done;
    const auto ended = qScopeGuard([done] { done.resolve(true); });
    if (const auto before = std::exchange(installs->last, done)) {
        installs->waiting.insert(wanted);
        [[maybe_unused]] const bool isOver = co_await *before;
        installs->waiting.remove(wanted);
    }
    const QString folder = QFileInfo(dir).fileName();
    for (const QString &plugin : plugins) {
        // Quotes keep it from the shell, but the command would still take it for an option of its own.
        if (plugin.startsWith(u'-')) {
            if (log)
                log(u"workspace %1: install %2 → no plugin's name begins with a dash"_s.arg(folder, plugin));
            continue;
        }
        const QString command = u"cd "_s + shellQuoted(dir) + u" && claude plugin install "_s +
                                shellQuoted(plugin) + u" --scope project 2>&1"_s;
        const auto printed = co_await commands.loginShell(command);
        const QString output = lastCharacters(printed.value_or(QString()), loggedOutput);
        if (log)
            log(u"workspace %1: install %2 → "_s.arg(folder, plugin) +
                (output.isEmpty() ? u"(no output)"_s : output));
    }
}

JSONObject WorkspaceScaffold::loadKnownMarketplaces(const QString &pluginsDir)
{
    return readObject(pluginsDir + u"/known_marketplaces.json"_s).value_or(JSONObject());
}

} // namespace Keelhaven
