#pragma once

#include "Herdr/Wire/HerdrRecords.h"

#include <QMap>

namespace Keelhaven {

/// The terminal host that this build carries. Compatibility is judged by the protocol number alone.
struct HerdrPin
{
    QString version;
    int protocolVersion = Herdr::protocolVersion;
    QMap<QString, QString>
        sha256; ///< processor name to the binary's digest, 64 lower-case hexadecimal characters

    /// This build's pin. The host is built together with the program, so its digest is that of the bundled
    /// file; the host tells its builds apart by "+xxxxxxxx" behind the version.
    [[nodiscard]] static HerdrPin current(const std::optional<QString> &bundledBinary = std::nullopt);

    bool operator==(const HerdrPin &) const = default;
};

} // namespace Keelhaven
