#include "App/ControlWire.h"

#include <algorithm>

namespace Keelhaven::ControlWire {

namespace {

constexpr std::size_t fixedRequestSize = versionMark.size() + 1 + 2; ///< the mark, the flags, the columns
constexpr char inputIsTerminalFlag = 1;

bool isKnown(char type)
{
    return std::string_view("QIAOENBX").contains(type);
}

template <typename Integer>
void appendInteger(std::string &bytes, Integer value)
{
    for (std::size_t i = 0; i < sizeof value; ++i)
        bytes.push_back(static_cast<char>(value >> (8 * i) & 0xff));
}

template <typename Integer>
Integer readInteger(std::string_view bytes)
{
    Integer value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i)
        value = static_cast<Integer>(value | static_cast<Integer>(static_cast<unsigned char>(bytes[i]))
                                                 << (8 * i));
    return value;
}

/// Takes one length-prefixed text off the front of `rest`.
std::optional<std::string> takeText(std::string_view &rest)
{
    if (rest.size() < sizeof(std::uint32_t))
        return std::nullopt;
    const auto length = readInteger<std::uint32_t>(rest);
    rest.remove_prefix(sizeof length);
    if (rest.size() < length)
        return std::nullopt;
    std::string text(rest.substr(0, length));
    rest.remove_prefix(length);
    return text;
}

void appendText(std::string &bytes, std::string_view text)
{
    appendInteger(bytes, static_cast<std::uint32_t>(text.size()));
    bytes.append(text);
}

} // namespace

void appendFrame(std::string &bytes, FrameType type, std::string_view payload)
{
    bytes.push_back(static_cast<char>(type));
    appendInteger(bytes, static_cast<std::uint32_t>(payload.size()));
    bytes.append(payload);
}

std::variant<std::string, RequestError> encodeRequest(const Request &request)
{
    std::size_t total = 0;
    for (const auto &argument : request.arguments)
        total += argument.size() + sizeof(std::uint32_t);
    if (total > maximumArguments)
        return RequestError::TooLong;
    std::string bytes(versionMark);
    bytes.push_back(request.inputIsTerminal ? inputIsTerminalFlag : char(0));
    appendInteger(bytes, request.columns);
    appendText(bytes, request.workingDirectory);
    for (const auto &argument : request.arguments)
        appendText(bytes, argument);
    if (bytes.size() > maximumRequest)
        return RequestError::TooLong;
    return bytes;
}

std::variant<Request, RequestError> decodeRequest(std::string_view payload)
{
    if (!payload.starts_with(versionMark))
        return RequestError::OtherVersion;
    if (payload.size() < fixedRequestSize)
        return RequestError::Malformed;
    Request request;
    request.inputIsTerminal = (payload[versionMark.size()] & inputIsTerminalFlag) != 0;
    request.columns = readInteger<std::uint16_t>(payload.substr(versionMark.size() + 1));
    auto rest = payload.substr(fixedRequestSize);
    auto folder = takeText(rest);
    if (!folder)
        return RequestError::Malformed;
    request.workingDirectory = *std::move(folder);
    if (rest.size() > maximumArguments)
        return RequestError::TooLong;
    while (!rest.empty()) {
        auto argument = takeText(rest);
        if (!argument)
            return RequestError::Malformed;
        request.arguments.push_back(*std::move(argument));
    }
    return request;
}

std::optional<Frame> FrameReader::next()
{
    if (m_fault != Fault::None || buffered() == 0)
        return std::nullopt;
    const auto rest = std::string_view(m_bytes).substr(m_position);
    if (!isKnown(rest[0])) {
        m_fault = Fault::UnknownType;
        return std::nullopt;
    }
    if (rest.size() < headerSize)
        return std::nullopt;
    const auto type = static_cast<FrameType>(rest[0]);
    const std::size_t length = readInteger<std::uint32_t>(rest.substr(1));
    if (length > (type == FrameType::Request ? maximumRequest : maximumChunk)) {
        m_fault = Fault::TooLong;
        return std::nullopt;
    }
    if (rest.size() < headerSize + length)
        return std::nullopt;
    Frame frame{type, std::string(rest.substr(headerSize, length))};
    m_position += headerSize + length;
    // Used bytes go at once when all are used, else when they are worth a copy of the remainder.
    if (m_position == m_bytes.size() || m_position > maximumRequest) {
        m_bytes.erase(0, m_position);
        m_position = 0;
    }
    return frame;
}

} // namespace Keelhaven::ControlWire
