#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// The bytes between the `keelhaven` command and the running instance; docs/control-protocol.md describes
/// them. Plain C++ without Qt, because the command links no Qt: it has to be as fast as a socket call.
namespace Keelhaven::ControlWire {

enum class FrameType : char {
    Request = 'Q',   ///< command → instance: the first frame, once
    Input = 'I',     ///< command → instance: a piece of standard input; an empty one ends it
    Accepted = 'A',  ///< instance → command: the request was read
    Output = 'O',    ///< instance → command: for standard output
    Error = 'E',     ///< instance → command: for standard error
    NeedInput = 'N', ///< instance → command: send standard input
    Become = 'B', ///< instance → command: become this program, its words each ended by a zero; the last frame
    Exit = 'X'    ///< instance → command: one byte, the exit status; the last frame
};

inline constexpr std::string_view versionMark =
    "KHC1";                                  ///< opens every request; another version has another mark
inline constexpr std::size_t headerSize = 5; ///< type, then the payload's length, little-endian
inline constexpr std::size_t maximumArguments = 1024 * 1024;
inline constexpr std::size_t maximumRequest = maximumArguments + 64 * 1024;
inline constexpr std::size_t maximumInput = 16 * 1024 * 1024;
inline constexpr std::size_t maximumChunk = 64 * 1024; ///< payload of every other frame

struct Frame
{
    FrameType type;
    std::string payload;
};

/// What the command was called with.
struct Request
{
    std::string workingDirectory; ///< absolute; empty when the caller's no longer exists
    std::uint16_t columns = 0;    ///< width of the terminal that standard output is; 0 when it is none
    bool inputIsTerminal = false;
    std::vector<std::string> arguments; ///< without the program's name

    bool operator==(const Request &) const = default;
};

enum class RequestError { OtherVersion, Malformed, TooLong };

/// Appends one frame. `payload` is at most maximumChunk, or maximumRequest for a request.
void appendFrame(std::string &bytes, FrameType type, std::string_view payload);

/// The payload of a request frame, or TooLong.
[[nodiscard]] std::variant<std::string, RequestError> encodeRequest(const Request &request);
[[nodiscard]] std::variant<Request, RequestError> decodeRequest(std::string_view payload);

/// Cuts a stream of bytes into frames.
class FrameReader
{
public:
    enum class Fault { None, UnknownType, TooLong };

    void append(std::string_view bytes) { m_bytes.append(bytes); }

    /// The next whole frame; nothing when more bytes are needed and after a fault, which is final.
    [[nodiscard]] std::optional<Frame> next();
    [[nodiscard]] Fault fault() const { return m_fault; }
    /// Bytes that wait for the rest of their frame.
    [[nodiscard]] std::size_t buffered() const { return m_bytes.size() - m_position; }

private:
    std::string m_bytes;
    std::size_t m_position = 0;
    Fault m_fault = Fault::None;
};

} // namespace Keelhaven::ControlWire
