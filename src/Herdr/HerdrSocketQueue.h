#pragma once

#include <QMutex>
#include <QThread>
#include <QWaitCondition>
#include <chrono>
#include <deque>
#include <functional>

namespace Keelhaven {

/// The process's one worker thread for blocking socket exchanges. It starts with the first job and is never
/// joined: an exchange may hang for its whole time-out, and quitting must not wait for it.
class HerdrSocketQueue : private QThread
{
public:
    /// Runs `job` after all jobs posted before it. From any thread.
    static void post(std::function<void()> job);

    /// Waits until no job is left, `limit` at most; false when some still are. Not from a job.
    [[nodiscard]] static bool waitForDone(std::chrono::milliseconds limit);

private:
    HerdrSocketQueue();
    [[nodiscard]] static HerdrSocketQueue &shared();
    void run() override;

    QMutex m_mutex;
    QWaitCondition m_arrived;
    QWaitCondition m_done;
    std::deque<std::function<void()>> m_jobs; ///< the first is the one that runs
};

} // namespace Keelhaven
