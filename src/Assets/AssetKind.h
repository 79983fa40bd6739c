#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// What a delivered file is to the one who looks at it.
enum class AssetKind { Video, Image, HTML, Markdown, Document, Text, Other };

template <>
struct EnumTexts<AssetKind>
{
    static constexpr std::array<std::u16string_view, 7> texts{u"video",    u"image", u"html", u"markdown",
                                                              u"document", u"text",  u"other"};
};

/// A known extension decides, whatever the hint says; then a hint that names a kind, in any case; else Other.
[[nodiscard]] AssetKind inferAssetKind(const QString &path, const std::optional<QString> &hint);

/// A file name cut at its last dot. A name that starts with its only dot has no extension, and neither has
/// one that ends in a dot.
struct FileNameParts
{
    QString stem;
    QString extension; ///< without the dot; empty when there is none

    [[nodiscard]] static FileNameParts of(const QString &fileName);
};

} // namespace Keelhaven
