#pragma once

#include "SessionHost/TmuxControl.h"

#include <QHash>
#include <deque>

namespace Keelhaven {

/// Types into panes. What is typed into one pane by several callers never mixes: each waits for the one
/// before. `tmux` and `clock` outlive it.
class PaneInput
{
public:
    PaneInput(TmuxControl &tmux, Clock &clock);

    /// The text as keystrokes, byte for byte: "\r" is Enter, ESC "[B" the arrow down.
    [[nodiscard]] QCoro::Task<HostResult<void>> type(QByteArray pane, QByteArray text);

    /// The text as one paste, then, as a write of its own, Enter. A program that asked for bracketed paste
    /// gets it in brackets, so no line feed in it submits and no length is taken for typing. `terminal` is
    /// the pane's, "/dev/pts/3".
    [[nodiscard]] QCoro::Task<HostResult<void>> pasteAndEnter(QByteArray pane, QByteArray terminal,
                                                              QString text);

private:
    class Turn;
    enum class Brackets { WhenAsked, Never };

    QCoro::Task<std::shared_ptr<Turn>> takeTurn(QByteArray pane);
    void pass(const QByteArray &pane);
    QCoro::Task<HostResult<void>> leaveCopyMode(QByteArray pane);
    QCoro::Task<bool> untilRead(QByteArray terminal, qsizetype size);
    QCoro::Task<HostResult<void>> write(QByteArray pane, QByteArray bytes, Brackets brackets);

    TmuxControl &m_tmux;
    Clock &m_clock;
    QHash<QByteArray, std::deque<OneShot<bool>>> m_queues; ///< who waits, for each pane somebody types into
    quint64 m_nextBuffer = 1;
};

/// `prompt` without the sequences that end or begin a bracketed paste, which would let the rest of it act as
/// keys.
[[nodiscard]] QByteArray pastable(const QString &prompt);

} // namespace Keelhaven
