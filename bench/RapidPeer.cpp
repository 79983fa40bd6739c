#include "RapidPeer.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Keelhaven::Bench {

std::size_t rapidRoundTrip(std::string_view text)
{
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    rapidjson::StringBuffer out;
    rapidjson::Writer<rapidjson::StringBuffer> writer(out);
    document.Accept(writer);
    return out.GetSize();
}

} // namespace Keelhaven::Bench
