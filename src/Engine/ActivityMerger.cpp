#include "Engine/ActivityMerger.h"

namespace Keelhaven::ActivityMerger {

using namespace Qt::StringLiterals;

QString normalize(const QString &path)
{
    if (!path.startsWith(u'/'))
        return path;
    QStringList parts;
    for (const QString &part : path.split(u'/', Qt::SkipEmptyParts)) {
        if (part == u"."_s)
            continue;
        if (part != u".."_s)
            parts.append(part);
        else if (!parts.isEmpty())
            parts.removeLast();
    }
    return u'/' + parts.join(u'/');
}

std::optional<QString> cwdToSlug(const std::optional<QString> &cwd, const StateFile::Links &links)
{
    if (!cwd || cwd->isEmpty())
        return std::nullopt;
    const QString folder = normalize(*cwd);
    std::optional<QString> slug;
    qsizetype longest = -1;
    for (auto link = links.cbegin(); link != links.cend(); ++link) {
        const QString root = normalize(link.value());
        const bool matches = folder == root || folder.startsWith(root + u'/');
        if (matches && root.size() > longest) {
            slug = link.key();
            longest = root.size();
        }
    }
    return slug;
}

} // namespace Keelhaven::ActivityMerger
