#pragma once

#include "Mirror/MirrorProbe.h"
#include "Platform/Clock.h"

#include <QObject>
#include <functional>

namespace Keelhaven {

class Tasks;

/// Keeps in mind whether the analysis service can be reached. Lives on the main loop; the collaborators
/// outlive it.
class MirrorMonitor : public QObject
{
    Q_OBJECT

public:
    static constexpr Span interval = std::chrono::seconds(30);

    MirrorMonitor(MirrorProbe probe, Clock &clock, Tasks &tasks);

    /// Whether our own service runs. Without it there is none.
    std::function<bool()> isBridgeRunning;

    [[nodiscard]] const MirrorState &state() const { return m_state; }
    /// A first probe has finished.
    [[nodiscard]] bool probed() const { return m_probed; }
    [[nodiscard]] bool canMutate() const { return m_state.isLive(); }
    /// Some other copy of the service answers, such as a web dashboard that was started by hand.
    [[nodiscard]] bool mirroringForeignDashboard() const;

    /// Looks now. An answer that comes after that to a later look changes nothing.
    [[nodiscard]] QCoro::Task<> probe();
    /// Looks now and every 30 s. A second start does nothing.
    void start();
    void stop();

Q_SIGNALS:
    /// Another state, or the first one.
    void changed();

private:
    void probeAgain();

    MirrorProbe m_probe;
    Clock &m_clock;
    Tasks &m_tasks;
    Timer m_timer;
    MirrorState m_state;
    bool m_probed = false;
    quint64 m_asked = 0;    ///< counts the looks
    quint64 m_answered = 0; ///< the latest of them that has told something
};

} // namespace Keelhaven
