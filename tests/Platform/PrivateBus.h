#pragma once

#include "Platform/MessageBus.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDBusVirtualObject>
#include <QProcess>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/prctl.h>

namespace Keelhaven {

/// A message bus of the test's own: no test ever meets the machine's.
class PrivateBus
{
public:
    PrivateBus() { start(); }
    ~PrivateBus() { stop(); }

    void start()
    {
        using namespace Qt::StringLiterals;
        const QString config =
            m_home.write(u"bus.conf"_s, R"(<busconfig><type>custom</type><listen>)" + address() + R"(</listen>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>)");
        m_daemon.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
        m_daemon.start(u"dbus-daemon"_s,
                       {u"--config-file="_s + config, u"--nofork"_s, u"--nopidfile"_s, u"--print-address"_s});
        if (!m_daemon.waitForReadyRead(10'000))
            throw std::runtime_error("no dbus-daemon; it is in the package dbus-daemon");
    }

    /// From now on it takes calls and answers none, until it is stopped.
    void freeze() { ::kill(pid_t(m_daemon.processId()), SIGSTOP); }

    void stop()
    {
        m_daemon.kill();
        m_daemon.waitForFinished();
        QFile::remove(m_home.path(QStringLiteral("bus")));
    }

    [[nodiscard]] QByteArray address() const { return "unix:path=" + m_home.path().toUtf8() + "/bus"; }

private:
    TestHome m_home;
    QProcess m_daemon;
};

/// A service on a private bus: remembers the calls to it and answers from a function. Gone with the object.
class StandInService : public QDBusVirtualObject
{
public:
    struct Silence
    {};
    /// What a call gets: values, the name of an error, or nothing yet.
    using Answer = std::variant<QVariantList, QString, Silence>;

    StandInService(const PrivateBus &bus, const QString &name)
        : m_connection(QDBusConnection::connectToBus(QString::fromUtf8(bus.address()), uniqueName()))
    {
        m_connection.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
        EXPECT_TRUE(m_connection.registerService(name));
    }
    ~StandInService() override { QDBusConnection::disconnectFromBus(m_connection.name()); }

    std::function<Answer(const QDBusMessage &)> answer = [](const QDBusMessage &) { return QVariantList(); };
    QList<QDBusMessage> calls;

    /// The calls as "Member(first, second)".
    [[nodiscard]] QStringList log() const
    {
        QStringList lines;
        for (const auto &call : calls) {
            QStringList words;
            for (const QVariant &argument : call.arguments())
                words.append(argument.toString());
            lines.append(call.member() + u'(' + words.join(QStringLiteral(", ")) + u')');
        }
        return lines;
    }

    void reply(const QDBusMessage &call, const QVariantList &values)
    {
        m_connection.send(call.createReply(values));
    }

    void send(const QString &path, const QString &interface, const QString &name, const QVariantList &values)
    {
        auto signal = QDBusMessage::createSignal(path, interface, name);
        signal.setArguments(values);
        m_connection.send(signal);
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        calls.append(message);
        const auto given = answer(message);
        if (std::holds_alternative<Silence>(given))
            return true;
        const auto *values = std::get_if<QVariantList>(&given);
        return connection.send(
            values ? message.createReply(*values)
                   : message.createErrorReply(std::get<QString>(given), QStringLiteral("not here")));
    }

private:
    static QString uniqueName()
    {
        static int number = 0;
        return QStringLiteral("stand-in-%1").arg(++number);
    }

    QDBusConnection m_connection;
};

} // namespace Keelhaven
