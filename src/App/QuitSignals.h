#pragma once

#include <QObject>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace Keelhaven {

/// Brings SIGTERM, SIGINT and SIGHUP into the loop and ignores SIGPIPE. One for each process, for its whole
/// life. A pipe does it, not a blocked signal mask: children would inherit the mask and could not be ended
/// any more.
class QuitSignals : public QObject
{
public:
    explicit QuitSignals(std::function<void()> onQuit);
    ~QuitSignals() override;

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace Keelhaven
