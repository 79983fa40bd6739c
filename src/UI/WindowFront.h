#pragma once

#include "UI/Appearance.h"

#include <QObject>
#include <QQmlApplicationEngine>
#include <functional>

namespace Keelhaven {

class AppModel;
class AppView;
class TrayIcon;

/// Makes the QML types and pictures of this library known; once for a process, before the first engine.
void prepareScreens();

/// Gives an engine what its screens stand on: the icons, `view` and `appearance`, which outlive it.
void equip(QQmlEngine &engine, AppView &view, Appearance &appearance);

/// The main window of an instance. The model and the bus outlive it. `begin` is called once, when the window
/// has drawn its first picture or, where none gets drawn, soon after.
class WindowFront : public QObject
{
    Q_OBJECT

public:
    enum class Sight { AtOnce, WhenWanted };

    /// A window that is not shown at once is there from the first wish for it on.
    WindowFront(AppModel &model, MessageBus &sessionBus, std::function<void()> begin,
                Sight sight = Sight::AtOnce);
    ~WindowFront() override;

    /// Whether the window could be made; what was wrong is in the system log.
    [[nodiscard]] bool isValid() const { return !m_engine.rootObjects().isEmpty(); }

private:
    void beginOnce();

    std::function<void()> m_begin;
    Appearance m_appearance;
    std::unique_ptr<AppView> m_view;
    QQmlApplicationEngine m_engine;
    std::unique_ptr<TrayIcon> m_tray;
};

} // namespace Keelhaven
