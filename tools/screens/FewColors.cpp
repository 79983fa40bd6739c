#include "FewColors.h"

#include <QHash>
#include <algorithm>

namespace Keelhaven {

namespace {

constexpr int most = 256;

int distance(QRgb a, QRgb b)
{
    return std::max(
        {std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
}

qsizetype nearest(QRgb color, const QList<QRgb> &palette)
{
    const auto found =
        std::ranges::min_element(palette, {}, [color](QRgb candidate) { return distance(color, candidate); });
    return found - palette.begin();
}

/// The colours, most used first, without those nearer than `gap` to one before; the first `kept` stay.
QList<QRgb> thinned(const QList<QRgb> &colors, qsizetype kept, int gap)
{
    QList<QRgb> palette = colors.first(kept);
    for (const QRgb color : colors.sliced(kept)) {
        if (palette.isEmpty() || distance(color, palette[nearest(color, palette)]) >= gap)
            palette.append(color);
        if (palette.size() > most)
            break;
    }
    return palette;
}

} // namespace

QImage withFewColors(const QImage &image)
{
    const QImage source = image.convertToFormat(QImage::Format_RGB32);
    QHash<QRgb, int> counts;
    for (int y = 0; y < source.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(source.constScanLine(y));
        for (int x = 0; x < source.width(); ++x)
            ++counts[line[x]];
    }
    QList<QRgb> colors = counts.keys();
    std::ranges::sort(colors,
                      [&](QRgb a, QRgb b) { return std::pair(counts[b], b) < std::pair(counts[a], a); });
    const int flat = source.width() * source.height() / 2000;
    const auto edge = std::ranges::find_if(colors, [&](QRgb color) { return counts[color] < flat; });
    const qsizetype kept = std::min<qsizetype>(edge - colors.begin(), most / 2);
    QList<QRgb> palette = thinned(colors, kept, 1);
    for (int gap = 2; palette.size() > most; ++gap)
        palette = thinned(colors, kept, gap);
    QHash<QRgb, uchar> places;
    for (const QRgb color : std::as_const(colors))
        places.insert(color, uchar(nearest(color, palette)));
    QImage result(source.size(), QImage::Format_Indexed8);
    result.setColorTable(palette);
    for (int y = 0; y < source.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(source.constScanLine(y));
        uchar *target = result.scanLine(y);
        for (int x = 0; x < source.width(); ++x)
            target[x] = places[line[x]];
    }
    return result;
}

} // namespace Keelhaven
