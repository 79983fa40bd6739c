#include "Plugins/PluginInventoryStore.h"

#include "Platform/Tasks.h"
#include "Plugins/DispatchPluginCatalog.h"

#include <QFileInfo>
#include <QPointer>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Span debounce = 200ms;
constexpr Span pollInterval = 30s;

/// Tells one content of a file from the next without reading it.
QString stampOf(const QString &file)
{
    const QFileInfo info(file);
    if (!info.exists())
        return {};
    return u"%1 %2"_s.arg(info.size()).arg(info.lastModified().toMSecsSinceEpoch());
}

struct Scanned
{
    PluginInventory inventory;
    QList<PluginOption> options;
    QString settingsStamp;
    QStringList paths;
    FileFootprint footprint;
};

Scanned scanAll(const QString &claudeDir, const QString &settingsFile, Date now, const Calendar &calendar)
{
    Scanned found;
    // Before the file is read: what is written meanwhile is then seen as a change.
    found.settingsStamp = stampOf(settingsFile);
    found.inventory = PluginInventory::scan(claudeDir, now, calendar);
    found.options = DispatchPluginCatalog::options(found.inventory);
    found.paths = found.inventory.pathsBelow(claudeDir) + DispatchPluginCatalog::paths(found.inventory);
    return found;
}

} // namespace

PluginInventoryStore::PluginInventoryStore(QString claudeDir, Clock &clock, DirectoryWatchFactory &factory,
                                           Tasks &tasks)
    : m_claudeDir(std::move(claudeDir))
    , m_clock(clock)
    , m_factory(factory)
    , m_tasks(tasks)
    , m_watcher(m_claudeDir + u"/plugins"_s, clock, factory, [this] { reload(); }, debounce, pollInterval)
{}

void PluginInventoryStore::start()
{
    m_isStarted = true;
    m_watcher.start();
    reload();
}

void PluginInventoryStore::stop()
{
    m_isStarted = false;
    m_watcher.stop();
    m_settingsPending.reset();
    m_settingsWatch.reset();
}

void PluginInventoryStore::reload()
{
    if (m_isScanning)
        m_scanAgain = true;
    else
        m_tasks.spawn(runScans(), "PluginInventoryStore::reload");
}

QString PluginInventoryStore::settingsFile() const
{
    return m_claudeDir + u"/settings.json"_s;
}

/// The folder above holds the history and more that live sessions write, so an event there is no news of the
/// settings yet.
void PluginInventoryStore::watchSettings()
{
    if (!m_isStarted || m_settingsWatch)
        return;
    const auto onEvent = [this] {
        m_settingsPending = m_clock.after(debounce, [this] {
            if (stampOf(settingsFile()) != m_settingsStamp)
                reload();
        });
    };
    // The next poll looks for the folder again.
    const auto onLost = [this] {
        auto *self = this; // the watch owns this function
        self->m_settingsWatch.reset();
    };
    m_settingsWatch = m_factory.watch(m_claudeDir, onEvent, onLost);
}

QCoro::Task<> PluginInventoryStore::runScans()
{
    const QPointer<PluginInventoryStore> self(this);
    m_isScanning = true;
    do {
        m_scanAgain = false;
        watchSettings();
        const Date now = m_clock.now();
        const Calendar calendar = Calendar::current();
        if (m_footprint.stillStands()) {
            m_current.scannedAt = PluginInventory::momentText(now, calendar);
            break;
        }
        auto work = [claudeDir = m_claudeDir, file = settingsFile(), now, calendar,
                     expected = m_footprint.paths()] {
            const auto scan = [&] { return scanAll(claudeDir, file, now, calendar); };
            return FileFootprint::ofReading(expected, scan);
        };
        auto found = co_await onPool(std::move(work));
        if (!self)
            co_return;
        m_footprint = std::move(found.footprint);
        const bool isNews = !found.inventory.saysTheSameAs(m_current) || found.options != m_options;
        m_settingsStamp = found.settingsStamp;
        m_current = std::move(found.inventory);
        m_options = std::move(found.options);
        if (isNews)
            Q_EMIT changed();
        if (!self)
            co_return;
    } while (m_scanAgain);
    m_isScanning = false;
}

} // namespace Keelhaven
