#include "Platform/KeyringSecretStore.h"

#include "Platform/QtProcessRunner.h"
#include "PrivateBus.h"

#include <QDBusArgument>
#include <QDBusMetaType>

namespace Keelhaven {

using namespace Qt::StringLiterals;

/// A secret on the wire of the Secret Service.
struct WireSecret
{
    QDBusObjectPath session;
    QByteArray parameters;
    QByteArray value;
    QString contentType;
};

QDBusArgument &operator<<(QDBusArgument &out, const WireSecret &secret)
{
    out.beginStructure();
    out << secret.session << secret.parameters << secret.value << secret.contentType;
    out.endStructure();
    return out;
}

const QDBusArgument &operator>>(const QDBusArgument &in, WireSecret &secret)
{
    in.beginStructure();
    in >> secret.session >> secret.parameters >> secret.value >> secret.contentType;
    in.endStructure();
    return in;
}

namespace {

using Read = Result<std::optional<QString>, SecretError>;
using Attributes = QMap<QString, QString>;
using Paths = QList<QDBusObjectPath>;
using Secrets = QMap<QDBusObjectPath, WireSecret>;

const QDBusObjectPath noPrompt(u"/"_s);

/// The Secret Service, as far as a client goes to keep one text.
class StandInKeyring : public StandInService
{
public:
    explicit StandInKeyring(const PrivateBus &bus)
        : StandInService(bus, u"org.freedesktop.secrets"_s)
    {
        qDBusRegisterMetaType<WireSecret>();
        qDBusRegisterMetaType<Attributes>();
        qDBusRegisterMetaType<Secrets>();
        answer = [this](const QDBusMessage &call) { return answerTo(call); };
    }

    struct Item
    {
        Attributes attributes;
        WireSecret secret;
    };
    QMap<QDBusObjectPath, Item> items;
    bool isBroken = false;

private:
    Answer answerTo(const QDBusMessage &call)
    {
        const QString member = call.member();
        const auto arguments = call.arguments();
        if (isBroken && member != u"GetAll")
            return u"org.freedesktop.DBus.Error.Failed"_s;
        if (member == u"OpenSession") {
            if (arguments[0] != u"plain"_s)
                return u"org.freedesktop.DBus.Error.NotSupported"_s;
            return QVariantList{QVariant::fromValue(QDBusVariant(QString())), path(u"session/1"_s)};
        }
        if (member == u"SearchItems")
            return QVariantList{QVariant::fromValue(matching(qdbus_cast<Attributes>(arguments[0]))),
                                QVariant::fromValue(Paths())};
        if (member == u"GetSecrets")
            return QVariantList{QVariant::fromValue(secretsOf(qdbus_cast<Paths>(arguments[0])))};
        if (member == u"CreateItem")
            return QVariantList{
                create(qdbus_cast<QVariantMap>(arguments[0]), qdbus_cast<WireSecret>(arguments[1])),
                QVariant::fromValue(noPrompt)};
        if (member == u"Delete") {
            items.remove(QDBusObjectPath(call.path()));
            return QVariantList{QVariant::fromValue(noPrompt)};
        }
        if (member == u"GetAll")
            return QVariantList{QVariantMap()};
        return u"org.freedesktop.DBus.Error.UnknownMethod"_s;
    }

    static QVariant path(const QString &relative)
    {
        return QVariant::fromValue(QDBusObjectPath(u"/org/freedesktop/secrets/"_s + relative));
    }
    [[nodiscard]] Paths matching(const Attributes &wanted) const
    {
        Paths found;
        for (const auto &[item, content] : items.asKeyValueRange()) {
            bool matches = true;
            for (const auto &[key, value] : wanted.asKeyValueRange())
                matches = matches && content.attributes.value(key) == value;
            if (matches)
                found.append(item);
        }
        return found;
    }
    [[nodiscard]] Secrets secretsOf(const Paths &paths) const
    {
        Secrets secrets;
        for (const auto &item : paths)
            secrets.insert(item, items.value(item).secret);
        return secrets;
    }
    QVariant create(const QVariantMap &properties, const WireSecret &secret)
    {
        const auto attributes =
            qdbus_cast<Attributes>(properties[u"org.freedesktop.Secret.Item.Attributes"_s]);
        for (const auto &former : matching(attributes))
            items.remove(former);
        const QVariant item = path(u"collection/login/%1"_s.arg(++m_created));
        items.insert(item.value<QDBusObjectPath>(), {attributes, secret});
        return item;
    }

    int m_created = 0;
};

/// The real helper program on a bus of its own.
class KeyringTest : public testing::Test
{
protected:
    KeyringTest()
    {
        for (const char *variable : {"XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION"})
            qunsetenv(variable);
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address());
    }
    ~KeyringTest() override { qputenv("DBUS_SESSION_BUS_ADDRESS", m_former); }

    PrivateBus bus;
    QtProcessRunner processes;
    KeyringSecretStore store{processes, QStringLiteral(KEELHAVEN_BIN_DIR "/keelhaven-secrets")};
    const QString service = u"com.keelhaven.telegram-bot"_s;

private:
    QByteArray m_former = qgetenv("DBUS_SESSION_BUS_ADDRESS");
};

} // namespace

TEST_F(KeyringTest, KeepsReplacesGivesAndForgetsASecret)
{
    StandInKeyring keyring(bus);
    EXPECT_FALSE(await(store.obstacle()));
    EXPECT_EQ(await(store.read(service)), Read(std::nullopt));
    EXPECT_TRUE(await(store.write(service, u"123:größe"_s)));
    EXPECT_TRUE(await(store.write(u"other"_s, u"x"_s)));
    EXPECT_EQ(await(store.read(service)), Read(u"123:größe"_s));
    EXPECT_TRUE(await(store.write(service, u"new"_s)));
    EXPECT_EQ(await(store.read(service)), Read(u"new"_s));
    EXPECT_EQ(keyring.items.size(), 2);
    EXPECT_TRUE(await(store.remove(service)));
    EXPECT_EQ(await(store.read(service)), Read(std::nullopt));
    EXPECT_TRUE(await(store.remove(service))) << "what is not there counts as removed";
    EXPECT_EQ(await(store.read(u"other"_s)), Read(u"x"_s));
}

TEST_F(KeyringTest, WhatDoesNotAnswerIsAnErrorAndNoAbsence)
{
    EXPECT_EQ(await(store.obstacle())->message(), u"no keyring offers the Secret Service");
    EXPECT_EQ(await(store.read(service)).error().message(), u"no keyring offers the Secret Service");
    StandInKeyring keyring(bus);
    keyring.isBroken = true;
    EXPECT_FALSE(await(store.read(service)));
    const auto kept = await(store.write(service, u"hidden"_s));
    ASSERT_FALSE(kept);
    EXPECT_FALSE(kept.error().message().contains(u"hidden"));
    bus.stop();
    EXPECT_EQ(await(store.obstacle())->message(), u"there is no session bus");
}

} // namespace Keelhaven
