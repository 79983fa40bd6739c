#pragma once

#include <QStringList>
#include <optional>

namespace Keelhaven {

/// Keeps runs out of the agent CLI's own plugin cache, where a session would edit installed plugins.
class PluginCacheGuard
{
public:
    /// Guards ".claude/plugins" below `home`.
    explicit PluginCacheGuard(const QString &home);

    /// Whether the path is the cache or lies in it, symbolic links followed on both sides. A leading "~" is
    /// the home directory: folders are checked as they were typed.
    [[nodiscard]] bool isForbidden(const QString &path) const;

    /// The first forbidden path, or nothing.
    [[nodiscard]] std::optional<QString> firstForbidden(const QStringList &paths) const;

private:
    QString m_home;
    QString m_root;
};

} // namespace Keelhaven
