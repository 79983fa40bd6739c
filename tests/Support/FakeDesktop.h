#pragma once

#include "Platform/Desktop.h"

#include <QList>

namespace Keelhaven {

/// Remembers what was to be opened; without a terminal it opens nothing.
class FakeDesktop : public Desktop
{
public:
    QList<QStringList> terminals;
    bool hasTerminal = true;

    [[nodiscard]] bool openTerminal(const QStringList &command) override
    {
        terminals.append(command);
        return hasTerminal;
    }
};

} // namespace Keelhaven
