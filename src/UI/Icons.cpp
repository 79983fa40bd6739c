#include "UI/Icons.h"

#include <QPainter>
#include <QPainterPath>
#include <span>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr qreal grid = 16; ///< the paths are drawn on 16 by 16
constexpr qreal lineWidth = 1.3;

/// Words of a path: M and L with a point, C with three, Z, "O x y r" for a ring, "D x y r" for a filled dot.
struct Icon
{
    QLatin1StringView name;
    const char *path;
};

constexpr Icon icons[] = {
    {"agents"_L1,
     "M 2.5 4.5 L 9 4.5 M 2.5 8 L 7 8 M 2.5 11.5 L 7 11.5 O 11.3 10 3 M 11.3 8.4 L 11.3 10.1 L 12.4 10.8"},
    {"archive"_L1,
     "M 2.5 3 L 13.5 3 L 13.5 6 L 2.5 6 Z M 3.5 6 L 3.5 13 L 12.5 13 L 12.5 6 M 6.5 8.5 L 9.5 8.5"},
    {"arrow-left"_L1, "M 13 8 L 3.5 8 M 7.5 4 L 3.5 8 L 7.5 12"},
    {"arrow-out"_L1, "M 5 11 L 11.5 4.5 M 6.5 4.5 L 11.5 4.5 L 11.5 9.5"},
    {"arrow-up"_L1, "M 8 13 L 8 3.5 M 4 7.5 L 8 3.5 L 12 7.5"},
    {"calendar"_L1,
     "M 2.5 4 L 13.5 4 L 13.5 13.5 L 2.5 13.5 Z M 2.5 7 L 13.5 7 M 5.5 2.5 L 5.5 5 M 10.5 2.5 L 10.5 5"},
    {"check"_L1, "M 3 8.5 L 6.5 12 L 13 4.5"},
    {"check-circle"_L1, "O 8 8 5.7 M 5.4 8.2 L 7.3 10 L 10.7 6.2"},
    {"chevron-down"_L1, "M 4 6 L 8 10 L 12 6"},
    {"chevron-left"_L1, "M 10 4 L 6 8 L 10 12"},
    {"chevron-right"_L1, "M 6 4 L 10 8 L 6 12"},
    {"clock"_L1, "O 8 8 5.7 M 8 4.8 L 8 8.2 L 10.4 9.6"},
    {"copy"_L1, "M 5.5 5.5 L 13 5.5 L 13 13 L 5.5 13 Z M 10.5 5.5 L 10.5 3 L 3 3 L 3 10.5 L 5.5 10.5"},
    {"cross"_L1, "M 4 4 L 12 12 M 12 4 L 4 12"},
    {"cross-circle"_L1, "O 8 8 5.7 M 6 6 L 10 10 M 10 6 L 6 10"},
    {"database"_L1, "M 3 4.2 C 3 2.2 13 2.2 13 4.2 C 13 6.2 3 6.2 3 4.2 M 3 4.2 L 3 11.8 C 3 13.8 13 13.8 13 "
                    "11.8 L 13 4.2 M 3 8 C 3 10 13 10 13 8"},
    {"document"_L1, "M 4 2.5 L 9.5 2.5 L 12.5 5.5 L 12.5 13.5 L 4 13.5 Z M 9.5 2.5 L 9.5 5.5 L 12.5 5.5"},
    {"edit"_L1, "M 3 13 L 3.6 10.4 L 10.8 3.2 L 12.8 5.2 L 5.6 12.4 Z M 9.2 4.8 L 11.2 6.8"},
    {"eye"_L1, "M 1.8 8 C 4.2 3.2 11.8 3.2 14.2 8 C 11.8 12.8 4.2 12.8 1.8 8 Z O 8 8 2"},
    {"eye-off"_L1, "M 1.8 8 C 4.2 3.2 11.8 3.2 14.2 8 C 11.8 12.8 4.2 12.8 1.8 8 Z M 3 13 L 13 3"},
    {"filter"_L1, "M 2.5 4.5 L 13.5 4.5 M 4.5 8 L 11.5 8 M 6.5 11.5 L 9.5 11.5"},
    {"folder"_L1, "M 2 12.5 L 2 3.8 L 6.2 3.8 L 7.8 5.6 L 14 5.6 L 14 12.5 Z"},
    {"gear"_L1, "M 2.5 4.8 L 8.6 4.8 M 12.4 4.8 L 13.5 4.8 O 10.5 4.8 1.9 M 2.5 11.2 L 3.6 11.2 M 7.4 11.2 L "
                "13.5 11.2 O 5.5 11.2 1.9"},
    {"hand"_L1, "M 5 8.5 L 5 4.3 C 5 3.2 6.6 3.2 6.6 4.3 L 6.6 7.5 M 6.6 4 L 6.6 3 C 6.6 1.9 8.3 1.9 8.3 3 L "
                "8.3 7.3 M 8.3 3.8 C 8.3 2.7 10 2.7 10 3.8 L 10 7.6 M 10 5 C 10 4 11.6 4 11.6 5 L 11.6 9.6 C "
                "11.6 12.4 10.2 13.8 8 13.8 C 5.8 13.8 5 12.6 3.2 9.4 C 2.6 8.2 4 7.4 5 8.5"},
    {"history"_L1, "M 3.1 5.2 C 4.6 2.4 8 1.6 10.8 3.1 C 13.6 4.6 14.5 8 12.9 10.8 C 11.4 13.5 7.9 14.4 5.1 "
                   "12.9 C 3.8 12.2 2.9 11 2.5 9.6 M 2.7 2.4 L 3 5.4 L 6 5.1 M 8 5 L 8 8.3 L 10.2 9.5"},
    {"hourglass"_L1, "M 4 2.5 L 12 2.5 M 4 13.5 L 12 13.5 M 5 2.5 L 5 4.8 C 5 6.6 8 7 8 8 C 8 9 5 9.4 5 11.2 "
                     "L 5 13.5 M 11 2.5 L 11 4.8 C 11 6.6 8 7 8 8 C 8 9 11 9.4 11 11.2 L 11 13.5"},
    {"image"_L1, "M 2.5 3 L 13.5 3 L 13.5 13 L 2.5 13 Z O 5.8 6.2 1.1 M 2.5 11.5 L 6.2 8.6 L 8.5 10.6 L 11 8 "
                 "L 13.5 10.4"},
    {"inbox"_L1, "M 2.5 9 L 4.2 3.5 L 11.8 3.5 L 13.5 9 L 13.5 12.8 L 2.5 12.8 Z M 2.5 9 L 5.8 9 L 6.6 10.6 "
                 "L 9.4 10.6 L 10.2 9 L 13.5 9"},
    {"info"_L1, "O 8 8 5.7 M 8 7.4 L 8 11 D 8 5.2 0.5"},
    {"keyboard"_L1, "M 1.8 4.5 L 14.2 4.5 L 14.2 11.8 L 1.8 11.8 Z M 4.2 7 L 4.3 7 M 6.7 7 L 6.8 7 M 9.2 7 L "
                    "9.3 7 M 11.7 7 L 11.8 7 M 5.2 9.5 L 10.8 9.5"},
    {"minus"_L1, "M 3.2 8 L 12.8 8"},
    {"more"_L1, "D 3.6 8 0.7 D 8 8 0.7 D 12.4 8 0.7"},
    {"pause"_L1, "M 5.8 4 L 5.8 12 M 10.2 4 L 10.2 12"},
    {"play"_L1, "M 5 3.5 L 12.3 8 L 5 12.5 Z"},
    {"plug"_L1, "M 5.8 2.2 L 5.8 5 M 10.2 2.2 L 10.2 5 M 4 5 L 12 5 L 12 7.2 C 12 9.6 10.4 11 8 11 C 5.6 11 "
                "4 9.6 4 7.2 Z M 8 11 L 8 14"},
    {"plus"_L1, "M 8 3.2 L 8 12.8 M 3.2 8 L 12.8 8"},
    {"question"_L1, "O 8 8 5.7 M 6.3 6.6 C 6.3 4.2 9.8 4.3 9.7 6.5 C 9.7 7.8 8 7.8 8 9.3 D 8 11.2 0.45"},
    {"refresh"_L1, "M 13 8 C 13 10.8 10.8 13 8 13 C 5.2 13 3 10.8 3 8 C 3 5.2 5.2 3 8 3 C 9.8 3 11.4 3.9 "
                   "12.3 5.3 M 12.8 2.4 L 12.6 5.6 L 9.5 5.3"},
    {"search"_L1, "O 7 7 4.2 M 10.2 10.2 L 13.5 13.5"},
    {"ship"_L1,
     "M 2 10 L 14 10 L 12.2 13.2 L 3.8 13.2 Z M 7.6 10 L 7.6 2.4 L 12 8 L 7.6 8 M 5.6 8 L 3.6 8 L 5.6 4.6 Z"},
    {"skip"_L1, "M 3.5 4 L 9 8 L 3.5 12 Z M 12 4 L 12 12"},
    {"stop"_L1, "M 4.5 4.5 L 11.5 4.5 L 11.5 11.5 L 4.5 11.5 Z"},
    {"task"_L1, "M 2.5 3.5 L 13.5 3.5 L 13.5 10.5 L 8.5 10.5 L 5.5 13.2 L 5.5 10.5 L 2.5 10.5 Z"},
    {"terminal"_L1, "M 2 3 L 14 3 L 14 13 L 2 13 Z M 4.5 6 L 6.8 8 L 4.5 10 M 8 10.2 L 11 10.2"},
    {"trash"_L1, "M 2.8 4.5 L 13.2 4.5 M 6 4.5 L 6 2.8 L 10 2.8 L 10 4.5 M 4.2 4.5 L 4.8 13.2 L 11.2 13.2 L "
                 "11.8 4.5 M 6.8 7 L 6.8 10.8 M 9.2 7 L 9.2 10.8"},
    {"warning"_L1, "M 8 2.6 L 14.2 13.2 L 1.8 13.2 Z M 8 6.6 L 8 9.6 D 8 11.3 0.5"},
    {"working"_L1, "O 8 8 5.7 D 8 8 2.2"},
};

const char *pathOf(QStringView name)
{
    const auto found = std::ranges::find_if(icons, [&](const Icon &icon) { return icon.name == name; });
    return found == std::end(icons) ? nullptr : found->path;
}

/// The lines and the filled dots of a path.
struct Drawing
{
    QPainterPath lines;
    QPainterPath dots;
};

Drawing parse(const char *text)
{
    Drawing drawing;
    const auto words = QString::fromLatin1(text).split(u' ');
    qsizetype at = 0;
    const auto number = [&] { return words.value(at++).toDouble(); };
    const auto point = [&] {
        const qreal x = number();
        return QPointF(x, number());
    };
    while (at < words.size()) {
        const QString word = words[at++];
        if (word == u"M") {
            drawing.lines.moveTo(point());
        } else if (word == u"L") {
            drawing.lines.lineTo(point());
        } else if (word == u"C") {
            const QPointF first = point();
            const QPointF second = point();
            drawing.lines.cubicTo(first, second, point());
        } else if (word == u"Z") {
            drawing.lines.closeSubpath();
        } else {
            const QPointF center = point();
            const qreal radius = number();
            (word == u"D" ? drawing.dots : drawing.lines).addEllipse(center, radius, radius);
        }
    }
    return drawing;
}

} // namespace

Icons::Icons()
    : QQuickImageProvider(QQuickImageProvider::Pixmap)
{}

QPixmap Icons::requestPixmap(const QString &id, QSize *size, const QSize &requestedSize)
{
    const QSize wanted = requestedSize.isValid() && !requestedSize.isEmpty() ? requestedSize : QSize(16, 16);
    if (size)
        *size = wanted;
    QPixmap pixmap(wanted);
    pixmap.fill(Qt::transparent);
    const QString name = id.section(u'/', 0, 0);
    const char *path = pathOf(name);
    if (!path)
        return pixmap;
    const QColor color(u'#' + id.section(u'/', 1, 1));
    const Drawing drawing = parse(path);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(wanted.width() / grid, wanted.height() / grid);
    // Large icons keep slender lines.
    const qreal width = wanted.width() > 40 ? lineWidth * 0.8 : lineWidth;
    painter.strokePath(drawing.lines, QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.fillPath(drawing.dots, color);
    if (!drawing.dots.isEmpty())
        painter.strokePath(drawing.dots, QPen(color, 0.4));
    return pixmap;
}

QStringList Icons::names()
{
    QStringList all;
    for (const Icon &icon : icons)
        all.append(QString(icon.name));
    return all;
}

} // namespace Keelhaven
