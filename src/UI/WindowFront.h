#pragma once

#include "UI/Appearance.h"

#include <QObject>
#include <QQmlApplicationEngine>

namespace Keelhaven {

class AppModel;
class AppView;
class TrayIcon;

/// Makes the QML types and pictures of this library known; once for a process, before the first engine.
void prepareScreens();

/// Gives an engine what its screens stand on: the icons, `view` and `appearance`, which outlive it.
void equip(QQmlEngine &engine, AppView &view, Appearance &appearance);

/// The main window of a running instance. The model and the bus outlive it.
class WindowFront : public QObject
{
    Q_OBJECT

public:
    WindowFront(AppModel &model, MessageBus &sessionBus);
    ~WindowFront() override;

    /// Whether the window could be made; what was wrong is in the system log.
    [[nodiscard]] bool isValid() const { return !m_engine.rootObjects().isEmpty(); }

private:
    Appearance m_appearance;
    std::unique_ptr<AppView> m_view;
    QQmlApplicationEngine m_engine;
    std::unique_ptr<TrayIcon> m_tray;
};

} // namespace Keelhaven
