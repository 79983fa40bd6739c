#pragma once

#include <QList>
#include <QString>
#include <compare>
#include <optional>

namespace Keelhaven {

/// The version of a release: numbers, most significant first. A missing number counts as 0, so "1.2" equals
/// "1.2.0".
struct AppVersion
{
    QList<qint64> components; ///< none is negative

    /// Reads "1.2.3", with one leading "v" and blanks around it allowed. Nothing for any other text.
    [[nodiscard]] static std::optional<AppVersion> parse(const QString &text);

    [[nodiscard]] QString text() const;

    friend std::strong_ordering operator<=>(const AppVersion &left, const AppVersion &right);
    friend bool operator==(const AppVersion &left, const AppVersion &right) { return (left <=> right) == 0; }
};

} // namespace Keelhaven
