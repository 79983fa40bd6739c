#pragma once

#include <QString>

namespace Keelhaven::HerdrPlacement {

/// The workspace that a project's sessions open in: the folder's own name, "Runs" when it has none.
[[nodiscard]] QString workspaceLabel(const QString &projectDir);

} // namespace Keelhaven::HerdrPlacement
