#include "Herdr/HerdrPlacement.h"

#include <QStringList>

namespace Keelhaven::HerdrPlacement {

using namespace Qt::StringLiterals;

QString workspaceLabel(const QString &projectDir)
{
    const auto components = projectDir.trimmed().split(u'/', Qt::SkipEmptyParts);
    return components.isEmpty() || components.last() == u"." ? u"Runs"_s : components.last();
}

} // namespace Keelhaven::HerdrPlacement
