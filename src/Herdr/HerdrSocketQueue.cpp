#include "Herdr/HerdrSocketQueue.h"

#include <QDeadlineTimer>
#include <algorithm>
#include <sys/socket.h>

namespace Keelhaven {

namespace {

constexpr auto brokenOffLimit = std::chrono::milliseconds(500);

} // namespace

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

bool HerdrSocketQueue::waitUntilEmpty(std::chrono::milliseconds limit)
{
    const QDeadlineTimer deadline(limit);
    while (!m_jobs.empty()) {
        if (!m_done.wait(&m_mutex, deadline))
            break;
    }
    return m_jobs.empty();
}

bool HerdrSocketQueue::finish(std::chrono::milliseconds limit)
{
    auto &queue = shared();
    const QMutexLocker lock(&queue.m_mutex);
    if (queue.waitUntilEmpty(limit))
        return true;
    queue.m_brokenOff = queue.m_jobs.size();
    if (queue.m_socket >= 0)
        ::shutdown(queue.m_socket, SHUT_RDWR);
    // One that hangs in its connect() hears nothing.
    static_cast<void>(queue.waitUntilEmpty(brokenOffLimit));
    return false;
}

HerdrSocketQueue::Exchange::Exchange(int socket)
    : m_queue(QThread::currentThread() == &shared() ? &shared() : nullptr)
{
    if (!m_queue)
        return;
    const QMutexLocker lock(&m_queue->m_mutex);
    m_queue->m_socket = socket;
}

HerdrSocketQueue::Exchange::~Exchange()
{
    if (!m_queue)
        return;
    const QMutexLocker lock(&m_queue->m_mutex);
    m_queue->m_socket = -1;
}

bool HerdrSocketQueue::Exchange::isBrokenOff() const
{
    if (!m_queue)
        return false;
    const QMutexLocker lock(&m_queue->m_mutex);
    return m_queue->m_brokenOff > 0;
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
        m_brokenOff -= std::min<size_t>(m_brokenOff, 1);
        if (m_jobs.empty())
            m_done.wakeAll();
    }
}

} // namespace Keelhaven
