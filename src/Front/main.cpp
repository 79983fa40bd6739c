#include "App/ControlAddress.h"
#include "App/ControlWire.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

// The command that a user types. It knows no command of its own: it hands the words to the running instance
// and prints what comes back, or becomes the program that can answer without one.
namespace {

using namespace Keelhaven;
using ControlAddress::Descriptor;
using ControlWire::FrameType;

constexpr int acceptMilliseconds = 10'000; ///< a living instance takes a request at once
constexpr unsigned defaultColumns = 80;

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

/// Becomes that program. Comes back only with the reason why not.
int become(const char *name, std::vector<std::string> arguments)
{
    const std::string path = besideThis(name);
    std::vector<char *> words;
    std::string first = path;
    words.push_back(first.data());
    for (auto &argument : arguments)
        words.push_back(argument.data());
    words.push_back(nullptr);
    ::execv(path.c_str(), words.data());
    return complain("cannot start " + path + ": " + std::strerror(errno));
}

int openWindow(std::vector<std::string> arguments)
{
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
    Conversation(const Descriptor &connection, std::string request)
        : m_connection(connection.get())
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
        return *m_exit;
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
    }

    int m_connection;
    std::string m_outgoing;
    ControlWire::FrameReader m_reader;
    std::size_t m_inputSize = 0;
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
    return Conversation(connection, std::get<std::string>(std::move(request))).hold();
}

} // namespace

int main(int argc, char **argv)
{
    ::umask(077);
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty())
        return openWindow({});
    if (arguments[0] == "--headless") {
        arguments.erase(arguments.begin());
        return become("keelhaven-headless", std::move(arguments));
    }
    // The desktop hands a clicked link over as the only word.
    const bool isLink = arguments.size() == 1 && arguments[0].starts_with("keelhaven:");
    // It asks before it changes a file of another program, so it needs this terminal.
    if (arguments[0] == "codex-hooks") {
        arguments.insert(arguments.begin(), "--cli");
        return become("keelhaven-headless", std::move(arguments));
    }
    if (const auto status = askInstance(isLink ? std::vector<std::string>{"open", arguments[0]} : arguments))
        return *status;
    if (isLink)
        return openWindow(std::move(arguments));
    arguments.insert(arguments.begin(), "--cli");
    return become("keelhaven-headless", std::move(arguments));
}
