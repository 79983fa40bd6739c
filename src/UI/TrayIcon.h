#pragma once

#include "MenuBar/StatusMenu.h"
#include "MenuBar/StatusNotifierItem.h"

#include <QColor>

namespace Keelhaven {

class Appearance;
class GlanceView;

/// The ship in the desktop's status area, in the desktop's colour. A click on it asks for the panel. The bus,
/// the view and the appearance outlive it.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    TrayIcon(MessageBus &session, GlanceView &view, Appearance &appearance);

    /// The ship in all sizes that status areas ask for.
    [[nodiscard]] static QList<StatusPixmap> drawn(QColor ink);

private:
    void draw();
    void tell();

    GlanceView &m_view;
    Appearance &m_appearance;
    StatusMenu m_menu;
    StatusNotifierItem m_item;
};

} // namespace Keelhaven
