#include "Store/LineBuffer.h"

namespace Keelhaven {

void LineBuffer::add(QByteArrayView bytes, const std::function<void(QByteArrayView)> &line)
{
    for (qsizetype end; (end = bytes.indexOf('\n')) >= 0; bytes = bytes.sliced(end + 1)) {
        if (m_partial.isEmpty()) {
            line(bytes.first(end));
            continue;
        }
        m_partial.append(bytes.first(end));
        const QByteArray whole = std::exchange(m_partial, {});
        line(whole);
    }
    m_partial.append(bytes);
}

} // namespace Keelhaven
