#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLibrary>
#include <QTimer>
#include <cstdio>
#include <functional>
#include <qt6keychain/keychain.h>
#include <sys/prctl.h>
#include <sys/stat.h>

// Asks the session's keyring one question, given as one JSON object on standard input:
//   {"do": "look"}                                        is there a keyring? asks the user nothing
//   {"do": "read" | "remove", "service": …}
//   {"do": "write", "service": …, "secret": …}
// and prints the answer: {"secret": …} where one was found, {} when it was done, {"error": …} when it was
// not.
namespace {

using namespace Qt::StringLiterals;

/// Beside the service name, keyrings ask for the name of an account.
const QString account = u"keelhaven"_s;

void answer(const QJsonObject &text)
{
    const QByteArray line = QJsonDocument(text).toJson(QJsonDocument::Compact);
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fflush(stdout);
    QCoreApplication::exit(0);
}

void refuse(const QString &reason)
{
    answer({{u"error"_s, reason}});
}

/// Whether somebody holds this name on the session's bus, or would be started by a call to it.
bool isOnBus(QDBusConnectionInterface &bus, const QString &name)
{
    if (bus.isServiceRegistered(name))
        return true;
    const QDBusReply<QStringList> startable = bus.call(u"ListActivatableNames"_s);
    return startable.isValid() && startable.value().contains(name);
}

/// What stands in the way of any keyring; empty when one is there.
QString obstacle()
{
    auto connection = QDBusConnection::sessionBus();
    if (!connection.isConnected() || !connection.interface())
        return u"there is no session bus"_s;
    auto &bus = *connection.interface();
    for (const QString &wallet : {u"org.kde.kwalletd5"_s, u"org.kde.kwalletd6"_s}) {
        if (isOnBus(bus, wallet))
            return {};
    }
    if (!isOnBus(bus, u"org.freedesktop.secrets"_s))
        return u"no keyring offers the Secret Service"_s;
    if (!QLibrary(u"secret-1"_s, 0).load())
        return u"the library libsecret-1.so.0 is not installed"_s;
    return {};
}

QString reasonOf(const QKeychain::Job &job)
{
    switch (job.error()) {
    case QKeychain::AccessDeniedByUser:
    case QKeychain::AccessDenied:
        return u"the keyring was not unlocked"_s;
    case QKeychain::NoBackendAvailable:
        return u"no keyring answers"_s;
    default:
        return job.errorString().isEmpty() ? u"the keyring failed"_s : job.errorString();
    }
}

void start(QKeychain::Job &job, const std::function<void(const QKeychain::Job &)> &then)
{
    job.setKey(account);
    job.setInsecureFallback(false);
    QObject::connect(&job, &QKeychain::Job::finished, &job, [&job, then] { then(job); });
    job.start();
}

void read(const QString &service, const std::function<void(const QKeychain::ReadPasswordJob &)> &then)
{
    auto *job = new QKeychain::ReadPasswordJob(service);
    start(*job, [job, then](const auto &) { then(*job); });
}

void readAndAnswer(const QString &service)
{
    read(service, [](const auto &job) {
        if (job.error() == QKeychain::EntryNotFound)
            answer({});
        else if (job.error() != QKeychain::NoError)
            refuse(reasonOf(job));
        else
            answer({{u"secret"_s, job.textData()}});
    });
}

void write(const QString &service, const QString &secret)
{
    auto *job = new QKeychain::WritePasswordJob(service);
    job->setTextData(secret);
    start(*job,
          [](const auto &done) { done.error() == QKeychain::NoError ? answer({}) : refuse(reasonOf(done)); });
}

void remove(const QString &service)
{
    auto *job = new QKeychain::DeletePasswordJob(service);
    start(*job, [service](const auto &done) {
        if (done.error() == QKeychain::NoError || done.error() == QKeychain::EntryNotFound)
            return answer({});
        // Some keyrings report the removal of nothing as a failure.
        const QString reason = reasonOf(done);
        read(service, [reason](const auto &job) {
            job.error() == QKeychain::EntryNotFound ? answer({}) : refuse(reason);
        });
    });
}

void carryOut(const QJsonObject &question)
{
    const QString what = question[u"do"].toString();
    const QString service = question[u"service"].toString();
    if (const QString reason = obstacle(); !reason.isEmpty())
        return refuse(reason);
    if (what == u"look")
        return answer({});
    if (service.isEmpty())
        return refuse(u"no service was named"_s);
    if (what == u"read")
        return readAndAnswer(service);
    if (what == u"write")
        return write(service, question[u"secret"].toString());
    if (what == u"remove")
        return remove(service);
    refuse(u"that is no question"_s);
}

} // namespace

int main(int argc, char **argv)
{
    ::umask(077);
    ::prctl(PR_SET_DUMPABLE, 0); // a crash must not leave the secret in a core file
    QCoreApplication application(argc, argv);
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return 1;
    const auto question = QJsonDocument::fromJson(input.readAll());
    if (!question.isObject())
        return 2;
    QTimer::singleShot(0, &application, [&question] { carryOut(question.object()); });
    return QCoreApplication::exec();
}
