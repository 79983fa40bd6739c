#pragma once

#include <QString>

namespace Keelhaven {

/// The one error of everything that speaks to the terminal host.
struct HerdrError
{
    enum class Kind {
        Api, ///< the server answered with an error, or a caller raises a protocol-level failure of its own
        Unreachable, ///< nobody listens on the socket
        Transport,   ///< anything else that went wrong on the way
    };

    Kind kind = Kind::Transport;
    QString code; ///< Api only: a word that callers may test, such as "agent_pane_busy"
    QString text;

    [[nodiscard]] static HerdrError api(const QString &code, const QString &text);
    [[nodiscard]] static HerdrError unreachable(const QString &text);
    [[nodiscard]] static HerdrError transport(const QString &text);

    [[nodiscard]] bool isUnreachable() const { return kind == Kind::Unreachable; }
    [[nodiscard]] bool isApi(QStringView wanted) const { return kind == Kind::Api && code == wanted; }

    /// The sentence for the user: "{text} ({code})" for Api, the text as it stands otherwise.
    [[nodiscard]] QString message() const;

    bool operator==(const HerdrError &) const = default;
};

} // namespace Keelhaven
