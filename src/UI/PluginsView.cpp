#include "UI/PluginsView.h"

#include "App/AppModel.h"
#include "Contract/BundledPlugin.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/Tasks.h"
#include "Plugins/OwnSessionTracking.h"
#include "Plugins/PluginInventoryStore.h"
#include "UI/EngineObjects.h"
#include "UI/PluginTexts.h"
#include "UI/ShownText.h"

#include <QPointer>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Tracking = OwnSessionTracking::Status;

namespace {

/// Where sessions read the plugin from.
std::optional<QString> folderOf(const PluginRecord &plugin)
{
    const PluginInstall *install = plugin.presentInstall();
    return install ? install->installPath : std::nullopt;
}

const MarketplaceRecord *marketplaceOf(const PluginRecord &plugin, const PluginInventory &inventory)
{
    const auto found = inventory.marketplaces.constFind(plugin.marketplace);
    return found == inventory.marketplaces.constEnd() ? nullptr : &*found;
}

QVariantMap detailOf(const PluginRow &row, const LocalPluginInfo *info)
{
    const auto words = info ? (info->description ? info->description : info->readmeExcerpt) : std::nullopt;
    return {{u"key"_s, row.key},
            {u"title"_s, row.name},
            {u"state"_s, row.state},
            {u"tone"_s, row.tone},
            {u"isRead"_s, info != nullptr},
            {u"description"_s, ShownText::paragraph(words.value_or(QString()), 1'300)}};
}

} // namespace

PluginsView::PluginsView(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    m_updateTimer.setSingleShot(true);
    m_updateTimer.setInterval(16);
    connect(&m_updateTimer, &QTimer::timeout, this, &PluginsView::update);
    const auto updateSoon = qOverload<>(&QTimer::start);
    connect(&model.ownSessions(), &OwnSessionTracking::changed, &m_updateTimer, updateSoon);
    connect(&model.pluginInventory(), &PluginInventoryStore::changed, &m_updateTimer, updateSoon);
    connect(&model.pluginInventory(), &PluginInventoryStore::changed, this, &PluginsView::readContents);
}

PluginsView *PluginsView::create(QQmlEngine *engine, QJSEngine *)
{
    return EngineObjects::of<PluginsView>(engine);
}

void PluginsView::setWatched(bool watched)
{
    m_isWatched = watched;
    if (watched)
        refresh();
}

void PluginsView::refresh()
{
    m_model.pluginInventory().reload();
    if (!m_model.ownSessions().busy())
        m_model.tasks().spawn(m_model.ownSessions().refresh(m_model.paths().claudeDir()),
                              "PluginsView::refresh");
    if (!m_isSeeking)
        m_model.tasks().spawn(findClaude(), "PluginsView::findClaude");
    readContents();
    update();
}

QCoro::Task<> PluginsView::findClaude()
{
    const QPointer<PluginsView> self(this);
    m_isSeeking = true;
    const QString tool = u"claude"_s;
    const auto path = co_await m_model.locator().loginShellPATH(tool);
    if (!self)
        co_return;
    m_isSeeking = false;
    m_claude = path && ClaudeLocator::contains(*path, tool) ? Tool::Found : Tool::Missing;
    m_updateTimer.start();
}

void PluginsView::readContents()
{
    if (!m_isWatched)
        return;
    if (m_isReading)
        m_readAgain = true;
    else
        m_model.tasks().spawn(runReading(), "PluginsView::readContents");
}

QStringList PluginsView::folders() const
{
    QStringList list;
    if (m_bundledRoot)
        list.append(*m_bundledRoot);
    for (const PluginRecord &plugin : m_model.pluginInventory().current().plugins) {
        if (const auto folder = folderOf(plugin))
            list.append(*folder);
    }
    return list;
}

QCoro::Task<> PluginsView::runReading()
{
    const QPointer<PluginsView> self(this);
    m_isReading = true;
    do {
        m_readAgain = false;
        m_bundledRoot = m_model.paths().bundledPluginRoot();
        auto work = [list = folders()] {
            Contents contents;
            for (const QString &folder : list)
                contents.insert(folder, LocalPluginInfo::read(folder));
            return contents;
        };
        auto contents = co_await onPool(std::move(work));
        if (!self)
            co_return;
        m_contents = std::move(contents);
    } while (m_readAgain);
    m_isReading = false;
    m_updateTimer.start();
}

const LocalPluginInfo *PluginsView::contentsOf(const std::optional<QString> &folder) const
{
    const auto found = folder ? m_contents.constFind(*folder) : m_contents.constEnd();
    return found == m_contents.constEnd() ? nullptr : &*found;
}

QList<PluginRow> PluginsView::rows() const
{
    QList<PluginRow> list;
    const auto add = [&](const PluginRow &row, const LocalPluginInfo *info) {
        if (PluginRows::matches(row, info, m_searchText))
            list.append(row);
    };
    if (m_bundledRoot)
        add(PluginRows::bundled(contentsOf(m_bundledRoot)), contentsOf(m_bundledRoot));
    const PluginInventory &inventory = m_model.pluginInventory().current();
    for (const PluginRecord &plugin : inventory.plugins) {
        const LocalPluginInfo *info = contentsOf(folderOf(plugin));
        add(PluginRows::installed(plugin, info), info);
    }
    for (const QString &id : inventory.orphans)
        add(PluginRows::orphan(id), nullptr);
    return list;
}

void PluginsView::update()
{
    m_updateTimer.stop();
    m_list.show(rows());
    auto detail = describeSelected();
    if (detail.isEmpty())
        m_selected.clear();
    if (detail != m_detail) {
        m_detail = std::move(detail);
        Q_EMIT detailChanged();
    }
    Q_EMIT changed();
}

QVariantMap PluginsView::describe(const PluginRecord &plugin) const
{
    const LocalPluginInfo *info = contentsOf(folderOf(plugin));
    const auto *marketplace = marketplaceOf(plugin, m_model.pluginInventory().current());
    QVariantMap map = detailOf(PluginRows::installed(plugin, info), info);
    map.insert(u"warning"_s, PluginTexts::warning(plugin, marketplace));
    map.insert(u"facts"_s, PluginTexts::facts(plugin, marketplace, info, m_model.paths().home));
    map.insert(u"groups"_s, info ? PluginTexts::groups(*info, plugin.name) : QVariantList());
    return map;
}

QVariantMap PluginsView::describeBundled() const
{
    const LocalPluginInfo *info = contentsOf(m_bundledRoot);
    QVariantMap map = detailOf(PluginRows::bundled(info), info);
    QVariantList facts;
    if (info && info->version)
        facts.append(PluginTexts::fact(u"Version"_s, ShownText::line(*info->version)));
    facts.append(PluginTexts::fact(u"Folder"_s, ShownText::path(*m_bundledRoot, m_model.paths().home), true));
    map.insert(u"warning"_s, QString());
    map.insert(u"facts"_s, info ? facts + PluginTexts::manifestFacts(*info) : facts);
    map.insert(u"groups"_s,
               info ? PluginTexts::groups(*info, BundledPlugin::name.toString()) : QVariantList());
    return map;
}

QVariantMap PluginsView::describeSelected() const
{
    const PluginInventory &inventory = m_model.pluginInventory().current();
    if (m_selected.startsWith(PluginRows::bundledKey) && m_bundledRoot)
        return describeBundled();
    if (m_selected.startsWith(PluginRows::installedKey)) {
        const auto *plugin = inventory.plugin(m_selected.sliced(PluginRows::installedKey.size()));
        return plugin ? describe(*plugin) : QVariantMap();
    }
    const QString id = m_selected.startsWith(PluginRows::orphanKey)
                           ? m_selected.sliced(PluginRows::orphanKey.size())
                           : QString();
    if (id.isEmpty() || !inventory.orphans.contains(id))
        return {};
    QVariantMap map = detailOf(PluginRows::orphan(id), nullptr);
    map.insert(u"warning"_s,
               u"Your Claude Code settings switch it on, but it is not installed, so it does nothing."_s);
    map.insert(u"facts"_s, QVariantList{PluginTexts::fact(u"Id"_s, ShownText::line(id), true)});
    map.insert(u"groups"_s, QVariantList());
    return map;
}

void PluginsView::setSearchText(const QString &text)
{
    if (text.trimmed() == m_searchText)
        return;
    m_searchText = text.trimmed();
    update();
}

void PluginsView::setSelected(const QString &key)
{
    if (key == m_selected)
        return;
    m_selected = key;
    update();
}

QString PluginsView::summary() const
{
    const auto &plugins = m_model.pluginInventory().current().plugins;
    const auto on = std::ranges::count_if(
        plugins, [](const PluginRecord &plugin) { return plugin.enabledUser && plugin.presentInstall(); });
    return plugins.isEmpty() ? QString() : u"%1 installed, %2 on"_s.arg(plugins.size()).arg(on);
}

QStringList PluginsView::notices() const
{
    QStringList list;
    for (const QString &notice : m_model.pluginInventory().current().notices)
        list.append(ShownText::line(notice));
    return list;
}

bool PluginsView::isLoading() const
{
    // The store says nothing when its first scan finds nothing; the look at the own plugin always does.
    return !m_model.pluginInventory().current().scannedAt &&
           m_model.ownSessions().status() == Tracking::Unknown;
}

bool PluginsView::hasInstalled() const
{
    const auto &inventory = m_model.pluginInventory().current();
    return !inventory.plugins.isEmpty() || !inventory.orphans.isEmpty();
}

bool PluginsView::isTracking() const
{
    return m_model.ownSessions().isOn();
}

QString PluginsView::trackingText() const
{
    const auto &own = m_model.ownSessions();
    if (own.busy())
        return u"Asking claude; installing can take a minute…"_s;
    switch (own.status()) {
    case Tracking::Unknown:
        return u"Looking at what is installed…"_s;
    case Tracking::Enabled:
        return u"Sessions you start by hand in a terminal report to Keelhaven as well."_s;
    case Tracking::Disabled:
        return u"Off: only sessions that Keelhaven starts report to it. The plugin stays installed."_s;
    case Tracking::NotInstalled:
        return u"Off: only sessions that Keelhaven starts report to it. Switching it on installs its plugin in Claude Code."_s;
    }
    return {};
}

QString PluginsView::trackingBlocked() const
{
    const auto &own = m_model.ownSessions();
    if (own.busy() || own.status() == Tracking::Unknown)
        return trackingText();
    if (m_claude == Tool::Unknown)
        return u"Looking for claude…"_s;
    if (m_claude == Tool::Missing)
        return u"No “claude” was found"_s;
    if (own.status() == Tracking::NotInstalled && !m_bundledRoot)
        return u"This installation has no plugin folder to install from"_s;
    return {};
}

QString PluginsView::trackingOutput() const
{
    return ShownText::paragraph(m_model.ownSessions().lastOutput().value_or(QString()), 2'000);
}

void PluginsView::setTracking(bool on)
{
    if (!trackingBlocked().isEmpty())
        return;
    m_model.tasks().spawn(track(on), "PluginsView::setTracking");
}

QCoro::Task<> PluginsView::track(bool on)
{
    const QPointer<PluginsView> self(this);
    co_await m_model.ownSessions().setEnabled(on, m_bundledRoot, m_model.paths().claudeDir());
    // The list need not wait until the files' watch speaks.
    if (self)
        m_model.pluginInventory().reload();
}

} // namespace Keelhaven
