#pragma once

#include <QMutex>
#include <QThread>
#include <QWaitCondition>
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

private:
    HerdrSocketQueue();
    void run() override;

    QMutex m_mutex;
    QWaitCondition m_arrived;
    std::deque<std::function<void()>> m_jobs;
};

} // namespace Keelhaven
