#pragma once

#include "UI/GlanceView.h"
#include "UI/HerdrView.h"
#include "UI/PluginsView.h"
#include "UI/SettingsView.h"
#include "UI/SetupView.h"
#include "UI/SweepView.h"
#include "UI/UsageView.h"

namespace Keelhaven {

/// The view models beside "App", each a QML singleton of its own name. The model outlives them.
class WindowViews : public QObject
{
    Q_OBJECT

public:
    /// Belongs to the engine, and is what its screens see.
    WindowViews(AppModel &model, QQmlEngine &engine);

    /// Those of an engine that was equipped.
    [[nodiscard]] static WindowViews &of(QQmlEngine &engine);

    GlanceView glance;
    HerdrView herdr;
    PluginsView plugins;
    SettingsView settings;
    SetupView setup;
    SweepView sweep;
    UsageView usage;
};

} // namespace Keelhaven
