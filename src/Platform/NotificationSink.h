#pragma once

#include <QString>
#include <functional>

namespace Keelhaven {

/// Shows one user notification. `url` is the link to open on a click.
class NotificationSink
{
public:
    virtual ~NotificationSink() = default;
    virtual void show(const QString &title, const QString &body, const QString &url) = 0;

    /// Runs on the main loop with the link of a notification that was clicked.
    std::function<void(const QString &url)> onClicked;
};

/// The answer where nothing can show notifications: they are dropped.
class NoNotificationSink : public NotificationSink
{
public:
    void show(const QString &, const QString &, const QString &) override {}
};

} // namespace Keelhaven
