#pragma once

#include <QThreadPool>

namespace Keelhaven {

/// While it lives, work that is handed to the pool waits.
class HeldPool
{
public:
    HeldPool()
    {
        // A pool without any thread starts one for the first work whatever is reserved.
        m_pool.start([] {});
        m_pool.waitForDone();
        for (int i = 0; i < m_threads; ++i)
            m_pool.reserveThread();
    }
    ~HeldPool()
    {
        for (int i = 0; i < m_threads; ++i)
            m_pool.releaseThread();
    }
    Q_DISABLE_COPY_MOVE(HeldPool)

private:
    QThreadPool &m_pool = *QThreadPool::globalInstance();
    int m_threads = m_pool.maxThreadCount();
};

} // namespace Keelhaven
