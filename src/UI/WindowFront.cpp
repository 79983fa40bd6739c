#include "UI/WindowFront.h"

#include "App/AppModel.h"
#include "UI/AppView.h"
#include "UI/EngineObjects.h"
#include "UI/Icons.h"
#include "UI/TrayIcon.h"
#include "UI/WindowViews.h"

#include <QQuickWindow>
#include <QTimer>
#include <chrono>

// Resources of a static library are brought in by name.
static void initializeResources()
{
    Q_INIT_RESOURCE(qmake_Keelhaven);
    Q_INIT_RESOURCE(keelhaven_UI_raw_qml_0);
    Q_INIT_RESOURCE(qmlcache_keelhaven_UI);
}

extern void qml_register_types_Keelhaven();

namespace Keelhaven {

using namespace Qt::StringLiterals;

void prepareScreens()
{
    static const bool once = [] {
        initializeResources();
        qml_register_types_Keelhaven();
        QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
        return true;
    }();
    static_cast<void>(once);
}

void equip(QQmlEngine &engine, AppView &view, Appearance &appearance)
{
    prepareScreens();
    EngineObjects::give(engine, &view);
    EngineObjects::give(engine, &appearance);
    new WindowViews(view.model(), engine);
    engine.addImportPath(u"qrc:/qt/qml"_s);
    engine.addImageProvider(u"keelhaven"_s, new Icons);
}

WindowFront::WindowFront(AppModel &model, MessageBus &sessionBus, std::function<void()> begin, Sight sight)
    : m_begin(std::move(begin))
    , m_appearance(&sessionBus)
    , m_view(std::make_unique<AppView>(model))
{
    equip(m_engine, *m_view, m_appearance);
    m_tray = std::make_unique<TrayIcon>(sessionBus, WindowViews::of(m_engine).glance, m_appearance);
    if (sight == Sight::WhenWanted)
        m_engine.setInitialProperties({{u"visible"_s, false}});
    m_engine.load(QUrl(u"qrc:/qt/qml/Keelhaven/qml/Main.qml"_s));
    if (!isValid())
        return;
    // A window that starts minimised or on another workspace may draw nothing for hours.
    constexpr auto longest = std::chrono::seconds(1);
    QTimer::singleShot(longest, this, &WindowFront::beginOnce);
    if (const auto *window = qobject_cast<QQuickWindow *>(m_engine.rootObjects().constFirst()))
        connect(window, &QQuickWindow::frameSwapped, this, &WindowFront::beginOnce,
                Qt::ConnectionType(Qt::QueuedConnection | Qt::SingleShotConnection));
}

void WindowFront::beginOnce()
{
    if (const auto begin = std::exchange(m_begin, nullptr))
        begin();
}

WindowFront::~WindowFront() = default;

} // namespace Keelhaven
