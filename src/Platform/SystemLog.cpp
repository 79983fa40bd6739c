#include "Platform/SystemLog.h"

#include <cstdio>

namespace Keelhaven {

void systemLog(const QString &line)
{
    QByteArray bytes = line.toUtf8();
    bytes.replace('\n', ' ');
    bytes.append('\n');
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
}

} // namespace Keelhaven
