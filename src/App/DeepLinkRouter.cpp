#include "App/DeepLinkRouter.h"

#include "App/AppModel.h"
#include "App/AppSelection.h"
#include "Notifications/DeepLink.h"
#include "Platform/Clock.h"
#include "Scheduler/SchedulerEngine.h"

namespace Keelhaven::DeepLinkRouter {

void route(const QString &link, AppModel &model)
{
    const auto parsed = DeepLink::parse(link);
    if (!parsed)
        return;
    auto &selection = model.selection();
    switch (parsed->action()) {
    case DeepLink::Action::WakeScheduler:
        model.scheduler().start();
        model.scheduler().evaluateDueSlots(model.clock().now());
        break;
    case DeepLink::Action::RaiseWindow:
        selection.raiseMainWindow();
        break;
    case DeepLink::Action::OpenProject:
        selection.setSelectedProject(*parsed->name);
        selection.raiseMainWindow();
        break;
    case DeepLink::Action::ShowShip:
        selection.showBoard(parsed->uuid, std::nullopt);
        break;
    case DeepLink::Action::ShowRun:
        selection.showBoard(std::nullopt, parsed->uuid);
        break;
    case DeepLink::Action::ShowScheduler:
        selection.showScheduler(parsed->uuid);
        break;
    // Waking the two coordinators is for builds that have them.
    case DeepLink::Action::WakeDispatch:
    case DeepLink::Action::WakeCaptain:
    case DeepLink::Action::None:
        break;
    }
}

} // namespace Keelhaven::DeepLinkRouter
