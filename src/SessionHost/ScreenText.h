#pragma once

#include "Herdr/Wire/HerdrRecords.h"

#include <QByteArray>

namespace Keelhaven {

/// A captured screen as text: lines without trailing blanks, no blank lines at the end, at most the last
/// `limit` lines. `hasMore` says that lines above the capture exist.
[[nodiscard]] Herdr::PaneRead::Payload screenPayload(const QByteArray &capture, std::optional<int> limit,
                                                     bool hasMore);

} // namespace Keelhaven
