#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Contract/Models/Snapshot.h"
#include "Platform/Tasks.h"
#include "Store/DirectoryWatcher.h"

#include <QObject>
#include <vector>

namespace Keelhaven {

class SharedFileReader;

/// Turns changes of the shared files into snapshots for any number of subscribers. Lives on the main loop;
/// large reads run on a pool thread, one at a time.
class SharedFileHub : public QObject
{
    Q_OBJECT

public:
    using Callback = std::function<void(const Snapshot &)>;

    /// Keeps a subscriber; ending it (destroying, assigning) ends the calls. May outlive the hub.
    class Subscription
    {
    public:
        Subscription() = default;

    private:
        friend class SharedFileHub;
        explicit Subscription(std::shared_ptr<const Callback> callback)
            : m_callback(std::move(callback))
        {}
        Subscription(const Subscription &) = delete;
        Subscription &operator=(const Subscription &) = delete;

    public:
        Subscription(Subscription &&) = default;
        Subscription &operator=(Subscription &&) = default;

    private:
        std::shared_ptr<const Callback> m_callback;
    };

    /// The clock, the factory and the tasks outlive the hub.
    SharedFileHub(const KeelhavenPaths &paths, Clock &clock, DirectoryWatchFactory &factory, Tasks &tasks);
    ~SharedFileHub() override;

    /// The last snapshot; an empty one before the first load.
    [[nodiscard]] const Snapshot &current() const { return m_latest; }
    [[nodiscard]] bool hasLoaded() const { return m_hasLoaded; }

    /// Calls `callback` with the last snapshot, inside this call, once there is one, then with each later
    /// one.
    [[nodiscard]] Subscription snapshots(Callback callback);

    /// Loads once and watches from then on.
    void start();
    void stop();

    /// Looks at the files and sends a snapshot if any has changed. During a reload it asks for another one
    /// after it.
    void reload();

private:
    QCoro::Task<> runReloads();
    void publish(Snapshot snapshot);

    Clock &m_clock;
    Tasks &m_tasks;
    DirectoryWatcher m_watcher;
    std::shared_ptr<SharedFileReader> m_reader; ///< shared with the pool thread that reads
    std::vector<std::weak_ptr<const Callback>> m_subscribers;
    Snapshot m_latest;
    bool m_hasLoaded = false;
    bool m_isReloading = false;
    bool m_reloadAgain = false;
};

} // namespace Keelhaven
