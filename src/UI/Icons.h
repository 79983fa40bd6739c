#pragma once

#include <QQuickImageProvider>

namespace Keelhaven {

/// Draws the application's line icons at any size and in any colour: "image://keelhaven/{name}/{rrggbb}".
/// An unknown name draws nothing.
class Icons : public QQuickImageProvider
{
public:
    Icons();

    QPixmap requestPixmap(const QString &id, QSize *size, const QSize &requestedSize) override;

    [[nodiscard]] static QStringList names();
};

} // namespace Keelhaven
