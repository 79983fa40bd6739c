#include "Assets/Asset.h"

#include <QFileInfo>

namespace Keelhaven {

QString Asset::fileName() const
{
    return QFileInfo(path).fileName();
}

bool Asset::exists() const
{
    return QFileInfo::exists(displayPath());
}

} // namespace Keelhaven
