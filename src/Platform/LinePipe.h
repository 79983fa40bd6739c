#pragma once

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace Keelhaven {

/// The reading end of a pipe whose other end a child process gets. Splits what comes into lines, a bounded
/// piece at each turn of the loop. Its callbacks must not destroy it. For QtChildProcess.
class LinePipe : public QObject
{
public:
    /// `limit` is the longest line in bytes, its LF not counted.
    LinePipe(qsizetype limit, QObject *parent);
    ~LinePipe() override;

    /// One line without its LF.
    std::function<void(const QByteArray &line)> onLine;
    /// The last writer closed the pipe.
    std::function<void()> onEnd;
    /// A line passed the limit. Nothing more is read.
    std::function<void()> onOverflow;

    /// False when the system has no pipe to give.
    [[nodiscard]] bool open();
    /// The end for the child; closed on exec of any other.
    [[nodiscard]] int writingEnd() const { return m_writing; }
    /// Forgets the child's end, once the child has it.
    void closeWritingEnd();
    /// Reads what lies in the pipe, up to 16 MB, and closes it: the child is gone. Others that hold the
    /// writing end are no longer listened to.
    void drain();
    void close();

private:
    enum class Read { Some, Nothing, End };

    [[nodiscard]] Read readSome();
    void split();
    void readable();

    qsizetype m_limit;
    int m_reading = -1;
    int m_writing = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QByteArray m_buffer;
    qsizetype m_scanned = 0; ///< bytes of m_buffer known to hold no LF
};

} // namespace Keelhaven
