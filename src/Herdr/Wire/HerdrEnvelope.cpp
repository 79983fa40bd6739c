#include "Herdr/Wire/HerdrEnvelope.h"

namespace Keelhaven {

QString newHerdrRequestID()
{
    return QStringLiteral("kh-") + uuidText(QUuid::createUuid()).first(8);
}

} // namespace Keelhaven
