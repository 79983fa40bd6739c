#include "App/ControlAddress.h"
#include "Front/Conversation.h"
#include "Front/Programs.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// The command that a user types. It knows no command of its own: it hands the words to the running instance
// and prints what comes back, or becomes the program that can answer without one.
namespace {

using namespace Keelhaven;
using namespace Keelhaven::Front;

/// Until a started application listens; a first start installs its host.
constexpr int startMilliseconds = 20'000;
constexpr int startStep = 20;

int openWindow(std::vector<std::string> arguments)
{
    if (!hasDisplay()) {
        std::fputs("keelhaven: there is no display, so Keelhaven runs without its window, until Ctrl-C; "
                   "\"keelhaven --headless\" does that anywhere.\n",
                   stderr);
        return become("keelhaven-headless", std::move(arguments));
    }
    if (!hasWindow())
        return complain("this build has no window; run Keelhaven without one: keelhaven --headless");
    return become("keelhaven-window", std::move(arguments));
}

/// Whether the command is about the caller's own terminal, desktop or session, so that the instance, which
/// may have been started in another, has no part in it.
bool concernsCaller(const std::string &command)
{
    return command == "codex-hooks" || command == "install" || command == "uninstall" || command == "service";
}

bool canShowWindow()
{
    return hasDisplay() && hasWindow();
}

/// In the child: leaves the terminal to the caller and becomes the application.
[[noreturn]] void runDetached(const char *program, const std::string &link)
{
    ::setsid();
    const int null = ::open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(null, stream);
    if (null > STDERR_FILENO)
        ::close(null);
    ::_exit(become(program, {link}));
}

/// Until the child, which becomes the application, listens. Nothing once it does; else how it ended, or -1
/// when it has not yet.
std::optional<int> untilListening(pid_t child)
{
    for (int waited = 0; waited < startMilliseconds; waited += startStep) {
        int status = 0;
        if (::waitpid(child, &status, WNOHANG) == child)
            return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
        if (instanceListens())
            return std::nullopt;
        ::poll(nullptr, 0, startStep);
    }
    return -1;
}

/// Starts the application with the link: its window where there is one to show, else in the background.
int startWith(const std::string &link)
{
    if (canShowWindow())
        return become("keelhaven-window", {link});
    const pid_t child = ::fork();
    if (child < 0)
        return complain(std::string("cannot start Keelhaven: ") + std::strerror(errno));
    if (child == 0)
        runDetached("keelhaven-headless", link);
    const auto end = untilListening(child);
    if (!end) {
        std::fputs("Keelhaven was not running; it has been started without a window.\n", stdout);
        return 0;
    }
    if (*end < 0)
        return complain("Keelhaven has been started, but does not answer yet.");
    return complain(*end == 2 ? "Only keelhaven:// links of at most 2048 bytes can be opened."
                              : "Keelhaven does not start; \"keelhaven --headless\" tells why.");
}

/// For the timer: has the instance look what is due, or becomes it. Where there is a screen that is the
/// program with the window, out of sight until somebody wants it; a display that is gone, as after a logout,
/// keeps no agent from its work.
int wake()
{
    const std::string link = "keelhaven://scheduler/wake";
    if (const auto status = askInstance({"open", link}))
        return *status;
    if (canShowWindow()) {
        const pid_t child = ::fork();
        if (child == 0)
            runDetached("keelhaven-window", link);
        if (child > 0 && untilListening(child).value_or(0) <= 0)
            return 0;
    }
    return become("keelhaven-headless", {link});
}

} // namespace

int main(int argc, char **argv)
{
    ::umask(077);
    ControlAddress::ensureHome();
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty())
        return openWindow({});
    if (arguments[0] == "--headless") {
        arguments.erase(arguments.begin());
        return become("keelhaven-headless", std::move(arguments));
    }
    if (arguments.size() == 1 && arguments[0] == "--wake")
        return wake();
    // A link may stand alone; "open" without one wants the window.
    if (arguments.size() == 1 && (arguments[0].starts_with("keelhaven:") || arguments[0] == "open"))
        arguments = {"open", arguments[0] == "open" ? "keelhaven://" : arguments[0]};
    if (concernsCaller(arguments[0])) {
        arguments.insert(arguments.begin(), "--cli");
        return become("keelhaven-headless", std::move(arguments));
    }
    if (const auto status = askInstance(arguments))
        return *status;
    if (arguments.size() == 2 && arguments[0] == "open" && arguments[1].starts_with("keelhaven:"))
        return startWith(arguments[1]);
    arguments.insert(arguments.begin(), "--cli");
    return become("keelhaven-headless", std::move(arguments));
}
