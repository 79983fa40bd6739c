#include "Platform/SystemClock.h"
#include "Platform/Uuid.h"
#include "Store/SQLiteRunStore.h"

#include <QFile>
#include <cstdio>
#include <unistd.h>

/// Commits records for ever and prints the id of each as soon as its commit has returned. A test kills it.
int main(int, char **argv)
{
    using namespace Keelhaven;
    const auto database = KeelhavenDatabase::open(QFile::decodeName(argv[1]));
    if (!database) {
        std::fprintf(stderr, "%s\n", qPrintable(database.error().message()));
        return 1;
    }
    SystemClock clock;
    SQLiteRunStore store(**database, clock, {}, {});
    RunRecord run;
    run.startedAt = Date(std::chrono::seconds(1772600707));
    run.completionMessage = QString(3000, u'x');
    while (true) {
        run.id = QUuid::createUuid();
        const auto saved = store.saveRecord(run);
        if (!saved) {
            std::fprintf(stderr, "%s\n", qPrintable(saved.error().message()));
            return 1;
        }
        const QByteArray line = uuidText(run.id).toLatin1() + '\n';
        if (::write(STDOUT_FILENO, line.constData(), static_cast<size_t>(line.size())) != line.size())
            return 1;
    }
}
