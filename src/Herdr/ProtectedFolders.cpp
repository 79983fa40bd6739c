#include "Herdr/ProtectedFolders.h"

#include "Contract/RecordMapper.h"
#include "Platform/Files.h"

namespace Keelhaven::ProtectedFolders {

using namespace Qt::StringLiterals;

namespace {

const QString rule =
    u"Unattended run: stay inside this project and Keelhaven's dispatch folder; never read Desktop, "
    u"Documents, "
    u"Downloads, Pictures, Music, Movies, iCloud Drive or /Volumes (macOS would block on a dialog)."_s;

QStringList candidates(const QString &home)
{
    QStringList folders;
    for (const auto &name : {u"Desktop"_s, u"Documents"_s, u"Downloads"_s, u"Pictures"_s, u"Music"_s,
                             u"Movies"_s, u"Library/Mobile Documents"_s})
        folders.append(normalized(home + u'/' + name, home));
    folders.append(u"/Volumes"_s);
    return folders;
}

} // namespace

QStringList denied(const QString &home, const QString &cwd, const QStringList &addDirs)
{
    QStringList granted{normalized(cwd, home)};
    for (const QString &folder : addDirs)
        granted.append(normalized(folder, home));
    QStringList roots = candidates(home);
    roots.removeIf([&granted](const QString &root) {
        // By name, or by where symbolic links lead: a project must not be shut out of its own folder.
        return std::ranges::any_of(granted, [&root](const QString &path) {
            return path == root || path.startsWith(root + u'/') || isInside(path, root);
        });
    });
    return roots;
}

QString environmentValue(const QStringList &paths)
{
    return paths.join(u':');
}

QString environmentList(const QStringList &paths)
{
    const bool isAmbiguous =
        std::ranges::any_of(paths, [](const QString &path) { return path.contains(u':'); });
    return isAmbiguous ? JSONCodec<QStringList>::encode(paths).serialized() : QString();
}

QString guarded(const QString &text)
{
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? rule : trimmed + u' ' + rule;
}

QString normalized(const QString &path, const QString &home)
{
    QStringList components;
    const auto parts = expandTilde(path, home).split(u'/', Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        if (part == u"..") {
            if (!components.isEmpty())
                components.removeLast();
        } else if (part != u".") {
            components.append(part);
        }
    }
    return u'/' + components.join(u'/');
}

} // namespace Keelhaven::ProtectedFolders
