#pragma once

#include <QByteArray>
#include <QList>

namespace Keelhaven {

/// Reads the byte stream of a tmux control-mode client. A reply stands between %begin and the %end or %error
/// that repeats its three fields; its lines may themselves begin with "%". Notifications are passed over.
class ControlParser
{
public:
    struct Reply
    {
        bool isOwn =
            false; ///< answers a command of this client, not the attach itself or a key table's command
        bool succeeded = false;
        QByteArray body; ///< lines with their line feeds, or tmux's error text
        bool operator==(const Reply &) const = default;
    };

    /// Takes the bytes and gives the replies that ended in them, in order.
    [[nodiscard]] QList<Reply> feed(const QByteArray &bytes);

    /// How many notifications came so far.
    [[nodiscard]] quint64 notificationCount() const { return m_notifications; }

private:
    void takeLine(QByteArrayView line, QList<Reply> &replies);

    QByteArray m_rest; ///< a line that has not ended
    QByteArray m_body;
    QByteArray m_open; ///< the fields of the open reply: "time number flags"; empty between replies
    quint64 m_notifications = 0;
};

} // namespace Keelhaven
