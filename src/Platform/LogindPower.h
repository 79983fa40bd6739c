#pragma once

#include "Platform/MessageBus.h"
#include "Platform/PowerBackend.h"
#include "Platform/ServiceStatus.h"

#include <QDBusUnixFileDescriptor>
#include <map>

namespace Keelhaven {

/// PowerBackend on the desktop's services: login1 keeps the machine from sleeping, the screen saver (else the
/// GNOME session manager) keeps the display on. Holds are asked for in the background and again whenever the
/// bus or the service was started anew, also when it only appears later. Main loop only; the buses outlive
/// it.
class LogindPower : public QObject, public PowerBackend
{
    Q_OBJECT

public:
    LogindPower(MessageBus &system, MessageBus &session);

    /// 0 where certainly no bus is there. Otherwise an id at once, whatever becomes of the request.
    [[nodiscard]] std::uint32_t take(Hold hold, const QString &reason) override;
    void drop(std::uint32_t id) override;
    void renew(std::uint32_t id) override;

    /// Whether the service that runs now has given the hold.
    [[nodiscard]] bool isTaken(std::uint32_t id) const override;
    [[nodiscard]] QCoro::Task<ServiceStatus> examine() const;

private:
    struct Request
    {
        Hold hold = Hold::System;
        QString reason;
        int attempt = 0; ///< answers to earlier ones are out of date
        bool isTaken = false;
        bool isAwaited = false;             ///< asked for, and neither given nor refused
        QDBusUnixFileDescriptor descriptor; ///< of login1; the hold lasts while it is open
        std::optional<std::pair<std::size_t, std::uint32_t>>
            cookie; ///< keeper of the display, and its number
    };

    [[nodiscard]] MessageBus &busOf(Hold hold) const { return hold == Hold::System ? m_system : m_session; }
    [[nodiscard]] QString whyNoHold() const;
    void ask(std::uint32_t id);
    void askLogind(std::uint32_t id, const QString &what);
    void askKeeper(std::uint32_t id, std::size_t keeper);
    void giveBack(std::size_t keeper, std::uint32_t cookie) const;
    void askAll(Hold hold);
    void onOwnerChanged(const QString &service, bool hasOwner);
    void onLost(Hold hold);
    void tellChange() const;
    [[nodiscard]] Request *current(std::uint32_t id, int attempt);

    MessageBus &m_system;
    MessageBus &m_session;
    std::map<std::uint32_t, Request> m_requests;
    std::uint32_t m_lastID = 0;
    QString m_refusal;                ///< why login1 gave the last hold not
    bool m_isAgainstIdleOnly = false; ///< login1 allowed no more
};

} // namespace Keelhaven
