#include "App/DeepLinkRouter.h"

#include "App/AppModel.h"
#include "Notifications/DeepLink.h"
#include "Platform/Clock.h"
#include "Scheduler/SchedulerEngine.h"

namespace Keelhaven::DeepLinkRouter {

void route(const QString &link, AppModel &model)
{
    const auto parsed = DeepLink::parse(link);
    if (!parsed)
        return;
    switch (parsed->action()) {
    case DeepLink::Action::WakeScheduler:
        model.scheduler().start();
        model.scheduler().evaluateDueSlots(model.clock().now());
        break;
    // Waking the two coordinators and showing something is for builds that have them.
    case DeepLink::Action::WakeDispatch:
    case DeepLink::Action::WakeCaptain:
    case DeepLink::Action::None:
    case DeepLink::Action::RaiseWindow:
    case DeepLink::Action::OpenProject:
    case DeepLink::Action::ShowShip:
    case DeepLink::Action::ShowRun:
    case DeepLink::Action::ShowScheduler:
        break;
    }
}

} // namespace Keelhaven::DeepLinkRouter
