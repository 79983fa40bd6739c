#include "Store/SharedFileHub.h"

#include "Store/SharedFileReader.h"

#include <QPointer>

namespace Keelhaven {

SharedFileHub::SharedFileHub(const KeelhavenPaths &paths, Clock &clock, DirectoryWatchFactory &factory,
                             Tasks &tasks)
    : m_clock(clock)
    , m_tasks(tasks)
    , m_watcher(paths.cacheDir, clock, factory, [this] { reload(); })
    , m_reader(std::make_shared<SharedFileReader>(paths))
    , m_latest(Snapshot::empty(clock.now()))
{}

SharedFileHub::~SharedFileHub() = default;

SharedFileHub::Subscription SharedFileHub::snapshots(Callback callback)
{
    const auto kept = std::make_shared<const Callback>(std::move(callback));
    m_subscribers.push_back(kept);
    if (m_hasLoaded)
        (*kept)(m_latest);
    return Subscription(kept);
}

void SharedFileHub::start()
{
    reload();
    m_watcher.start();
}

void SharedFileHub::stop()
{
    m_watcher.stop();
}

void SharedFileHub::reload()
{
    if (m_isReloading)
        m_reloadAgain = true;
    else
        m_tasks.spawn(runReloads(), "SharedFileHub::reload");
}

QCoro::Task<> SharedFileHub::runReloads()
{
    const QPointer<SharedFileHub> self(this);
    m_isReloading = true;
    do {
        m_reloadAgain = false;
        const auto reader = m_reader;
        const Date now = m_clock.now();
        std::optional<Snapshot> snapshot;
        if (reader->isLight()) {
            snapshot = reader->refresh(now);
        } else {
            auto work = [reader, now] { return reader->refresh(now); };
            snapshot = co_await onPool(std::move(work));
            if (!self)
                co_return;
        }
        if (snapshot)
            publish(*std::move(snapshot));
        if (!self)
            co_return;
    } while (m_reloadAgain);
    m_isReloading = false;
}

void SharedFileHub::publish(Snapshot snapshot)
{
    const QPointer<SharedFileHub> self(this);
    m_latest = std::move(snapshot);
    m_hasLoaded = true;
    std::erase_if(m_subscribers, [](const auto &subscriber) { return subscriber.expired(); });
    // A callback may subscribe, end subscriptions, its own too, and destroy the hub.
    const auto subscribers = m_subscribers;
    const Snapshot sent = m_latest;
    for (const auto &subscriber : subscribers) {
        if (const auto callback = subscriber.lock(); callback && self)
            (*callback)(sent);
    }
}

} // namespace Keelhaven
