#pragma once

#include "Herdr/Wire/HerdrEnvelope.h"
#include "Platform/Clock.h"
#include "Platform/OneShot.h"
#include "Platform/Result.h"
#include "SessionHost/ControlParser.h"

#include <QByteArrayList>
#include <QCoroTask>
#include <QObject>
#include <deque>
#include <sys/types.h>

class QProcess;

namespace Keelhaven {

/// An answer of the host, or the error object that goes to the client in its place.
template <typename T>
using HostResult = Result<T, HerdrFailure>;

/// What a command printed. A type of its own: a Result of plain QByteArray, which a null pointer converts to,
/// cannot be the value of a coroutine.
class TmuxOutput : public QByteArray
{
public:
    explicit TmuxOutput(const QByteArray &bytes)
        : QByteArray(bytes)
    {}
};

/// The private tmux server and the one control-mode connection that carries every command to it. tmux is
/// spawned only to start the server and to connect; the server outlives this object. No user configuration is
/// read.
class TmuxControl : public QObject
{
    Q_OBJECT

public:
    struct Setup
    {
        QString socketPath;
        mode_t paneMask =
            022; ///< umask of what runs in the panes; this process has a narrower one of its own
    };

    /// `clock` outlives it.
    TmuxControl(Setup setup, Clock &clock);
    ~TmuxControl() override;

    /// Connects when there is no connection, starting the server when there is none. Calls that come
    /// meanwhile wait for the same attempt.
    [[nodiscard]] QCoro::Task<HostResult<void>> open();

    /// Runs one command; gives its output. The error has the code "terminal_error" and tmux's own text, or
    /// "terminal_unavailable" when the connection ends first. Several calls without a wait between them are
    /// carried in order.
    [[nodiscard]] QCoro::Task<HostResult<TmuxOutput>> run(QByteArrayList words);

    /// Six hexadecimal characters, drawn when the tmux server was started: ids of tmux start over with a new
    /// server, this tells them apart. Empty before the first open().
    [[nodiscard]] QByteArray epoch() const { return m_epoch; }

    /// Counts connections; whoever keeps a copy of what tmux holds reads it again when this has changed.
    [[nodiscard]] int generation() const { return m_generation; }

    /// Counts what may have changed something in tmux: commands that were sent and that do not only ask, and
    /// what tmux told unasked. tmux tells of windows that come or go; that a person splits one it does not
    /// tell.
    [[nodiscard]] quint64 changes() const { return m_changes; }

    /// The session that keeps the connection alive. It is no workspace. "$0"
    [[nodiscard]] QByteArray homeSession() const { return m_homeSession; }

    /// Process number of the tmux server.
    [[nodiscard]] pid_t serverProcess() const { return m_serverProcess; }

    [[nodiscard]] QString socketPath() const { return m_setup.socketPath; }

    /// Ends the connection; every command under way fails. The tmux server and its panes stay.
    void close();

    /// Name of the home session.
    static constexpr const char *homeName = "keelhaven-home";

private:
    using Outcome = HostResult<TmuxOutput>;

    QCoro::Task<HostResult<void>> connectNow();
    QCoro::Task<bool> attach();
    QCoro::Task<HostResult<void>> startServer();
    QCoro::Task<HostResult<void>> configure();
    QCoro::Task<Outcome> send(QByteArrayList words);
    void readOutput();
    void watchReplies();
    void drop(const QString &reason);

    Setup m_setup;
    Clock &m_clock;
    std::unique_ptr<QProcess> m_process;
    ControlParser m_parser;
    std::deque<OneShot<Outcome>> m_pending;
    std::optional<OneShot<bool>> m_attached;
    std::vector<OneShot<bool>> m_waiters; ///< callers of open() while one is connecting
    HostResult<void> m_lastOpen;
    QByteArray m_epoch;
    QByteArray m_homeSession;
    pid_t m_serverProcess = 0;
    Timer m_replyTimer;
    Date m_lastReply{};
    int m_generation = 0;
    quint64 m_changes = 0;
    bool m_isOpen = false;
    bool m_isConnecting = false;
    bool m_isClosed = false;
};

/// The error object for a terminal that cannot be reached or that refused a command.
[[nodiscard]] HerdrFailure terminalUnavailable(const QString &reason);

} // namespace Keelhaven
