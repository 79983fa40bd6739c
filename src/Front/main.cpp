#include "App/ControlAddress.h"
#include "App/ControlWire.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

// The command that a user types. It knows no command of its own: it hands the words to the running instance
// and prints what comes back, or becomes the program that can answer without one.
namespace {

using namespace Keelhaven;
using ControlAddress::Descriptor;
using ControlWire::FrameType;

constexpr int acceptMilliseconds = 10'000; ///< a living instance takes a request at once
constexpr unsigned defaultColumns = 80;
constexpr int startMilliseconds =
    20'000; ///< until a started application listens; a first start installs its host
constexpr int startStep = 20;

int complain(const std::string &sentence)
{
    std::fprintf(stderr, "keelhaven: %s\n", sentence.c_str());
    return 1;
}

/// The program `name` that was installed beside this one.
std::string besideThis(const char *name)
{
    char path[PATH_MAX];
    const ssize_t size = ::readlink("/proc/self/exe", path, sizeof path);
    const std::string own(path, size > 0 ? static_cast<std::size_t>(size) : 0);
    return own.substr(0, own.rfind('/') + 1) + name;
}

/// Becomes the program that the first word names. Comes back only with the reason why not.
int become(std::vector<std::string> words)
{
    std::vector<char *> argv;
    for (auto &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    ::execv(argv[0], argv.data());
    return complain("cannot start " + words[0] + ": " + std::strerror(errno));
}

/// Becomes the program `name` that was installed beside this one.
int become(const char *name, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), besideThis(name));
    return become(std::move(arguments));
}

bool hasDisplay()
{
    for (const char *name : {"WAYLAND_DISPLAY", "DISPLAY"}) {
        const char *value = std::getenv(name);
        if (value && *value)
            return true;
    }
    return false;
}

int openWindow(std::vector<std::string> arguments)
{
    if (!hasDisplay()) {
        std::fputs("keelhaven: there is no display, so Keelhaven runs without its window, until Ctrl-C; "
                   "\"keelhaven --headless\" does that anywhere.\n",
                   stderr);
        return become("keelhaven-headless", std::move(arguments));
    }
    if (::access(besideThis("keelhaven-window").c_str(), X_OK) != 0)
        return complain("this build has no window; run Keelhaven without one: keelhaven --headless");
    return become("keelhaven-window", std::move(arguments));
}

bool writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        // Whoever shares the terminal may have set it so that it does not wait.
        pollfd writable{descriptor, POLLOUT, 0};
        if (count < 0 && errno == EAGAIN && ::poll(&writable, 1, -1) > 0)
            continue;
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

termios shownInput{}; ///< how the terminal was before its input was hidden

void showInput()
{
    ::tcsetattr(STDIN_FILENO, TCSANOW, &shownInput);
}

/// Whoever is interrupted while the input is hidden gets a terminal back that shows it.
void showInputAndEnd(int number)
{
    showInput();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

/// While it lives, what is typed does not show. Does nothing where standard input is no terminal.
class HiddenInput
{
public:
    HiddenInput()
        : m_isHidden(::tcgetattr(STDIN_FILENO, &shownInput) == 0)
    {
        if (!m_isHidden)
            return;
        for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
            std::signal(number, showInputAndEnd);
        termios hidden = shownInput;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    HiddenInput(const HiddenInput &) = delete;
    HiddenInput &operator=(const HiddenInput &) = delete;
    ~HiddenInput()
    {
        if (!m_isHidden)
            return;
        showInput();
        std::fputc('\n', stderr);
    }
    [[nodiscard]] bool isHidden() const { return m_isHidden; }

private:
    bool m_isHidden;
};

/// The words of a payload in which each is ended by a zero.
std::vector<std::string> wordsOf(std::string_view payload)
{
    std::vector<std::string> words;
    for (std::size_t end; (end = payload.find('\0')) != std::string_view::npos;
         payload.remove_prefix(end + 1))
        words.emplace_back(payload.substr(0, end));
    return words;
}

ControlWire::Request requestFor(std::vector<std::string> arguments)
{
    ControlWire::Request request;
    char folder[PATH_MAX];
    // The kernel marks a folder that is gone by a path that does not start at the root.
    if (::getcwd(folder, sizeof folder) && folder[0] == '/')
        request.workingDirectory = folder;
    if (::isatty(STDOUT_FILENO)) {
        winsize size{};
        request.columns =
            ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : defaultColumns;
    }
    request.inputIsTerminal = ::isatty(STDIN_FILENO) != 0;
    request.arguments = std::move(arguments);
    return request;
}

/// One conversation with the instance.
class Conversation
{
public:
    /// With `isSecret`, a person at a terminal types one line of input, unseen.
    Conversation(const Descriptor &connection, std::string request, bool isSecret)
        : m_connection(connection.get())
        , m_isSecret(isSecret)
    {
        ControlWire::appendFrame(m_outgoing, FrameType::Request, request);
        ::fcntl(m_connection, F_SETFL, ::fcntl(m_connection, F_GETFL) | O_NONBLOCK);
    }

    /// Gives the exit status.
    int hold()
    {
        while (!m_exit) {
            pollfd watched[2] = {{m_connection, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
            if (!m_outgoing.empty())
                watched[0].events |= POLLOUT;
            // Further input waits until the last piece is on its way.
            const bool reads = m_sendsInput && m_outgoing.empty();
            const int ready = ::poll(watched, reads ? 2 : 1, m_isAccepted ? -1 : acceptMilliseconds);
            if (ready == 0)
                return complain("Keelhaven does not answer.");
            if (ready < 0 && errno != EINTR)
                return complain(std::string("cannot wait for the reply: ") + std::strerror(errno));
            if (ready < 0)
                continue;
            if (watched[0].revents & POLLOUT)
                sendSome();
            if (watched[0].revents & (POLLIN | POLLHUP | POLLERR))
                receiveSome();
            if (!m_exit && reads && watched[1].revents)
                readInput();
        }
        m_hidden.reset();
        return m_becomes.empty() ? *m_exit : become(std::move(m_becomes));
    }

private:
    void sendSome()
    {
        const ssize_t count = ::send(m_connection, m_outgoing.data(), m_outgoing.size(), MSG_NOSIGNAL);
        if (count > 0)
            m_outgoing.erase(0, static_cast<std::size_t>(count));
        else if (count < 0 && errno != EAGAIN && errno != EINTR)
            m_outgoing.clear(); // turned away; the reason is on its way
    }

    void receiveSome()
    {
        char bytes[ControlWire::maximumChunk];
        const ssize_t count = ::recv(m_connection, bytes, sizeof bytes, 0);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count <= 0) {
            m_exit = complain("Keelhaven went away before it had answered.");
            return;
        }
        m_reader.append({bytes, static_cast<std::size_t>(count)});
        while (!m_exit) {
            const auto frame = m_reader.next();
            if (!frame)
                break;
            take(*frame);
        }
        if (!m_exit && m_reader.fault() != ControlWire::FrameReader::Fault::None)
            m_exit = complain("the running Keelhaven is of another version than this command; restart it.");
    }

    void take(const ControlWire::Frame &frame)
    {
        switch (frame.type) {
        case FrameType::Accepted:
            m_isAccepted = true;
            break;
        case FrameType::Output:
            if (!writeAll(STDOUT_FILENO, frame.payload))
                m_exit = complain(std::string("cannot write the reply: ") + std::strerror(errno));
            break;
        case FrameType::Error:
            static_cast<void>(!writeAll(STDERR_FILENO, frame.payload));
            break;
        case FrameType::NeedInput:
            m_sendsInput = true;
            if (m_isSecret)
                m_hidden.emplace();
            break;
        case FrameType::Become:
            m_becomes = wordsOf(frame.payload);
            m_exit = m_becomes.empty() ? complain("the reply makes no sense.") : 0;
            break;
        case FrameType::Exit:
            m_exit = frame.payload.empty() ? 1 : static_cast<unsigned char>(frame.payload[0]);
            break;
        case FrameType::Request:
        case FrameType::Input:
            m_exit = complain("the reply makes no sense.");
            break;
        }
    }

    void readInput()
    {
        char bytes[ControlWire::maximumChunk];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        const std::size_t size = count > 0 ? static_cast<std::size_t>(count) : 0;
        m_inputSize += size;
        if (m_inputSize > ControlWire::maximumInput) {
            m_exit = complain("standard input is longer than 16 MiB.");
            return;
        }
        ControlWire::appendFrame(m_outgoing, FrameType::Input, {bytes, size});
        m_sendsInput = size > 0;
        // Of a person at a terminal one line is all, and less when it ends in Ctrl-D.
        if (m_hidden && m_hidden->isHidden() && (size == 0 || bytes[size - 1] == '\n')) {
            if (m_sendsInput)
                ControlWire::appendFrame(m_outgoing, FrameType::Input, {});
            m_sendsInput = false;
            m_hidden.reset();
        }
    }

    int m_connection;
    std::string m_outgoing;
    ControlWire::FrameReader m_reader;
    std::size_t m_inputSize = 0;
    bool m_isSecret;
    std::optional<HiddenInput> m_hidden;
    std::vector<std::string> m_becomes;
    bool m_isAccepted = false;
    bool m_sendsInput = false;
    std::optional<int> m_exit;
};

/// The exit status that the instance gave; nothing when none runs.
std::optional<int> askInstance(const std::vector<std::string> &arguments)
{
    const Descriptor folder = ControlAddress::openFolder(ControlAddress::runtimeFolderFromEnvironment());
    if (!folder)
        return std::nullopt;
    const Descriptor connection = ControlAddress::connectTo(folder);
    if (!connection)
        return errno == EAGAIN ? std::optional(complain("Keelhaven does not answer.")) : std::nullopt;
    auto request = ControlWire::encodeRequest(requestFor(arguments));
    if (std::holds_alternative<ControlWire::RequestError>(request)) {
        complain("the command line is too long.");
        return 2;
    }
    const bool isSecret = !arguments.empty() && arguments[0] == "secret";
    return Conversation(connection, std::get<std::string>(std::move(request)), isSecret).hold();
}

/// Whether the command is about the caller's own terminal, desktop or session, so that the instance, which
/// may have been started in another, has no part in it.
bool concernsCaller(const std::string &command)
{
    return command == "codex-hooks" || command == "install" || command == "uninstall" || command == "service";
}

/// Whether an instance takes calls.
bool instanceListens()
{
    const Descriptor folder = ControlAddress::openFolder(ControlAddress::runtimeFolderFromEnvironment());
    return folder && ControlAddress::connectTo(folder);
}

bool canShowWindow()
{
    return hasDisplay() && ::access(besideThis("keelhaven-window").c_str(), X_OK) == 0;
}

/// In the child: leaves the terminal to the caller and becomes the application.
[[noreturn]] void runDetached(const char *program, const std::string &link)
{
    ::setsid();
    const int null = ::open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(null, stream);
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
