#include "Herdr/HerdrSocketQueue.h"

namespace Keelhaven {

HerdrSocketQueue::HerdrSocketQueue()
{
    setObjectName(QStringLiteral("com.keelhaven.herdr.socket"));
    start(LowPriority);
}

void HerdrSocketQueue::post(std::function<void()> job)
{
    static auto *const queue = new HerdrSocketQueue;
    const QMutexLocker lock(&queue->m_mutex);
    queue->m_jobs.push_back(std::move(job));
    queue->m_arrived.wakeOne();
}

void HerdrSocketQueue::run()
{
    while (true) {
        std::function<void()> job;
        {
            const QMutexLocker lock(&m_mutex);
            while (m_jobs.empty())
                m_arrived.wait(&m_mutex);
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job();
    }
}

} // namespace Keelhaven
