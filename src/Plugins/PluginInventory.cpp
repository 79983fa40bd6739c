#include "Plugins/PluginInventory.h"

#include "Contract/ObjectReader.h"
#include "Plugins/PluginFiles.h"

#include <QFileInfo>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 knownVersion = 2;

QString installedIn(const QString &claudeDir)
{
    return claudeDir + u"/plugins/installed_plugins.json"_s;
}

QString marketplacesIn(const QString &claudeDir)
{
    return claudeDir + u"/plugins/known_marketplaces.json"_s;
}

QString settingsIn(const QString &claudeDir)
{
    return claudeDir + u"/settings.json"_s;
}

bool isFolder(const std::optional<QString> &path)
{
    return path && !path->isEmpty() && QFileInfo(*path).isDir();
}

/// Copies a member of one object into another under another name; an absent or null one stays away.
void copy(JSONObject &to, QStringView key, const JSONObject &from, QStringView fromKey)
{
    const JSONValue *value = from.find(fromKey);
    if (value && !value->isNull())
        to.set(key, *value);
}

JSONObject marketplaceShape(const JSONValue &json)
{
    const ObjectReader record(json);
    const ObjectReader source(record.raw(u"source"));
    const auto kind = source.string(u"source");
    const auto text = source.string(kind == u"directory" ? u"path" : u"repo");
    JSONObject shape;
    if (kind)
        shape.set(u"source_kind", *kind);
    if (text)
        shape.set(u"source_text", *text);
    copy(shape, u"install_location", record.object(), u"installLocation");
    shape.set(u"auto_update", record.bool_(u"autoUpdate").value_or(false));
    shape.set(u"missing", !isFolder(record.string(u"installLocation")));
    return shape;
}

JSONObject installShape(const JSONObject &install)
{
    JSONObject shape;
    copy(shape, u"scope", install, u"scope");
    copy(shape, u"project_path", install, u"projectPath");
    shape.set(u"missing", !isFolder(ObjectReader(install).string(u"installPath")));
    copy(shape, u"install_path", install, u"installPath");
    copy(shape, u"version", install, u"version");
    copy(shape, u"installed_at", install, u"installedAt");
    return shape;
}

/// The installs of one plugin. The first version of the file had one object in the place of the list.
JSONArray installShapes(const JSONValue &json)
{
    JSONArray shapes;
    if (const auto *single = json.objectValue())
        shapes.push_back(installShape(*single));
    const auto *list = json.arrayValue();
    for (const JSONValue &element : list ? *list : JSONArray()) {
        if (const auto *install = element.objectValue())
            shapes.push_back(installShape(*install));
    }
    return shapes;
}

/// A plugin's name and its marketplace.
std::pair<QString, QString> partsOf(const QString &id)
{
    const qsizetype at = id.lastIndexOf(u'@');
    return at < 0 ? std::pair(id, QString()) : std::pair(id.first(at), id.sliced(at + 1));
}

JSONObject pluginShape(const QString &id, JSONArray installs, bool isEnabled)
{
    const auto [name, marketplace] = partsOf(id);
    return JSONObject{{u"id"_s, id},
                      {u"name"_s, name},
                      {u"marketplace"_s, marketplace},
                      {u"installs"_s, std::move(installs)},
                      {u"enabled_user"_s, isEnabled},
                      {u"enabled_in"_s, JSONArray()},
                      {u"disabled_in"_s, JSONArray()}};
}

JSONArray texts(const QStringList &list)
{
    return JSONArray(list.cbegin(), list.cend());
}

/// What installed_plugins.json tells: the plugins, and a notice for a version that nobody knows.
struct Installed
{
    QMap<QString, JSONArray> plugins;
    QStringList notices;
};

Installed readInstalled(const QString &claudeDir)
{
    Installed installed;
    const auto file = PluginFiles::readObject(installedIn(claudeDir));
    if (!file)
        return installed;
    const ObjectReader reader(*file);
    const auto version = reader.integer(u"version");
    if (version != knownVersion)
        installed.notices.append(u"installed_plugins.json has unknown version %1; inventory is partial"_s.arg(
            version ? QString::number(*version) : u"nil"_s));
    const ObjectReader plugins(reader.raw(u"plugins"));
    for (const auto &[id, value] : plugins.object())
        installed.plugins.insert(id, installShapes(value));
    return installed;
}

QSet<QString> readEnabled(const QString &claudeDir)
{
    QSet<QString> enabled;
    const ObjectReader settings(PluginFiles::readObject(settingsIn(claudeDir)).value_or(JSONObject()));
    const ObjectReader map(settings.raw(u"enabledPlugins"));
    for (const auto &[id, value] : map.object()) {
        if (value.boolValue() == true)
            enabled.insert(id);
    }
    return enabled;
}

} // namespace

MarketplaceRecord MarketplaceRecord::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    MarketplaceRecord record;
    record.sourceKind = reader.string(u"source_kind");
    record.sourceText = reader.string(u"source_text");
    if (!record.sourceText)
        record.sourceText = reader.string(u"source");
    record.installLocation = reader.string(u"install_location");
    record.autoUpdate = reader.bool_(u"auto_update").value_or(false);
    record.missing = reader.bool_(u"missing").value_or(false);
    return record;
}

PluginInstall PluginInstall::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    return {.scope = reader.string(u"scope"),
            .projectPath = reader.string(u"project_path"),
            .missing = reader.bool_(u"missing").value_or(false),
            .installPath = reader.string(u"install_path"),
            .version = reader.string(u"version"),
            .installedAt = reader.string(u"installed_at")};
}

PluginEnablement PluginEnablement::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    return {.kind = reader.string(u"kind"),
            .name = reader.string(u"name"),
            .path = reader.string(u"path"),
            .scope = reader.string(u"scope"),
            .workspaceID = reader.string(u"workspace_id")};
}

std::optional<PluginRecord> PluginRecord::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    const auto id = reader.string(u"id");
    if (!id || id->isEmpty())
        return std::nullopt;
    const auto [name, marketplace] = partsOf(*id);
    const auto enablement = [](const JSONValue &element) {
        return element.objectValue() ? std::optional(PluginEnablement::fromJSON(element)) : std::nullopt;
    };
    const auto install = [](const JSONValue &element) {
        return element.objectValue() ? std::optional(PluginInstall::fromJSON(element)) : std::nullopt;
    };
    PluginRecord record;
    record.id = *id;
    record.name = reader.string(u"name").value_or(name);
    record.marketplace = reader.string(u"marketplace").value_or(marketplace);
    record.installs = reader.array(u"installs", install).value_or(QList<PluginInstall>());
    record.enabledUser = reader.bool_(u"enabled_user").value_or(false);
    record.enabledIn = reader.array(u"enabled_in", enablement).value_or(QList<PluginEnablement>());
    record.disabledIn = reader.array(u"disabled_in", enablement).value_or(QList<PluginEnablement>());
    return record;
}

const PluginInstall *PluginRecord::presentInstall() const
{
    const auto found = std::ranges::find_if(installs, [](const PluginInstall &install) {
        return !install.missing && install.installPath && !install.installPath->isEmpty();
    });
    return found == installs.end() ? nullptr : &*found;
}

JSONObject PluginInventory::scanShape(const QString &claudeDir, Date now, const Calendar &calendar)
{
    const Installed installed = readInstalled(claudeDir);
    JSONObject marketplaces;
    const auto known = PluginFiles::readObject(marketplacesIn(claudeDir));
    for (const auto &[name, record] : known.value_or(JSONObject()))
        marketplaces.set(name, marketplaceShape(record));
    const QSet<QString> enabled = readEnabled(claudeDir);
    JSONArray plugins;
    for (const auto &[id, installs] : installed.plugins.asKeyValueRange())
        plugins.push_back(pluginShape(id, installs, enabled.contains(id)));
    QStringList orphans;
    for (const QString &id : enabled) {
        if (installed.plugins.value(id).empty())
            orphans.append(id);
    }
    orphans.sort();
    return JSONObject{{u"marketplaces"_s, std::move(marketplaces)},
                      {u"plugins"_s, std::move(plugins)},
                      {u"orphans"_s, texts(orphans)},
                      {u"notices"_s, texts(installed.notices)},
                      {u"scanned_at"_s, momentText(now, calendar)}};
}

PluginInventory PluginInventory::scan(const QString &claudeDir, Date now, const Calendar &calendar)
{
    return fromJSON(scanShape(claudeDir, now, calendar));
}

PluginInventory PluginInventory::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    PluginInventory inventory;
    const auto marketplace = [](const JSONValue &value) {
        return value.objectValue() ? std::optional(MarketplaceRecord::fromJSON(value)) : std::nullopt;
    };
    const auto marketplaces = reader.objectMap(u"marketplaces", marketplace);
    for (const auto &[name, record] : marketplaces.value_or(KeyedList<MarketplaceRecord>()))
        inventory.marketplaces.insert(name, record);
    inventory.plugins = reader.array(u"plugins", PluginRecord::fromJSON).value_or(QList<PluginRecord>());
    inventory.orphans = reader.stringArray(u"orphans").value_or(QStringList());
    inventory.notices = reader.stringArray(u"notices").value_or(QStringList());
    inventory.scannedAt = reader.string(u"scanned_at");
    return inventory;
}

QStringList PluginInventory::pathsBelow(const QString &claudeDir) const
{
    QStringList paths{installedIn(claudeDir), marketplacesIn(claudeDir), settingsIn(claudeDir)};
    for (const MarketplaceRecord &marketplace : marketplaces)
        paths.append(marketplace.installLocation.value_or(QString()));
    for (const PluginRecord &plugin : plugins) {
        for (const PluginInstall &install : plugin.installs)
            paths.append(install.installPath.value_or(QString()));
    }
    paths.removeAll(QString());
    return paths;
}

QString PluginInventory::momentText(Date now, const Calendar &calendar)
{
    return toQDateTime(now).toTimeZone(calendar.zone()).toString(u"yyyy-MM-dd'T'HH:mm:ss"_s);
}

const PluginRecord *PluginInventory::plugin(QStringView id) const
{
    const auto found = std::ranges::find(plugins, id, &PluginRecord::id);
    return found == plugins.end() ? nullptr : &*found;
}

bool PluginInventory::saysTheSameAs(const PluginInventory &other) const
{
    PluginInventory sameMoment = other;
    sameMoment.scannedAt = scannedAt;
    return *this == sameMoment;
}

} // namespace Keelhaven
