#include "Contract/PluginCacheGuard.h"

#include "Platform/Files.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

PluginCacheGuard::PluginCacheGuard(const QString &home)
    : m_home(home)
    , m_root(home + u"/.claude/plugins"_s)
{}

bool PluginCacheGuard::isForbidden(const QString &path) const
{
    // An empty path is no folder at all; resolved, it would be this process's working directory.
    return !path.isEmpty() && isInside(expandTilde(path, m_home), m_root);
}

std::optional<QString> PluginCacheGuard::firstForbidden(const QStringList &paths) const
{
    for (const QString &path : paths) {
        if (isForbidden(path))
            return path;
    }
    return std::nullopt;
}

} // namespace Keelhaven
