#pragma once

#include "Platform/FileFootprint.h"
#include "Plugins/PluginInventory.h"
#include "Scheduler/Model/PluginOption.h"
#include "Store/DirectoryWatcher.h"

#include <QCoroTask>
#include <QObject>

namespace Keelhaven {

class Tasks;

/// Which plugins Claude Code has, for the screens and for what is offered to agents. Lives on the main loop;
/// files are read on a pool thread, one scan at a time, and only when one of them changed. The collaborators
/// outlive it.
class PluginInventoryStore : public QObject
{
    Q_OBJECT

public:
    /// `claudeDir` is the user's Claude folder, ~/.claude.
    PluginInventoryStore(QString claudeDir, Clock &clock, DirectoryWatchFactory &factory, Tasks &tasks);

    /// Empty before the first scan has ended.
    [[nodiscard]] const PluginInventory &current() const { return m_current; }
    /// What agents may be given: the plugins of `current` that lie on disk, by id, each with its description
    /// and its commands.
    [[nodiscard]] const QList<PluginOption> &options() const { return m_options; }
    [[nodiscard]] QString claudeDir() const { return m_claudeDir; }

    /// Loads once and follows the files from then on.
    void start();
    void stop();

    /// Looks again. During a scan it asks for another look after it.
    void reload();

Q_SIGNALS:
    /// `current` or `options` tells something else than before; another moment of the scan is no news.
    void changed();

private:
    QCoro::Task<> runScans();
    void watchSettings();
    [[nodiscard]] QString settingsFile() const;

    QString m_claudeDir;
    Clock &m_clock;
    DirectoryWatchFactory &m_factory;
    Tasks &m_tasks;
    DirectoryWatcher m_watcher;
    std::unique_ptr<DirectoryWatch> m_settingsWatch;
    Timer m_settingsPending;
    QString m_settingsStamp;   ///< of the settings file as the last scan found it
    FileFootprint m_footprint; ///< of what `m_current` and `m_options` were read from
    PluginInventory m_current;
    QList<PluginOption> m_options;
    bool m_isStarted = false;
    bool m_isScanning = false;
    bool m_scanAgain = false;
};

} // namespace Keelhaven
