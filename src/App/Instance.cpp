#include "App/Instance.h"

#include "App/AppModel.h"
#include "App/Commands/CommandTable.h"
#include "App/ControlInstance.h"
#include "App/ControlServer.h"
#include "App/ControlService.h"
#include "App/LocalCommands.h"
#include "App/Machine.h"
#include "App/QuitSignals.h"
#include "Herdr/HerdrSocketQueue.h"
#include "Notifications/DeepLink.h"
#include "Platform/ProcessLaunch.h"
#include "Scheduler/Usage/UsageMonitor.h"
#include "Store/DatabaseOpening.h"

#include <QCoreApplication>
#include <QThreadPool>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// Work on the pool mostly waits for disks and sockets. With a thread for each core, one slow folder on a
/// small machine would hold up the reading of the usage meters, and with it every run.
constexpr int leastPoolThreads = 4;

/// A launch that quitting breaks off closes its pane and then ends; a host that hangs must not hold that up.
constexpr std::chrono::milliseconds longestHostAnswer{500};

/// Another process is the instance: it gets the link, by the same way that a click on one takes.
int handOver(const QString &link)
{
    const QByteArray front = QFile::encodeName(QCoreApplication::applicationDirPath() + u"/keelhaven"_s);
    const QByteArray word = link.toUtf8();
    ::execl(front.constData(), front.constData(), "open", word.constData(), nullptr);
    return print(CommandReply::refused(u"cannot start %1."_s.arg(QFile::decodeName(front))));
}

/// Whoever still waits is woken, sees that the program ends, and leaves before its services do.
void endTasks(Machine &machine, AppModel &model)
{
    machine.clock.close();
    machine.processes.close();
    machine.children.close();
    machine.http.close();
    // What comes back from another thread may hand it the next piece of work, so this takes some rounds.
    const auto running = [&model] { return model.tasks().running() + model.scheduler().runningTasks(); };
    auto wait = longestHostAnswer;
    for (int round = 0; round < 10 && running() > 0; ++round) {
        QThreadPool::globalInstance()->waitForDone(200);
        if (!HerdrSocketQueue::finish(wait))
            wait = {};
        QCoreApplication::sendPostedEvents();
    }
    // Without a loop nobody does what was to be done later.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

int runInstance(const QString &link, const FrontBuilder &buildFront)
{
    Machine machine;
    const auto instance = ControlInstance::claim(machine.paths);
    if (!instance) {
        if (instance.error().kind == ControlInstanceError::Kind::AlreadyRunning &&
            (buildFront || !link.isEmpty()))
            return handOver(link.isEmpty() ? u"keelhaven://window"_s : link);
        return print(CommandReply::refused(instance.error().message()));
    }
    ProcessLaunch::withholdCoreFiles();
    auto *pool = QThreadPool::globalInstance();
    pool->setMaxThreadCount(std::max(pool->maxThreadCount(), leastPoolThreads));
    // quit() would ask the windows first, and one of them may rather stay.
    const QuitSignals signalsToQuit([] { QCoreApplication::exit(); });
    const auto model = AppModel::create(machine.environment());
    if (!model)
        return print(CommandReply::refused(model.error().message()));
    DoctorServices doctor = machine.doctor((*model)->herdrProbe());
    doctor.instanceDatabase = (*model)->databaseError();
    doctor.usage = [&model] { return (*model)->usage().snapshot(); };
    std::optional<ControlServer> server;
    std::optional<ControlService> service;
    // Callers wait at the socket until then: a command must not meet a model that has not read its agents.
    const auto begin = [&] {
        (*model)->start();
        server.emplace(instance->listener(), machine.clock);
        service.emplace(*server, **model, doctor);
        if (!link.isEmpty())
            (*model)->handleDeepLink(link);
    };
    auto front = buildFront ? buildFront(**model, machine, begin) : nullptr;
    if (!buildFront)
        begin();
    const int status = buildFront && !front ? EXIT_FAILURE : QCoreApplication::exec();
    front.reset();
    (*model)->shutdown();
    if (service)
        service->quit();
    endTasks(machine, **model);
    return status;
}

int runProgram(const FrontBuilder &buildFront)
{
    const QStringList words = QCoreApplication::arguments().mid(1);
    if (words.value(0) == u"--cli"_s)
        return runWithoutInstance(words.mid(1));
    if (words.isEmpty())
        return runInstance({}, buildFront);
    if (words.size() == 1 && DeepLink::parse(words[0]))
        return runInstance(words[0], buildFront);
    if (words[0] == u"--help"_s || words[0] == u"--version"_s)
        return runWithoutInstance(words);
    return print(
        {.exit = ExitStatus::WrongUsage,
         .error = UsageError{u"unexpected \"%1\""_s.arg(words[0]), u"keelhaven --help"_s}.message()});
}

} // namespace Keelhaven
