#pragma once

#include <QString>

namespace Keelhaven {

/// Shows one user notification. `url` is the link to open on a click.
class NotificationSink
{
public:
    virtual ~NotificationSink() = default;
    virtual void show(const QString &title, const QString &body, const QString &url) = 0;
};

/// The answer where nothing can show notifications: they are dropped.
class NoNotificationSink : public NotificationSink
{
public:
    void show(const QString &, const QString &, const QString &) override {}
};

} // namespace Keelhaven
