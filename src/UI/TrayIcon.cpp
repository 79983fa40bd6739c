#include "UI/TrayIcon.h"

#include "UI/Appearance.h"
#include "UI/GlanceView.h"
#include "UI/Icons.h"

#include <QImage>
#include <QPixmap>
#include <QtEndian>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

StatusPixmap pixmapOf(const QImage &picture)
{
    const QImage image = picture.convertToFormat(QImage::Format_ARGB32);
    StatusPixmap pixmap{image.width(), image.height(), QByteArray(image.sizeInBytes(), Qt::Uninitialized)};
    char *to = pixmap.pixels.data();
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const quint32 *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x, to += sizeof(quint32))
            qToBigEndian(line[x], to);
    }
    return pixmap;
}

/// Status areas tell nobody their colour. They follow the desktop's scheme, but for GNOME's, always dark.
bool isDarkArea(const Appearance &appearance)
{
    return appearance.isDark() || qgetenv("XDG_CURRENT_DESKTOP").contains("GNOME");
}

} // namespace

TrayIcon::TrayIcon(MessageBus &session, GlanceView &view, Appearance &appearance)
    : m_view(view)
    , m_appearance(appearance)
    , m_menu({{MenuBarPanel::openKeelhaven.toString(), u"open"_s},
              {},
              {MenuBarPanel::openBoard.toString(), u"keelhaven"_s},
              {MenuBarPanel::openAgents.toString(), u"scheduler"_s},
              {MenuBarPanel::openPlugins.toString(), u"plugins"_s},
              {},
              {MenuBarPanel::quit.toString(), u"quit"_s}})
    , m_item(session, m_menu)
{
    connect(&m_item, &StatusNotifierItem::shownChanged, this,
            [this] { m_view.setHasTray(m_item.isShown()); });
    connect(&m_item, &StatusNotifierItem::activated, &m_view, &GlanceView::panelWanted);
    connect(&m_menu, &StatusMenu::triggered, &m_view,
            [this](const QString &action) { action == u"quit" ? m_view.quit() : m_view.open(action); });
    connect(&m_appearance, &Appearance::changed, this, &TrayIcon::draw);
    connect(&m_view, &GlanceView::changed, this, &TrayIcon::tell);
    draw();
    tell();
    m_item.start();
}

QList<StatusPixmap> TrayIcon::drawn(QColor ink)
{
    QList<StatusPixmap> sizes;
    Icons icons;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        const QPixmap ship = icons.requestPixmap(u"ship/"_s + ink.name().mid(1), nullptr, {size, size});
        sizes.append(pixmapOf(ship.toImage()));
    }
    return sizes;
}

void TrayIcon::draw()
{
    m_item.setIcon(drawn(isDarkArea(m_appearance) ? QColor(0xe8, 0xe6, 0xe1) : QColor(0x2e, 0x34, 0x36)));
}

void TrayIcon::tell()
{
    m_item.setToolTip(u"Keelhaven"_s, m_view.toolTip());
}

} // namespace Keelhaven
