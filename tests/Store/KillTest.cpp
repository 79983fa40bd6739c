#include "Store/StoreSupport.h"

#include <QSet>
#include <csignal>
#include <fcntl.h>
#include <random>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

/// Lets time pass without giving the processor away, so that a kill hits any point of the program under test.
void spin(std::chrono::microseconds span)
{
    const auto end = std::chrono::steady_clock::now() + span;
    while (std::chrono::steady_clock::now() < end) {
    }
}

/// Runs the committing program until it has printed `lines` ids and `delay` more has passed, kills it and
/// gives all whole lines it printed.
QList<QByteArray> idsUntilKilled(const QString &database, qsizetype lines, std::chrono::microseconds delay)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    QByteArray program = KEELHAVEN_BIN_DIR "/keelhaven-commit-loop";
    QByteArray argument = QFile::encodeName(database);
    char *arguments[] = {program.data(), argument.data(), nullptr};
    pid_t child = 0;
    const int spawned = ::posix_spawn(&child, program.constData(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    EXPECT_EQ(spawned, 0);

    QByteArray output;
    bool isAlive = spawned == 0;
    char buffer[37];
    ssize_t size = 0;
    do {
        if (isAlive && output.count('\n') >= lines) {
            spin(delay);
            ::kill(child, SIGKILL);
            isAlive = false;
        }
        size = ::read(ends[0], buffer, sizeof buffer);
        output.append(buffer, std::max<ssize_t>(size, 0));
    } while (size > 0);
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the program ended by itself";
    QList<QByteArray> ids = output.split('\n');
    ids.removeLast(); // what follows the last LF
    return ids;
}

TEST(KillTest, NoCommittedRecordIsLost)
{
    const auto seed = std::random_device()();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    const TestHome home;
    const QString path = home.paths().databaseFile();
    QSet<QString> committed;
    for (int round = 0; round < 50; ++round) {
        // Every few rounds a fresh file, so that the kill also hits the making of the schema.
        if (round % 10 == 0) {
            QDir(home.paths().appSupportDir).removeRecursively();
            committed.clear();
        }
        // A third is killed in the start: opening the file, making the schema, recovering the log of the last
        // kill.
        const bool inStart = random() % 3 == 0;
        const auto lines = inStart ? 0 : static_cast<qsizetype>(1 + random() % 60);
        const auto delay = std::chrono::microseconds(random() % (inStart ? 30000 : 500));
        for (const QByteArray &id : idsUntilKilled(path, lines, delay))
            committed.insert(QString::fromLatin1(id));
        const auto database = KeelhavenDatabase::open(path);
        ASSERT_TRUE(database) << database.error().message().toStdString();
        const auto rows = (*database)->sync(
            [](SQLiteConnection &connection) { return connection.query(u"SELECT id FROM runs"_s); });
        ASSERT_TRUE(rows);
        QSet<QString> stored;
        for (const auto &row : *rows)
            stored.insert(row.string(u"id").value());
        EXPECT_TRUE(stored.contains(committed)) << "round " << round;
        const auto check = (*database)->sync(
            [](SQLiteConnection &connection) { return connection.query(u"PRAGMA integrity_check"_s); });
        EXPECT_EQ(check.value().first().string(u"integrity_check"), u"ok"_s);
    }
}

} // namespace
} // namespace Keelhaven
