#include "Platform/LineBuffer.h"

namespace Keelhaven {

void LineBuffer::add(QByteArrayView bytes, const std::function<void(QByteArrayView)> &line)
{
    for (qsizetype end; (end = bytes.indexOf('\n')) >= 0; bytes = bytes.sliced(end + 1)) {
        const bool isWhole = m_partial.isEmpty() && !m_isDropping && end <= m_longestLine;
        if (isWhole) {
            line(bytes.first(end));
            continue;
        }
        keep(bytes.first(end));
        const QByteArray whole = std::exchange(m_partial, {});
        if (!std::exchange(m_isDropping, false))
            line(whole);
    }
    keep(bytes);
}

void LineBuffer::clear()
{
    m_partial.clear();
    m_isDropping = false;
}

void LineBuffer::keep(QByteArrayView bytes)
{
    m_isDropping = m_isDropping || m_partial.size() + bytes.size() > m_longestLine;
    if (m_isDropping)
        m_partial = QByteArray();
    else
        m_partial.append(bytes);
}

} // namespace Keelhaven
