#include "App/ControlServer.h"

#include <QSocketNotifier>
#include <cerrno>
#include <sys/socket.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using ControlAddress::Descriptor;

namespace {

constexpr int acceptsAtOnce = 16;
constexpr Span descriptorPause = std::chrono::seconds(1);

} // namespace

ControlServer::ControlServer(int listener, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_listener(listener)
    , m_clock(clock)
    , m_readable(std::make_unique<QSocketNotifier>(listener, QSocketNotifier::Read))
{
    connect(m_readable.get(), &QSocketNotifier::activated, this, &ControlServer::acceptSome);
}

ControlServer::~ControlServer() = default;

void ControlServer::acceptSome()
{
    for (int i = 0; i < acceptsAtOnce; ++i) {
        Descriptor caller(::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!caller) {
            // Without a free descriptor the listener stays readable and would spin the loop.
            if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
                m_readable->setEnabled(false);
                m_pause = m_clock.after(descriptorPause, [this] { m_readable->setEnabled(true); });
            }
            return;
        }
        if (!ControlAddress::peerIsSelf(caller.get()))
            continue;
        auto *connection = new ControlConnection(std::move(caller), m_clock, this);
        ++m_count;
        connect(connection, &ControlConnection::closed, this, [this] { --m_count; });
        if (m_count > connectionLimit) {
            connection->writeError("keelhaven: too many commands at once; try again.\n");
            connection->finish(1);
            continue;
        }
        connect(connection, &ControlConnection::requested, this,
                [this, connection](const ControlCaller &request) { Q_EMIT requested(connection, request); });
    }
}

} // namespace Keelhaven
