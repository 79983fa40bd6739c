#include "Platform/ChosenSecretStore.h"
#include "Platform/KeychainStore.h"

#include "Support/FakeProcessRunner.h"
#include "Support/MemorySecrets.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

using Read = Result<std::optional<QString>, SecretError>;

const QString bot = u"com.keelhaven.telegram-bot"_s;

/// A keyring behind the helper's questions and answers.
class FakeKeyring
{
public:
    explicit FakeKeyring(FakeProcessRunner &processes)
    {
        processes.answer = [this](const ProcessSpec &spec) -> std::optional<ProcessResult> {
            EXPECT_EQ(spec.arguments, QStringList()) << "a process list shows arguments to everybody";
            return FakeProcessRunner::exited(0, QJsonDocument(answer(spec.input)).toJson());
        };
    }

    QMap<QString, QString> secrets;
    QString obstacle;

private:
    QJsonObject answer(const QByteArray &input)
    {
        const QJsonObject question = QJsonDocument::fromJson(input).object();
        const QString service = question[u"service"].toString();
        const QString what = question[u"do"].toString();
        if (!obstacle.isEmpty())
            return {{u"error"_s, obstacle}};
        if (what == u"write")
            secrets.insert(service, question[u"secret"].toString());
        else if (what == u"remove")
            secrets.remove(service);
        else if (what == u"read" && secrets.contains(service))
            return {{u"secret"_s, secrets.value(service)}};
        return {};
    }
};

class Secrets : public testing::Test
{
protected:
    const TestHome m_home;
    FakeProcessRunner m_processes;
    FakeKeyring m_keyring{m_processes};
    MemorySettings m_settings;
    KeyringSecretStore m_service{m_processes, u"/opt/keelhaven-secrets"_s};
    FileSecretStore m_file{m_home.path(u"data/secrets.json"_s)};
    ChosenSecretStore m_store{m_settings, m_service, m_file};
};

} // namespace

TEST_F(Secrets, AKeyringIsPreferredAndRememberedThroughItsAbsence)
{
    EXPECT_EQ(await(m_store.read(bot)), Read(std::nullopt));
    EXPECT_TRUE(m_settings.keys().isEmpty()) << "reading chooses nothing";
    EXPECT_TRUE(await(m_store.write(bot, u"größe"_s)));
    EXPECT_EQ(m_settings.text(u"secretStore"_s), u"secret-service");
    m_keyring.obstacle = u"there is no session bus"_s;
    EXPECT_EQ(await(m_store.read(bot)), Read(failure(SecretError{u"there is no session bus"_s})));
    EXPECT_FALSE(await(m_store.write(bot, u"other"_s)));
    EXPECT_FALSE(QFile::exists(m_file.path())) << "a keyring that is away never splits the secrets";
    EXPECT_TRUE(await(m_store.place()).obstacle);
    m_keyring.obstacle.clear();
    EXPECT_EQ(await(m_store.read(bot)), Read(u"größe"_s));
    EXPECT_TRUE(await(m_store.remove(bot)));
    EXPECT_EQ(await(m_store.read(bot)), Read(std::nullopt));
}

TEST_F(Secrets, WithoutAKeyringAFileThatOnlyTheUserReadsIsTheStoreForGood)
{
    m_keyring.obstacle = u"no keyring offers the Secret Service"_s;
    EXPECT_FALSE(await(m_store.place()).isKeyring);
    EXPECT_TRUE(await(m_store.write(bot, u"one"_s)));
    EXPECT_TRUE(await(m_store.write(u"other"_s, u"two"_s)));
    m_keyring.obstacle.clear();
    EXPECT_EQ(await(m_store.read(bot)), Read(u"one"_s));
    QFile::setPermissions(m_file.path(), QFile::ReadOwner | QFile::ReadOther);
    EXPECT_EQ(await(m_store.read(u"other"_s)), Read(u"two"_s));
    EXPECT_EQ(QFile::permissions(m_file.path()) & (QFile::ReadGroup | QFile::ReadOther), 0);
    EXPECT_TRUE(await(m_store.remove(bot)));
    EXPECT_EQ(await(m_store.read(bot)), Read(std::nullopt));
    EXPECT_TRUE(m_keyring.secrets.isEmpty());

    EXPECT_EQ(await(m_store.place()).fileFault, std::nullopt);
    m_home.write(u"data/secrets.json"_s, "[torn");
    EXPECT_TRUE(await(m_store.place()).fileFault);
    EXPECT_FALSE(await(m_store.read(bot)));
    EXPECT_FALSE(await(m_store.write(bot, u"new"_s)));
    EXPECT_EQ(m_home.read(u"data/secrets.json"_s), "[torn") << "what cannot be read may still be somebody's";
}

TEST_F(Secrets, AHelperThatFailsIsAnErrorAndNeverAnAbsence)
{
    m_settings.set(u"secretStore"_s, u"secret-service"_s);
    const auto reason = [&] {
        const auto found = await(m_store.read(bot));
        return found ? u"found"_s : found.error().message();
    };
    m_processes.answer = [](const auto &) { return FakeProcessRunner::exited(1, "{}"); };
    EXPECT_EQ(reason(), u"the program that speaks to the keyring failed");
    m_processes.answer = [](const auto &) { return FakeProcessRunner::exited(0, "secret?"); };
    EXPECT_EQ(reason(), u"the program that speaks to the keyring failed");
    ProcessResult late;
    late.kind = ProcessResult::Kind::TimedOut;
    m_processes.answer = [late](const auto &) { return late; };
    EXPECT_EQ(reason(), u"the keyring does not answer");
    KeyringSecretStore none(m_processes, QString());
    EXPECT_EQ(await(none.obstacle())->message(), u"this build cannot speak to a keyring");
}

TEST(KeychainStore, RemembersWhatItReadAlsoAnAbsenceUntilItIsSet)
{
    MemorySecrets store;
    KeychainStore keychain(store);
    EXPECT_EQ(keychain.cached(bot), std::nullopt);
    EXPECT_EQ(await(keychain.get(bot)), std::nullopt);
    EXPECT_EQ(await(keychain.get(bot)), std::nullopt);
    EXPECT_EQ(store.reads, 1);
    EXPECT_EQ(keychain.cached(bot), std::make_optional(std::optional<QString>()));
    EXPECT_TRUE(await(keychain.set(u"token"_s, bot)));
    EXPECT_EQ(await(keychain.get(bot)), u"token"_s);
    EXPECT_EQ(store.reads, 1);
    store.failing = SecretError{u"locked"_s};
    EXPECT_FALSE(await(keychain.set(u"lost"_s, bot)));
    EXPECT_EQ(await(keychain.get(bot)), std::nullopt);
    store.failing.reset();
    EXPECT_EQ(await(keychain.get(bot)), u"token"_s) << "a store that failed is asked again";
    store.secrets[bot] = u"elsewhere"_s;
    EXPECT_EQ(await(keychain.get(bot)), u"token"_s);
    keychain.forgetAll();
    EXPECT_EQ(await(keychain.get(bot)), u"elsewhere"_s);
    EXPECT_TRUE(await(keychain.delete_(bot)));
    EXPECT_EQ(await(keychain.get(bot)), std::nullopt);
}

TEST_F(Secrets, AReadThatASetOvertakesDoesNotKeepTheAbsence)
{
    m_settings.set(u"secretStore"_s, u"secret-service"_s);
    KeychainStore keychain(m_store);
    const auto answer = m_processes.answer;
    m_processes.answer = [](const ProcessSpec &) { return std::optional<ProcessResult>(); };
    const auto slow = keychain.get(bot);
    m_processes.answer = answer;
    EXPECT_TRUE(await(keychain.set(u"token"_s, bot)));
    m_processes.finishPending(FakeProcessRunner::exited(0, "{}"));
    settle();
    EXPECT_EQ(keychain.cached(bot), std::make_optional(std::optional(u"token"_s)));
}

TEST(KeychainStore, ServicesAreNamedByPlainWords)
{
    for (const QString &name : {u"com.keelhaven.slack-app"_s, u"a"_s, QString(128, u'x')})
        EXPECT_TRUE(KeychainStore::isServiceName(name)) << name.toStdString();
    for (const QString &name :
         {u""_s, u"-x"_s, u".x"_s, u"a b"_s, u"../x"_s, u"ä"_s, u"a\n"_s, QString(129, u'x')})
        EXPECT_FALSE(KeychainStore::isServiceName(name)) << name.toStdString();
    MemorySecrets store;
    KeychainStore keychain(store);
    EXPECT_FALSE(await(keychain.set(u"x"_s, u"a b"_s)));
    EXPECT_TRUE(store.secrets.isEmpty());
}

} // namespace Keelhaven
