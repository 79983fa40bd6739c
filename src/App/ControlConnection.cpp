#include "App/ControlConnection.h"

#include <QSocketNotifier>
#include <algorithm>
#include <cerrno>
#include <sys/socket.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using ControlWire::FrameType;

namespace {

constexpr std::size_t sendSize = 256 * 1024; ///< about what a socket's buffer takes

} // namespace

ControlConnection::ControlConnection(ControlAddress::Descriptor connection, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_connection(std::move(connection))
    , m_clock(clock)
    , m_readable(std::make_unique<QSocketNotifier>(m_connection.get(), QSocketNotifier::Read))
    , m_writable(std::make_unique<QSocketNotifier>(m_connection.get(), QSocketNotifier::Write))
{
    m_writable->setEnabled(false);
    connect(m_readable.get(), &QSocketNotifier::activated, this, &ControlConnection::readSome);
    connect(m_writable.get(), &QSocketNotifier::activated, this, &ControlConnection::writeSome);
    m_deadline = m_clock.after(requestLimit, [this] { close(); });
}

ControlConnection::~ControlConnection() = default;

void ControlConnection::readSome()
{
    // One piece at each turn: a flooding caller waits for its next turn like everybody else.
    char bytes[ControlWire::maximumChunk];
    const ssize_t count = ::recv(m_connection.get(), bytes, sizeof bytes, MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0) {
        close();
        return;
    }
    if (m_isFinished)
        return; // read and thrown away, so that the caller comes to read its reply
    m_reader.append({bytes, static_cast<std::size_t>(count)});
    while (!m_isClosed && !m_isFinished) {
        const auto frame = m_reader.next();
        if (!frame)
            break;
        take(*frame);
    }
    if (!m_isFinished && m_reader.fault() == ControlWire::FrameReader::Fault::TooLong)
        refuse(u"The command line is too long."_s, 2);
    else if (!m_isFinished && m_reader.fault() != ControlWire::FrameReader::Fault::None)
        close();
}

void ControlConnection::take(const ControlWire::Frame &frame)
{
    if (frame.type == FrameType::Request && m_phase == Phase::Request)
        takeRequest(frame.payload);
    else if (frame.type == FrameType::Input && m_phase == Phase::Input)
        takeInput(frame.payload);
    else
        close();
}

void ControlConnection::takeRequest(const std::string &payload)
{
    const auto decoded = ControlWire::decodeRequest(payload);
    if (const auto *error = std::get_if<ControlWire::RequestError>(&decoded)) {
        if (*error == ControlWire::RequestError::OtherVersion)
            refuse(u"The running Keelhaven is of another version than this command; restart it."_s, 1);
        else
            close();
        return;
    }
    m_deadline.reset();
    m_phase = Phase::Idle;
    const auto &request = std::get<ControlWire::Request>(decoded);
    ControlCaller caller;
    for (const auto &argument : request.arguments)
        caller.arguments.append(QString::fromStdString(argument));
    caller.workingDirectory = QString::fromStdString(request.workingDirectory);
    caller.columns = request.columns;
    caller.inputIsTerminal = request.inputIsTerminal;
    enqueue(FrameType::Accepted, {});
    if (!m_isClosed)
        Q_EMIT requested(caller);
}

void ControlConnection::takeInput(const std::string &payload)
{
    if (payload.empty()) {
        m_deadline.reset();
        m_phase = Phase::Idle;
        Q_EMIT inputArrived(std::exchange(m_input, {}));
        return;
    }
    if (static_cast<std::size_t>(m_input.size()) + payload.size() > ControlWire::maximumInput) {
        refuse(u"Standard input is longer than 16 MiB."_s, 1);
        return;
    }
    m_input.append(payload.data(), static_cast<qsizetype>(payload.size()));
    m_deadline = m_clock.after(inputLimit, [this] { close(); });
}

void ControlConnection::refuse(const QString &sentence, int exitStatus)
{
    writeError(QString(u"keelhaven: "_s + sentence + u'\n').toUtf8());
    finish(exitStatus);
}

void ControlConnection::writeOutput(const QByteArray &text)
{
    if (!text.isEmpty())
        enqueue(FrameType::Output, text);
}

void ControlConnection::writePieces(Pieces pieces)
{
    const QByteArray first = pieces();
    if (!first.isEmpty())
        enqueue(FrameType::Output, first, std::move(pieces));
}

void ControlConnection::writeError(const QByteArray &text)
{
    if (!text.isEmpty())
        enqueue(FrameType::Error, text);
}

void ControlConnection::stream(const QByteArray &text)
{
    if (m_unframed + static_cast<qsizetype>(m_frames.size() - m_sent) > backlogLimit)
        close();
    else
        writeOutput(text);
}

void ControlConnection::requestInput()
{
    m_phase = Phase::Input;
    m_deadline = m_clock.after(inputLimit, [this] { close(); });
    enqueue(FrameType::NeedInput, {});
}

void ControlConnection::finish(int exitStatus)
{
    if (m_isFinished)
        return;
    endWith(FrameType::Exit, QByteArray(1, static_cast<char>(exitStatus)));
}

bool ControlConnection::become(const QStringList &words)
{
    QByteArray payload;
    for (const QString &word : words)
        payload += word.toUtf8() + '\0';
    if (payload.isEmpty() || static_cast<std::size_t>(payload.size()) > ControlWire::maximumChunk)
        return false;
    if (!m_isFinished)
        endWith(FrameType::Become, payload);
    return true;
}

void ControlConnection::endWith(FrameType type, const QByteArray &payload)
{
    m_isFinished = true;
    m_deadline.reset();
    enqueue(type, payload);
}

void ControlConnection::enqueue(FrameType type, const QByteArray &payload, Pieces more)
{
    m_waiting.push_back({.type = type, .payload = payload, .more = std::move(more)});
    m_unframed += payload.size();
    writeSome();
}

void ControlConnection::frameSome()
{
    m_frames.clear();
    m_sent = 0;
    while (!m_waiting.empty() && m_frames.size() < sendSize) {
        auto &next = m_waiting.front();
        const qsizetype size =
            std::min<qsizetype>(next.payload.size() - next.framed, ControlWire::maximumChunk);
        ControlWire::appendFrame(m_frames, next.type,
                                 {next.payload.constData() + next.framed, static_cast<std::size_t>(size)});
        next.framed += size;
        m_unframed -= size;
        if (next.framed < next.payload.size())
            continue;
        next.payload = next.more ? next.more() : QByteArray();
        next.framed = 0;
        m_unframed += next.payload.size();
        if (next.payload.isEmpty())
            m_waiting.pop_front();
    }
}

void ControlConnection::writeSome()
{
    if (m_isClosed)
        return;
    for (;;) {
        if (m_sent == m_frames.size())
            frameSome();
        if (m_frames.empty())
            break;
        const ssize_t count = ::send(m_connection.get(), m_frames.data() + m_sent, m_frames.size() - m_sent,
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN) {
            m_writable->setEnabled(true);
            if (!m_drain)
                m_drain = m_clock.after(drainLimit, [this] { close(); });
            return;
        }
        if (count <= 0) {
            close();
            return;
        }
        m_sent += static_cast<std::size_t>(count);
        m_drain.reset();
    }
    if (m_isFinished)
        close();
    else
        m_writable->setEnabled(false);
}

void ControlConnection::close()
{
    if (m_isClosed)
        return;
    m_isClosed = true;
    m_isFinished = true;
    m_deadline.reset();
    m_drain.reset();
    m_readable->setEnabled(false);
    m_writable->setEnabled(false);
    m_connection = {};
    Q_EMIT closed();
    deleteLater();
}

} // namespace Keelhaven
