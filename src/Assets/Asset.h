#pragma once

#include "Assets/AssetKind.h"
#include "Platform/Moments.h"

#include <QUrl>

namespace Keelhaven {

/// Where a delivered file became known.
enum class AssetSource { MCP, ResultJSON };

template <>
struct EnumTexts<AssetSource>
{
    static constexpr std::array<std::u16string_view, 2> texts{u"mcp", u"result_json"};
};

/// One file that a run made for a human.
struct Asset
{
    using Source = AssetSource;

    QString id; ///< text of a UUID
    QUuid runID;
    std::optional<QUuid> shipID;
    std::optional<QString> workItemID;
    QString path;                      ///< absolute, as the agent gave it
    std::optional<QString> storedPath; ///< the copy, which outlives the original
    AssetKind kind = AssetKind::Other;
    std::optional<QString> mime;
    std::optional<QString> caption;
    std::optional<qint64> bytes;
    std::optional<QString> thumbnailPath; ///< a JPEG
    bool copied = false;
    Source source = Source::MCP;
    Date addedAt{};

    bool operator==(const Asset &) const = default;

    [[nodiscard]] QString fileName() const;
    /// The copy where there is one, else the original.
    [[nodiscard]] QString displayPath() const { return storedPath.value_or(path); }
    [[nodiscard]] QUrl displayURL() const { return QUrl::fromLocalFile(displayPath()); }
    /// Whether the file at displayPath() is still there. Looks at the disk.
    [[nodiscard]] bool exists() const;
};

template <>
struct RecordTable<Asset>
{
    static auto fields()
    {
        using A = Asset;
        return std::tuple{required(u"id", &A::id),
                          required(u"runID", &A::runID),
                          optional(u"shipID", &A::shipID),
                          optional(u"workItemID", &A::workItemID),
                          required(u"path", &A::path),
                          optional(u"storedPath", &A::storedPath),
                          required(u"kind", &A::kind),
                          optional(u"mime", &A::mime),
                          optional(u"caption", &A::caption),
                          optional(u"bytes", &A::bytes),
                          optional(u"thumbnailPath", &A::thumbnailPath),
                          defaulted(u"copied", &A::copied),
                          required(u"source", &A::source),
                          required(u"addedAt", &A::addedAt)};
    }
};

} // namespace Keelhaven
