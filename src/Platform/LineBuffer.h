#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <functional>

namespace Keelhaven {

/// Cuts a stream of bytes into lines; a line comes out once its LF has arrived. A line longer than the limit
/// is dropped as a whole, so that a file without line ends cannot fill the memory.
class LineBuffer
{
public:
    LineBuffer() = default;
    explicit LineBuffer(qsizetype longestLine)
        : m_longestLine(longestLine)
    {}

    /// Calls `line` for each line that `bytes` completes, without the LF. The view is good during the call
    /// only.
    void add(QByteArrayView bytes, const std::function<void(QByteArrayView)> &line);

    /// The bytes of the line that is not complete yet.
    [[nodiscard]] const QByteArray &partial() const { return m_partial; }
    void clear();

private:
    void keep(QByteArrayView bytes);

    qsizetype m_longestLine = 64 << 20;
    QByteArray m_partial;
    bool m_isDropping = false; ///< up to the next LF
};

} // namespace Keelhaven
