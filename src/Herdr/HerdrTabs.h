#pragma once

#include "Herdr/HerdrSession.h"

#include <QSet>

namespace Keelhaven::HerdrSession {

/// What becomes of the tabs that sessions left behind.
struct FinishedTabs
{
    QStringList closable;
    bool anyBusy = false;
    bool operator==(const FinishedTabs &) const = default;
};

/// Of `tabs`, those with this label that no live run holds: one with a working, blocked or starting agent is
/// busy, one with any other agent stays, one with only a shell can be closed.
[[nodiscard]] FinishedTabs finishedTabs(const QList<Herdr::TabInfo> &tabs,
                                        const QList<Herdr::AgentInfo> &agents, const QString &label,
                                        const QSet<QString> &keeping);

/// Closes what finishedTabs finds; true when one is busy.
[[nodiscard]] QCoro::Task<bool> reconcileFinishedTabs(Context context, QString label, QSet<QString> keeping);

} // namespace Keelhaven::HerdrSession
