#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// What the version endpoint says of the newest release.
struct UpdateInfo
{
    QString version;
    QString url;                   ///< where to download it
    std::optional<QString> sha256; ///< of the download; kept, and not used further

    bool operator==(const UpdateInfo &) const = default;
};

template <>
struct RecordTable<UpdateInfo>
{
    static auto fields()
    {
        using I = UpdateInfo;
        return std::tuple{required(u"version", &I::version), required(u"url", &I::url),
                          optional(u"sha256", &I::sha256)};
    }
};

} // namespace Keelhaven
