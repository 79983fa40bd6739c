#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <functional>

namespace Keelhaven {

/// Cuts a stream of bytes into lines; a line comes out once its LF has arrived.
class LineBuffer
{
public:
    /// Calls `line` for each line that `bytes` completes, without the LF. The view is good during the call
    /// only.
    void add(QByteArrayView bytes, const std::function<void(QByteArrayView)> &line);

    /// The bytes of the line that is not complete yet.
    [[nodiscard]] const QByteArray &partial() const { return m_partial; }
    void clear() { m_partial.clear(); }

private:
    QByteArray m_partial;
};

} // namespace Keelhaven
