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

    /// For quit: waits until no job is left. After `limit` it breaks off the exchanges of those that are, so
    /// that whoever waits for them hears of it, and gives false. Not from a job.
    [[nodiscard]] static bool finish(std::chrono::milliseconds limit);

    /// Names the socket of an exchange while it lasts, so that it can be broken off. Outside of a job it does
    /// nothing.
    class Exchange
    {
    public:
        explicit Exchange(int socket);
        ~Exchange();
        Q_DISABLE_COPY_MOVE(Exchange)

        [[nodiscard]] bool isBrokenOff() const;

    private:
        HerdrSocketQueue *m_queue; ///< null outside of a job
    };

private:
    HerdrSocketQueue();
    [[nodiscard]] static HerdrSocketQueue &shared();
    [[nodiscard]] bool waitUntilEmpty(std::chrono::milliseconds limit);
    void run() override;

    QMutex m_mutex;
    QWaitCondition m_arrived;
    QWaitCondition m_done;
    std::deque<std::function<void()>> m_jobs; ///< the first is the one that runs
    size_t m_brokenOff = 0; ///< how many of them, from the first, may wait for nobody any more
    int m_socket = -1;      ///< of the exchange that runs
};

} // namespace Keelhaven
