#pragma once

#include <QString>
#include <QUuid>
#include <optional>

namespace Keelhaven {

/// A "keelhaven://host/…/last" link, taken apart. Links come from outside: any text may be one. What a link
/// asks for is decided here; carrying it out is the application's.
struct DeepLink
{
    enum class Action {
        None,          ///< a control link that says nothing known
        RaiseWindow,   ///< also for hosts this version does not know
        OpenProject,   ///< select the project `name`, raise the window
        WakeScheduler, ///< evaluate due agents; no window is raised by the three wakes
        WakeDispatch,  ///< look at dispatcher responses
        WakeCaptain,   ///< look at captain responses
        ShowShip,      ///< the board, on the ship `uuid` if there is one
        ShowRun,       ///< the board, on the run `uuid` if there is one
        ShowScheduler  ///< the scheduler, on the run `uuid` if there is one
    };

    /// Longer links are refused, in bytes of UTF-8.
    static constexpr qsizetype maximumLength = 2048;

    QString host;                ///< lower case; empty when the link has none
    std::optional<QString> name; ///< last path component, percent-decoded; as it stands when that fails
    std::optional<QUuid> uuid;   ///< the last path component as a UUID

    bool operator==(const DeepLink &) const = default;

    /// Nothing for another scheme, a link that is too long, and text with control characters or blanks.
    [[nodiscard]] static std::optional<DeepLink> parse(const QString &text);

    [[nodiscard]] Action action() const;
    /// Whether what it asks for is to be seen.
    [[nodiscard]] bool wantsWindow() const;

    /// "keelhaven://project/{name}", the name percent-encoded.
    [[nodiscard]] static QString project(const QString &name);
    /// "keelhaven://run/{id}"
    [[nodiscard]] static QString run(const QUuid &id);
    /// "keelhaven://ship/{id}"
    [[nodiscard]] static QString ship(const QUuid &id);
};

} // namespace Keelhaven
