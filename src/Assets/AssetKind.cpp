#include "Assets/AssetKind.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

struct KindExtensions
{
    AssetKind kind;
    QStringList extensions;
};

const QList<KindExtensions> &extensionTable()
{
    static const QList<KindExtensions> table{
        {AssetKind::Video, {u"mp4"_s, u"mov"_s, u"m4v"_s, u"webm"_s, u"mkv"_s}},
        {AssetKind::Image,
         {u"png"_s, u"jpg"_s, u"jpeg"_s, u"gif"_s, u"webp"_s, u"heic"_s, u"svg"_s, u"tiff"_s, u"bmp"_s}},
        {AssetKind::HTML, {u"html"_s, u"htm"_s}},
        {AssetKind::Markdown, {u"md"_s, u"markdown"_s}},
        {AssetKind::Document,
         {u"pdf"_s, u"docx"_s, u"pptx"_s, u"xlsx"_s, u"key"_s, u"numbers"_s, u"rtf"_s, u"pages"_s}},
        {AssetKind::Text, {u"txt"_s, u"log"_s, u"json"_s, u"csv"_s, u"yaml"_s, u"yml"_s}},
    };
    return table;
}

} // namespace

AssetKind inferAssetKind(const QString &path, const std::optional<QString> &hint)
{
    const QString fileName = path.sliced(path.lastIndexOf(u'/') + 1);
    const QString extension = FileNameParts::of(fileName).extension.toLower();
    for (const auto &[kind, extensions] : extensionTable()) {
        if (extensions.contains(extension))
            return kind;
    }
    const auto named = hint ? enumFromText<AssetKind>(hint->toLower()) : std::nullopt;
    return named.value_or(AssetKind::Other);
}

FileNameParts FileNameParts::of(const QString &fileName)
{
    const qsizetype dot = fileName.lastIndexOf(u'.');
    if (dot <= 0 || dot == fileName.size() - 1)
        return {fileName, {}};
    return {fileName.first(dot), fileName.sliced(dot + 1)};
}

} // namespace Keelhaven
