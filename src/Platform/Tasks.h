#pragma once

#include "Platform/OneShot.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QThreadPool>
#include <functional>

namespace Keelhaven {

/// Starts fire-and-forget coroutines. It is the only place that may drop a QCoro::Task: an exception that
/// escapes one is written to the system log under `name` instead of vanishing. The coroutine guards its own
/// owner (QPointer).
class Tasks
{
public:
    Tasks();

    /// Takes over a task that has already started. `name` says in the log what failed.
    void spawn(QCoro::Task<> task, const char *name);

    /// How many spawned tasks have not ended; tests drain on it.
    [[nodiscard]] int running() const { return *m_running; }

private:
    std::shared_ptr<int> m_running;
};

/// Runs `work` on a pool thread and gives its result back on the calling thread's loop (the main loop).
/// `work` owns all it touches: values only.
template <typename F>
QCoro::Task<std::invoke_result_t<F>> onPool(F work)
{
    using R = std::invoke_result_t<F>;
    OneShot<R> done;
    // The worker must hold no last reference to the shared state: it is counted, but its waiter is not
    // guarded.
    auto *relay = new QObject;
    QThreadPool::globalInstance()->start([relay, done, work = std::move(work)]() mutable {
        auto result = std::make_shared<R>(work());
        QMetaObject::invokeMethod(
            relay,
            [relay, done = std::move(done), result] {
                relay->deleteLater();
                done.resolve(std::move(*result));
            },
            Qt::QueuedConnection);
    });
    auto result = co_await done;
    co_return result;
}

} // namespace Keelhaven
