#pragma once

#include "Platform/Moments.h"

#include <QByteArray>

namespace Keelhaven {

/// Where a D-Bus message bus listens.
class BusAddress
{
public:
    /// `text` as D-Bus writes it: alternatives divided by ";". Empty where there is no such bus.
    BusAddress(QByteArray text)
        : m_text(std::move(text))
    {}

    /// What this process's environment names, or the usual place.
    [[nodiscard]] static BusAddress system();
    [[nodiscard]] static BusAddress session();

    /// Whether certainly nobody listens: no address, or no socket in its place.
    [[nodiscard]] bool isAbsent() const;

    enum class Listener { None, Silent, Answers };

    /// Who listens there. The library's own way to connect waits for ever for one that has stopped, and every
    /// other connection with it, so that one must be found out first. Blocks for `patience` at most, so it is
    /// for a pool thread. Kinds of address that it does not know count as answering.
    [[nodiscard]] Listener greet(Span patience) const;

    [[nodiscard]] QByteArray text() const { return m_text; }

private:
    QByteArray m_text;
};

} // namespace Keelhaven
