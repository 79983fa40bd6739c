#include "Herdr/HerdrLaunchArguments.h"

#include "Contract/BundledPlugin.h"
#include "Contract/JSONValue.h"
#include "Herdr/DoubleQuoted.h"
#include "Herdr/ProtectedFolders.h"
#include "Platform/Files.h"
#include "Platform/Uuid.h"
#include "Scheduler/Model/AgentModelCatalog.h"

#include <QDir>
#include <QFileInfo>
#include <QTextBoundaryFinder>

namespace Keelhaven::HerdrLaunchArguments {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qsizetype longestName = 24;
constexpr qsizetype longestCommandLine = 800;
constexpr auto settingsFileLife = 86400s;
constexpr int guardSeconds = 5;

QStringList graphemes(const QString &text)
{
    QStringList list;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    for (qsizetype end = finder.toNextBoundary(); end > 0; end = finder.toNextBoundary()) {
        list.append(text.sliced(start, end - start));
        start = end;
    }
    return list;
}

bool isLetterOrDigit(const QString &character)
{
    const char32_t first = character.at(0).isHighSurrogate() && character.size() > 1
                               ? QChar::surrogateToUcs4(character.at(0), character.at(1))
                               : character.at(0).unicode();
    return QChar::isLetter(first) || QChar::isDigit(first);
}

/// Without blanks: every character counts against the shell's line. Keys come out in the order they were set.
QString compact(const JSONValue &value)
{
    QStringList parts;
    if (const auto *object = value.objectValue()) {
        for (const QString &key : object->keys())
            parts.append(JSONValue(key).serialized() + u':' + compact(*object->find(key)));
        return u'{' + parts.join(u',') + u'}';
    }
    if (const auto *array = value.arrayValue()) {
        for (const JSONValue &element : *array)
            parts.append(compact(element));
        return u'[' + parts.join(u',') + u']';
    }
    return value.serialized();
}

JSONObject enabledPlugins(const Unattended &options)
{
    QMap<QString, bool> enabled;
    for (const QString &name : options.plugins)
        enabled.insert(name, true);
    // A copy loaded from a folder must not be shadowed by an installed one.
    if (!options.pluginDirs.isEmpty()) {
        for (const QString &name : BundledPlugin::userScopeIDs())
            enabled.insert(name, false);
    }
    JSONObject object;
    for (const auto &[name, on] : enabled.asKeyValueRange())
        object.set(name, on);
    return object;
}

JSONArray allowedWrites(const QStringList &folders)
{
    JSONArray allow;
    for (const QString &folder : folders) {
        QStringView inner(folder);
        while (inner.startsWith(u'/'))
            inner = inner.sliced(1);
        while (inner.endsWith(u'/'))
            inner.chop(1);
        for (const auto &tool : {u"Write"_s, u"Edit"_s})
            allow.emplace_back(u"%1(//%2/**)"_s.arg(tool, inner));
    }
    return allow;
}

JSONObject guardHook(const QString &command)
{
    const JSONObject hook{{u"command"_s, command}, {u"timeout"_s, guardSeconds}, {u"type"_s, u"command"_s}};
    const JSONObject entry{{u"hooks"_s, JSONArray{hook}},
                           {u"matcher"_s, u"Bash|Read|Edit|Write|MultiEdit|NotebookEdit|Glob|Grep"_s}};
    return {{u"PreToolUse"_s, JSONArray{entry}}};
}

/// Keys in alphabetical order on every level.
QString settingsDocument(const Unattended &options)
{
    JSONObject settings{{u"enableAllProjectMcpServers"_s, true}};
    if (const JSONObject plugins = enabledPlugins(options); !plugins.isEmpty())
        settings.set(u"enabledPlugins"_s, plugins);
    if (options.guardHookCommand && !options.deniedRoots.isEmpty())
        settings.set(u"hooks"_s, guardHook(*options.guardHookCommand));
    if (const JSONArray allow = allowedWrites(options.writableDirs); !allow.empty())
        settings.set(u"permissions"_s, JSONObject{{u"allow"_s, allow}});
    return compact(settings);
}

void sweep(const QString &folder, Date now)
{
    const auto entries = QDir(folder).entryInfoList(QDir::Files | QDir::Hidden);
    for (const QFileInfo &entry : entries) {
        if (now - fromQDateTime(entry.lastModified()) > settingsFileLife)
            QFile::remove(entry.filePath());
    }
}

} // namespace

QString agentName(const QString &name)
{
    QString dashed;
    for (const QString &character : graphemes(name.toLower()))
        dashed += isLetterOrDigit(character) ? character : u"-"_s;
    const QStringList characters = graphemes(dashed.split(u'-', Qt::SkipEmptyParts).join(u'-'));
    QString kept = characters.first(std::min(characters.size(), longestName)).join(QString());
    while (kept.endsWith(u'-'))
        kept.chop(1);
    if (kept.isEmpty())
        kept = u"run"_s;
    return kept + u'-' + uuidText(QUuid::createUuid()).first(4).toLower();
}

QMap<QString, QString> environment(const RunLaunchRequest &request, const QStringList &deniedRoots)
{
    QMap<QString, QString> variables{{u"KEELHAVEN_NO_BROWSER"_s, u"1"_s},
                                     {u"PYTHONDONTWRITEBYTECODE"_s, u"1"_s},
                                     {u"KEELHAVEN_RUN_ID"_s, uuidText(request.runID)}};
    if (request.runDir)
        variables.insert(u"KEELHAVEN_RUN_DIR"_s, *request.runDir);
    if (!deniedRoots.isEmpty())
        variables.insert(u"KEELHAVEN_PROTECTED_ROOTS"_s, ProtectedFolders::environmentValue(deniedRoots));
    if (const QString list = ProtectedFolders::environmentList(deniedRoots); !list.isEmpty())
        variables.insert(u"KEELHAVEN_PROTECTED_ROOTS_JSON"_s, list);
    return variables;
}

QStringList unattendedArgs(const Unattended &options)
{
    QStringList args{u"--permission-mode"_s, u"auto"_s, u"--settings"_s, settingsDocument(options)};
    for (const QString &folder : options.pluginDirs)
        args << u"--plugin-dir"_s << folder;
    return args;
}

QStringList defaultWritableDirs(const KeelhavenPaths &paths)
{
    return {paths.dispatchDir(), paths.runsDir()};
}

std::optional<QString> guardHookCommand(const KeelhavenPaths &paths)
{
    const QString script = paths.resourcesDir + u"/Guard/protected_paths_hook.py"_s;
    if (!QFileInfo(script).isFile())
        return std::nullopt;
    return u"python3 "_s + doubleQuoted(script);
}

QStringList sessionArgs(const RunLaunchRequest &request, const KeelhavenPaths &paths,
                        const QStringList &deniedRoots)
{
    QStringList args;
    if (request.provider == AgentProvider::Codex) {
        args = {u"--approve-for-me"_s, u"-c"_s, u"forced_login_method=\"chatgpt\""_s};
    } else {
        const Unattended options{request.plugins, request.pluginDirs, defaultWritableDirs(paths), deniedRoots,
                                 guardHookCommand(paths)};
        args = unattendedArgs(options);
    }
    args += AgentModelCatalog::launchArgs(request.provider, request.model);
    for (const QString &folder : request.addDirs)
        args << u"--add-dir"_s << folder;
    const QString resumed = request.resumeSessionID.value_or(QString());
    // The id comes from a log that sessions write to: it must not become an option.
    if (resumed.startsWith(u'-'))
        args << u"--resume="_s + resumed;
    else if (!resumed.isEmpty())
        args << u"--resume"_s << resumed;
    return args;
}

QStringList shortened(const QStringList &args, const std::optional<QUuid> &runID, const KeelhavenPaths &paths,
                      Date now)
{
    const qsizetype value = args.indexOf(u"--settings"_s) + 1;
    if (estimatedLength(args) <= longestCommandLine || value == 0 || value >= args.size() ||
        !args[value].startsWith(u'{'))
        return args;
    const QString folder = paths.appSupportDir + u"/launch"_s;
    const QString file = folder + u'/' + uuidText(runID.value_or(QUuid::createUuid())) + u".settings.json"_s;
    if (const auto written = writeFileAtomically(file, args[value].toUtf8()); !written)
        return args;
    sweep(folder, now);
    QStringList shorter = args;
    shorter[value] = file;
    return shorter;
}

qsizetype estimatedLength(const QStringList &args)
{
    qsizetype length = u"claude"_s.size();
    for (const QString &arg : args)
        length += 1 + arg.size() + (arg.contains(u' ') || arg.contains(u'"') ? 2 : 0);
    return length;
}

} // namespace Keelhaven::HerdrLaunchArguments
