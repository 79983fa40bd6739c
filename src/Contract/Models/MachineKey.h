#pragma once

#include <QByteArrayView>
#include <QString>

/// The name that separates one machine's part of shared state from another's.
namespace Keelhaven::MachineKey {

/// This machine's node name, asked once in a process. Usable from any thread.
[[nodiscard]] const QString &current();

/// The name as UTF-8, with bad bytes replaced; "unknown" for an empty one.
[[nodiscard]] QString fromNodeName(QByteArrayView name);

} // namespace Keelhaven::MachineKey
