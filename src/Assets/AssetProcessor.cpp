#include "Assets/AssetProcessor.h"

#include "Assets/AssetFile.h"
#include "Platform/Files.h"
#include "Platform/Tasks.h"

namespace Keelhaven::AssetProcessor {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

/// What a thumbnail may cost. A decoder of videos runs threads that reserve address space each.
struct ThumbnailLimits
{
    QString mode; ///< the program's first argument
    int cpuSeconds;
    int memoryMebibytes;
    std::chrono::milliseconds time;
};

/// Nothing for a kind that has no thumbnails.
std::optional<ThumbnailLimits> limitsFor(AssetKind kind)
{
    switch (kind) {
    case AssetKind::Image:
        return ThumbnailLimits{u"image"_s, 10, 1024, 20s};
    case AssetKind::Video:
        return ThumbnailLimits{u"video"_s, 20, 4096, 30s};
    case AssetKind::HTML:
    case AssetKind::Markdown:
    case AssetKind::Document:
    case AssetKind::Text:
    case AssetKind::Other:
        break;
    }
    return std::nullopt;
}

/// Larger than any JPEG of a thumbnail's size.
constexpr qint64 mostThumbnailBytes = 4 * 1024 * 1024;

/// The JPEG that the program printed, or nothing.
std::optional<QByteArray> pictureFrom(const ProcessResult &result)
{
    const bool isJPEG = result.output.startsWith("\xff\xd8\xff") && result.output.endsWith("\xff\xd9");
    return result.succeeded() && isJPEG ? std::optional(result.output) : std::nullopt;
}

} // namespace

QCoro::Task<Asset> process(Asset asset, QString folder, qint64 copyLimit, Thumbnailer thumbnailer,
                           std::stop_token stop)
{
    auto takeFile = [path = asset.path, folder, copyLimit, stop] {
        return AssetFile::take(path, folder, copyLimit, stop);
    };
    const auto taken = co_await onPool(std::move(takeFile));
    if (!taken)
        co_return asset;
    asset.bytes = taken->bytes;
    asset.mime = taken->mime;
    asset.storedPath = taken->storedPath;
    asset.copied = taken->storedPath.has_value();

    const auto limits = limitsFor(asset.kind);
    if (!limits || thumbnailer.program.isEmpty() || stop.stop_requested())
        co_return asset;
    ProcessSpec spec;
    spec.program = thumbnailer.program;
    spec.arguments = {limits->mode, QString::number(limits->cpuSeconds),
                      QString::number(limits->memoryMebibytes), asset.displayPath()};
    spec.timeout = limits->time;
    spec.outputLimit = mostThumbnailBytes;
    const auto result = co_await thumbnailer.processes->run(spec);
    const auto picture = pictureFrom(result);
    if (!picture || stop.stop_requested())
        co_return asset;
    auto write = [path = taken->thumbnailPath, bytes = *picture] {
        return writeFileAtomically(path, bytes).has_value();
    };
    const bool isWritten = co_await onPool(std::move(write));
    if (isWritten)
        asset.thumbnailPath = taken->thumbnailPath;
    co_return asset;
}

} // namespace Keelhaven::AssetProcessor
