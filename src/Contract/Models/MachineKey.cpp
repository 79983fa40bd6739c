#include "Contract/Models/MachineKey.h"

#include <sys/utsname.h>

namespace Keelhaven::MachineKey {

QString fromNodeName(QByteArrayView name)
{
    return name.isEmpty() ? QStringLiteral("unknown") : QString::fromUtf8(name);
}

const QString &current()
{
    static const QString key = [] {
        utsname system = {};
        return fromNodeName(::uname(&system) == 0 ? QByteArrayView(&system.nodename[0]) : QByteArrayView());
    }();
    return key;
}

} // namespace Keelhaven::MachineKey
