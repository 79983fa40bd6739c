#include "SessionHost/ControlParser.h"

namespace Keelhaven {

QList<ControlParser::Reply> ControlParser::feed(const QByteArray &bytes)
{
    QList<Reply> replies;
    // What lies before `bytes` holds no line feed: a long line that comes in pieces is searched once.
    qsizetype search = m_rest.size();
    m_rest.append(bytes);
    qsizetype start = 0;
    for (qsizetype end = m_rest.indexOf('\n', search); end >= 0; end = m_rest.indexOf('\n', start)) {
        takeLine(QByteArrayView(m_rest).sliced(start, end - start), replies);
        start = end + 1;
    }
    m_rest.remove(0, start);
    return replies;
}

void ControlParser::takeLine(QByteArrayView line, QList<Reply> &replies)
{
    if (m_open.isEmpty()) {
        if (line.startsWith("%begin "))
            m_open = line.sliced(7).toByteArray();
        else
            ++m_notifications;
        return;
    }
    const bool ended = line.startsWith("%end ") && line.sliced(5) == m_open;
    const bool failed = line.startsWith("%error ") && line.sliced(7) == m_open;
    if (!ended && !failed) {
        m_body.append(line).append('\n');
        return;
    }
    replies.append(Reply{m_open.endsWith(" 1"), ended, std::exchange(m_body, {})});
    m_open.clear();
}

} // namespace Keelhaven
