#include "Front/Conversation.h"

#include "App/ControlAddress.h"
#include "App/ControlWire.h"
#include "Front/Programs.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace Keelhaven::Front {

using ControlAddress::Descriptor;
using ControlWire::FrameType;

namespace {

constexpr int acceptMilliseconds = 10'000; ///< a living instance takes a request at once
constexpr unsigned defaultColumns = 80;

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

    /// Gives the exit status; nothing when the instance was gone before it had read the request.
    std::optional<int> hold()
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
        if (m_isGone)
            return std::nullopt;
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
            // A child that a killed instance was just starting holds the socket open for another moment.
            m_isGone = !m_isAccepted && m_reader.buffered() == 0;
            m_exit = m_isGone ? 0 : complain("Keelhaven went away before it had answered.");
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
    bool m_isGone = false; ///< it hung up before it had read the request
    bool m_sendsInput = false;
    std::optional<int> m_exit;
};

} // namespace

bool instanceListens()
{
    const Descriptor folder = ControlAddress::openFolder(ControlAddress::runtimeFolderFromEnvironment());
    return folder && ControlAddress::connectTo(folder);
}

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

} // namespace Keelhaven::Front
