#pragma once

#include "App/ControlConnection.h"

namespace Keelhaven {

/// Takes calls of the `keelhaven` command on the control socket. Callers of other users are turned away
/// without an answer. On the main loop; clock and listener outlive it.
class ControlServer : public QObject
{
    Q_OBJECT

public:
    static constexpr int connectionLimit = 64; ///< open conversations; further callers are told to come again

    /// `listener` is a non-blocking listening socket.
    ControlServer(int listener, Clock &clock, QObject *parent = nullptr);
    ~ControlServer() override;

    [[nodiscard]] int connectionCount() const { return m_count; }

Q_SIGNALS:
    /// A command has called. The connection lives until it is finished or its caller leaves: hold it by
    /// QPointer.
    void requested(Keelhaven::ControlConnection *connection, const Keelhaven::ControlCaller &caller);

private:
    void acceptSome();

    int m_listener;
    Clock &m_clock;
    std::unique_ptr<QSocketNotifier> m_readable;
    Timer m_pause; ///< running while the process has no descriptor left for a caller
    int m_count = 0;
};

} // namespace Keelhaven
