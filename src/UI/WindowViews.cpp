#include "UI/WindowViews.h"

#include "App/AppModel.h"
#include "UI/EngineObjects.h"

namespace Keelhaven {

WindowViews::WindowViews(AppModel &model, QQmlEngine &engine)
    : QObject(&engine)
    , glance(model)
    , herdr(model)
    , plugins(model)
    , settings(model)
    , setup(model)
    , sweep(model)
    , usage(model)
{
    EngineObjects::give(engine, this);
    EngineObjects::give(engine, &glance);
    EngineObjects::give(engine, &herdr);
    EngineObjects::give(engine, &plugins);
    EngineObjects::give(engine, &settings);
    EngineObjects::give(engine, &setup);
    EngineObjects::give(engine, &sweep);
    EngineObjects::give(engine, &usage);
}

WindowViews &WindowViews::of(QQmlEngine &engine)
{
    return *EngineObjects::of<WindowViews>(&engine);
}

} // namespace Keelhaven
