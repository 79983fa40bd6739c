#include "Herdr/HerdrPin.h"

#include "Herdr/HerdrInstaller.h"

#include <QSysInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;

HerdrPin HerdrPin::current(const std::optional<QString> &bundledBinary)
{
    HerdrPin pin;
    pin.version = u"0.9.1"_s;
    if (const auto digest = bundledBinary ? HerdrInstaller::sha256(*bundledBinary) : failure(FileError{}))
        pin.sha256.insert(QSysInfo::currentCpuArchitecture(), *digest);
    return pin;
}

} // namespace Keelhaven
