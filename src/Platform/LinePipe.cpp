#include "Platform/LinePipe.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace Keelhaven {

namespace {

constexpr qsizetype readAtOnce = 64 * 1024;
constexpr int drainRounds = 256;

void closeEnd(int &end)
{
    if (end >= 0)
        ::close(std::exchange(end, -1));
}

} // namespace

LinePipe::LinePipe(qsizetype limit, QObject *parent)
    : QObject(parent)
    , m_limit(limit)
{}

LinePipe::~LinePipe()
{
    close();
}

bool LinePipe::open()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return false;
    m_reading = ends[0];
    m_writing = ends[1];
    ::fcntl(m_reading, F_SETFL, O_NONBLOCK);
    m_notifier = std::make_unique<QSocketNotifier>(m_reading, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] { readable(); });
    return true;
}

void LinePipe::closeWritingEnd()
{
    closeEnd(m_writing);
}

void LinePipe::close()
{
    if (m_notifier) {
        // The notifier may be the one that is being told.
        m_notifier->setEnabled(false);
        m_notifier.release()->deleteLater();
    }
    closeEnd(m_reading);
    closeEnd(m_writing);
}

void LinePipe::readable()
{
    switch (readSome()) {
    case Read::Some:
        split();
        return;
    case Read::Nothing:
        return;
    case Read::End:
        close();
        if (onEnd)
            onEnd();
        return;
    }
}

void LinePipe::drain()
{
    for (int round = 0; round < drainRounds && m_reading >= 0 && readSome() == Read::Some; ++round)
        split();
    close();
}

LinePipe::Read LinePipe::readSome()
{
    const qsizetype held = m_buffer.size();
    m_buffer.resize(held + readAtOnce);
    ssize_t count = 0;
    do
        count = ::read(m_reading, m_buffer.data() + held, readAtOnce);
    while (count < 0 && errno == EINTR);
    m_buffer.resize(held + std::max<ssize_t>(count, 0));
    if (count > 0)
        return Read::Some;
    return count < 0 && errno == EAGAIN ? Read::Nothing : Read::End;
}

void LinePipe::split()
{
    qsizetype from = 0;
    while (true) {
        const qsizetype end = m_buffer.indexOf('\n', std::max(from, m_scanned));
        const qsizetype length = (end < 0 ? m_buffer.size() : end) - from;
        if (length > m_limit) {
            m_buffer.clear();
            m_scanned = 0;
            close();
            if (onOverflow)
                onOverflow();
            return;
        }
        if (end < 0)
            break;
        const QByteArray line = m_buffer.sliced(from, length);
        from = end + 1;
        if (onLine)
            onLine(line);
        if (m_reading < 0)
            return;
    }
    m_buffer.remove(0, from);
    m_scanned = m_buffer.size();
}

} // namespace Keelhaven
