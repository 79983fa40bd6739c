#include "App/QuitSignals.h"

#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace Keelhaven {

namespace {

int pipeEnds[2] = {-1, -1}; ///< what the handler writes to must be reachable without an object

void tellLoop(int)
{
    const int before = errno;
    const char byte = 0;
    // A full pipe already holds the news.
    static_cast<void>(!::write(pipeEnds[1], &byte, 1));
    errno = before;
}

} // namespace

QuitSignals::QuitSignals(std::function<void()> onQuit)
{
    std::signal(SIGPIPE, SIG_IGN);
    if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return; // the signals keep their default, which ends the process
    m_notifier = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [onQuit = std::move(onQuit)] {
        char bytes[16];
        while (::read(pipeEnds[0], bytes, sizeof bytes) > 0) {
        }
        onQuit();
    });
    struct sigaction action{};
    action.sa_handler = tellLoop;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    // What nohup ignores stays ignored. SIGINT is not asked: every shell ignores it for its background jobs.
    struct sigaction former{};
    if (::sigaction(SIGHUP, nullptr, &former) == 0 && former.sa_handler != SIG_IGN)
        ::sigaction(SIGHUP, &action, nullptr);
}

QuitSignals::~QuitSignals()
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        std::signal(number, SIG_DFL);
    m_notifier.reset();
    for (int &end : pipeEnds) {
        ::close(end);
        end = -1;
    }
}

} // namespace Keelhaven
