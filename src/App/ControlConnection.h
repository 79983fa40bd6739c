#pragma once

#include "App/ControlAddress.h"
#include "App/ControlWire.h"
#include "Platform/Clock.h"

#include <QObject>
#include <QStringList>
#include <deque>
#include <functional>

class QSocketNotifier;

namespace Keelhaven {

/// What a command was called with, as the commands see it.
struct ControlCaller
{
    QStringList arguments;
    QString workingDirectory; ///< absolute, or empty when it no longer exists
    int columns = 0;          ///< width of the terminal; 0 when standard output is none
    bool inputIsTerminal = false;

    [[nodiscard]] bool isTerminal() const { return columns > 0; }
};

/// One command that called. It reads and writes without ever blocking the loop: a caller that stalls, floods
/// or talks nonsense only loses its own connection. Deletes itself when the connection ends.
class ControlConnection : public QObject
{
    Q_OBJECT

public:
    /// Gives the next piece of a text; an empty one at its end.
    using Pieces = std::function<QByteArray()>;

    static constexpr Span requestLimit = std::chrono::seconds(10); ///< for a whole request to arrive
    static constexpr Span drainLimit = std::chrono::seconds(30);   ///< for a caller to take any of its output
    static constexpr Span inputLimit = std::chrono::minutes(10);   ///< between two pieces of standard input
    static constexpr qsizetype backlogLimit = 4 * 1024 * 1024;     ///< unread output of a stream

    ControlConnection(ControlAddress::Descriptor connection, Clock &clock, QObject *parent);
    ~ControlConnection() override;

    void writeOutput(const QByteArray &text);
    /// Output of any length, made as the caller reads it.
    void writePieces(Pieces pieces);
    void writeError(const QByteArray &text);
    /// Output of a stream without end: a caller that has fallen too far behind is dropped.
    void stream(const QByteArray &text);
    /// Asks for standard input; inputArrived follows.
    void requestInput();
    /// Ends the conversation; what was written before still arrives.
    void finish(int exitStatus);
    /// Ends the conversation by having the caller's command become a program, in the caller's own terminal.
    /// False when the words do not fit a frame; the conversation then goes on.
    [[nodiscard]] bool become(const QStringList &words);
    [[nodiscard]] bool isFinished() const { return m_isFinished; }

Q_SIGNALS:
    /// The request is whole; once.
    void requested(const Keelhaven::ControlCaller &caller);
    /// All of standard input; once, after requestInput.
    void inputArrived(const QByteArray &input);
    /// The connection is gone; the object goes at the next turn of the loop.
    void closed();

private:
    enum class Phase { Request, Idle, Input };

    /// What waits to be put into frames.
    struct Waiting
    {
        ControlWire::FrameType type;
        QByteArray payload;
        Pieces more;          ///< what the payload is only the first piece of
        qsizetype framed = 0; ///< bytes of the payload that are in frames already
    };

    void readSome();
    void take(const ControlWire::Frame &frame);
    void takeRequest(const std::string &payload);
    void takeInput(const std::string &payload);
    void refuse(const QString &sentence, int exitStatus);
    void endWith(ControlWire::FrameType type, const QByteArray &payload);
    /// Has this sent behind what waits already.
    void enqueue(ControlWire::FrameType type, const QByteArray &payload, Pieces more = {});
    /// Puts what waits into frames, up to what the socket takes in one go.
    void frameSome();
    void writeSome();
    void close();

    ControlAddress::Descriptor m_connection;
    Clock &m_clock;
    std::unique_ptr<QSocketNotifier> m_readable;
    std::unique_ptr<QSocketNotifier> m_writable;
    Timer m_deadline; ///< of the request or of standard input
    Timer m_drain;
    ControlWire::FrameReader m_reader;
    std::deque<Waiting> m_waiting;
    qsizetype m_unframed = 0; ///< bytes in m_waiting that are in no frame yet
    std::string m_frames;
    std::size_t m_sent = 0; ///< bytes of m_frames that are gone
    QByteArray m_input;
    Phase m_phase = Phase::Request;
    bool m_isFinished = false;
    bool m_isClosed = false;
};

} // namespace Keelhaven
