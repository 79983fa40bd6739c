#include "Platform/HttpClient.h"

#include <algorithm>

namespace Keelhaven {

QByteArray HttpResponse::header(const QByteArray &name) const
{
    const auto found = std::ranges::find_if(
        headers, [&](const auto &header) { return header.first.compare(name, Qt::CaseInsensitive) == 0; });
    return found == headers.end() ? QByteArray() : found->second;
}

} // namespace Keelhaven
