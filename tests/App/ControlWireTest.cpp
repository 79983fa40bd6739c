#include "App/ControlWire.h"

#include <gtest/gtest.h>

namespace Keelhaven::ControlWire {

namespace {

Request sample()
{
    return {"/home/me/code",
            120,
            true,
            {"agents", "add", "--command", std::string("two\nlines\0and a zero", 20), ""}};
}

std::string payloadOf(const Request &request)
{
    return std::get<std::string>(encodeRequest(request));
}

} // namespace

TEST(ControlWire, RequestComesBackAsItWas)
{
    for (const Request &request : {sample(), Request{}}) {
        const auto decoded = decodeRequest(payloadOf(request));
        ASSERT_TRUE(std::holds_alternative<Request>(decoded));
        EXPECT_EQ(std::get<Request>(decoded), request);
    }
}

TEST(ControlWire, RequestCutAnywhereIsMalformedAndNeverReadPastItsEnd)
{
    const std::string whole = payloadOf(sample());
    int shorter = 0;
    for (size_t size = 0; size < whole.size(); ++size) {
        const auto decoded = decodeRequest(whole.substr(0, size));
        // A cut between two arguments leaves a request with fewer of them, and nothing else does.
        if (std::holds_alternative<Request>(decoded))
            ++shorter;
        else
            EXPECT_EQ(std::get<RequestError>(decoded),
                      size < versionMark.size() ? RequestError::OtherVersion : RequestError::Malformed)
                << size;
    }
    EXPECT_EQ(shorter, 5);
    EXPECT_EQ(std::get<RequestError>(decodeRequest("KHC2 something else")), RequestError::OtherVersion);
}

TEST(ControlWire, ArgumentsBeyondTheLimitAreRefusedOnBothSides)
{
    Request request;
    request.arguments = {std::string(maximumArguments - 4, 'x')};
    EXPECT_TRUE(std::holds_alternative<Request>(decodeRequest(payloadOf(request))));
    std::string tooLong = payloadOf(request);
    tooLong.append(4, '\0'); // one more, empty argument
    EXPECT_EQ(std::get<RequestError>(decodeRequest(tooLong)), RequestError::TooLong);
    request.arguments.push_back({});
    EXPECT_EQ(std::get<RequestError>(encodeRequest(request)), RequestError::TooLong);
}

TEST(ControlWire, FramesAreCutOutOfAnySplitOfTheStream)
{
    std::string stream;
    appendFrame(stream, FrameType::Accepted, {});
    appendFrame(stream, FrameType::Output, "one");
    appendFrame(stream, FrameType::Error, std::string(maximumChunk, 'e'));
    appendFrame(stream, FrameType::Error, "e");
    appendFrame(stream, FrameType::Exit, std::string_view("\x02", 1));
    for (const size_t piece : {size_t(1), size_t(7), stream.size()}) {
        FrameReader reader;
        std::string types;
        std::string error;
        for (size_t at = 0; at < stream.size(); at += piece) {
            reader.append(std::string_view(stream).substr(at, piece));
            while (const auto frame = reader.next()) {
                types.push_back(static_cast<char>(frame->type));
                if (frame->type == FrameType::Error)
                    error += frame->payload;
            }
        }
        EXPECT_EQ(types, "AOEEX") << piece;
        EXPECT_EQ(error.size(), maximumChunk + 1);
        EXPECT_EQ(reader.fault(), FrameReader::Fault::None);
        EXPECT_EQ(reader.buffered(), 0U);
    }
}

TEST(ControlWire, GarbageAndOversizeAreFaultsBeforeAnyPayloadArrives)
{
    const struct
    {
        std::string bytes;
        FrameReader::Fault fault;
    } cases[] = {
        {"GET / HTTP/1.1\r\n", FrameReader::Fault::UnknownType},
        {std::string("\0\0\0\0\0", 5), FrameReader::Fault::UnknownType},
        {std::string("Q\xff\xff\xff\xff", 5), FrameReader::Fault::TooLong},
        {std::string("I\x01\x00\x01\x00", 5), FrameReader::Fault::TooLong},
        {std::string("I\x00\x00\x01\x00", 5), FrameReader::Fault::None},
    };
    for (const auto &[bytes, fault] : cases) {
        FrameReader reader;
        reader.append(bytes);
        EXPECT_FALSE(reader.next());
        EXPECT_EQ(reader.fault(), fault) << bytes;
    }
}

} // namespace Keelhaven::ControlWire
