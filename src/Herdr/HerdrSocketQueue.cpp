#include "Herdr/HerdrSocketQueue.h"

#include <QDeadlineTimer>

namespace Keelhaven {

HerdrSocketQueue::HerdrSocketQueue()
{
    setObjectName(QStringLiteral("com.keelhaven.herdr.socket"));
}

HerdrSocketQueue &HerdrSocketQueue::shared()
{
    static auto *const queue = new HerdrSocketQueue;
    return *queue;
}

void HerdrSocketQueue::post(std::function<void()> job)
{
    auto &queue = shared();
    const QMutexLocker lock(&queue.m_mutex);
    queue.m_jobs.push_back(std::move(job));
    if (!queue.isRunning())
        queue.start(LowPriority);
    queue.m_arrived.wakeOne();
}

bool HerdrSocketQueue::waitForDone(std::chrono::milliseconds limit)
{
    auto &queue = shared();
    const QDeadlineTimer deadline(limit);
    const QMutexLocker lock(&queue.m_mutex);
    while (!queue.m_jobs.empty()) {
        if (!queue.m_done.wait(&queue.m_mutex, deadline))
            break;
    }
    return queue.m_jobs.empty();
}

void HerdrSocketQueue::run()
{
    QMutexLocker lock(&m_mutex);
    while (true) {
        while (m_jobs.empty())
            m_arrived.wait(&m_mutex);
        auto job = std::move(m_jobs.front());
        lock.unlock();
        job();
        // What it holds goes before anybody learns that it is done.
        job = nullptr;
        lock.relock();
        m_jobs.pop_front();
        if (m_jobs.empty())
            m_done.wakeAll();
    }
}

} // namespace Keelhaven
