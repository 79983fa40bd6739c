#include "Plugins/WorkspaceLayout.h"

#include "Platform/Uuid.h"

#include <QCryptographicHash>
#include <QDir>
#include <algorithm>

namespace Keelhaven::WorkspaceLayout {

using namespace Qt::StringLiterals;

namespace {

bool isKept(char32_t c)
{
    return (c >= U'a' && c <= U'z') || (c >= U'0' && c <= U'9') || c == U'-' || c == U'_';
}

/// Last path component of a folder, whatever slashes it ends in.
QString lastComponent(const QString &path)
{
    return QFileInfo(QDir::cleanPath(path)).fileName();
}

QString parentComponent(const QString &path)
{
    return lastComponent(QFileInfo(QDir::cleanPath(path)).path());
}

constexpr qsizetype longestName = 255;

/// File systems take no longer name, and one that is too long would leave the agent without a workspace for
/// good. Slugs are ASCII, so that a character is a byte.
QString fitting(const QString &name, qsizetype longest = longestName)
{
    QString fitted = name.left(longest);
    while (fitted.size() < name.size() && fitted.endsWith(u'-'))
        fitted.chop(1);
    return fitted;
}

/// What tells apart folders that their names and their parents' do not: those of one name below parents of
/// one name, and those of which a slug keeps nothing, as in most scripts. Without it they would share an
/// archive.
QString marked(const QString &name, const QString &folder)
{
    constexpr qsizetype digits = 8;
    const auto hash = QCryptographicHash::hash(QDir::cleanPath(folder).toUtf8(), QCryptographicHash::Sha1);
    return fitting(name, longestName - digits - 1) + u'-' + QString::fromLatin1(hash.toHex().first(digits));
}

/// A stored slug may have come from anywhere, and it becomes part of a path.
bool isOneComponent(const QString &name)
{
    return !name.isEmpty() && !name.contains(u'/') && !name.contains(QChar::Null) && name != u"." &&
           name != u"..";
}

} // namespace

QString slug(const QString &text)
{
    QString result;
    bool gap = false;
    for (const uint c : text.toLower().toUcs4()) {
        if (!isKept(c)) {
            gap = true;
            continue;
        }
        if (gap && !result.isEmpty())
            result += u'-';
        gap = false;
        result += QChar(c);
    }
    while (result.startsWith(u'-'))
        result.remove(0, 1);
    while (result.endsWith(u'-'))
        result.chop(1);
    return result;
}

QString slugForAgentNamed(const QString &name, const QUuid &fallback)
{
    const QString named = fitting(slug(name));
    return named.isEmpty() ? u"agent-"_s + uuidText(fallback).left(8).toLower() : named;
}

QString ownSlug(const SchedulerSlot &slot, const QList<SchedulerSlot> &all)
{
    const QString named = slugForAgentNamed(slot.name, slot.id);
    const bool isTaken = std::ranges::any_of(all, [&](const SchedulerSlot &other) {
        return other.id != slot.id && other.usesWorkspace() && slugOf(other) == named;
    });
    const QString mark = u'-' + uuidText(slot.id).left(8).toLower();
    return isTaken ? fitting(named, longestName - mark.size()) + mark : named;
}

QString slugOf(const SchedulerSlot &slot)
{
    const QString stored = slot.workspaceSlug.value_or(QString());
    return isOneComponent(stored) ? fitting(stored) : slugForAgentNamed(slot.name, slot.id);
}

QStringList folderNames(const QStringList &folders)
{
    QStringList bases;
    for (const QString &folder : folders)
        bases.append(slug(lastComponent(folder)));
    QStringList names;
    for (qsizetype i = 0; i < folders.size(); ++i) {
        const QString &base = bases[i];
        const QString parent = slug(parentComponent(folders[i]));
        QString name = base;
        if (bases.count(base) >= 2 && !parent.isEmpty())
            name = fitting(parent + u'-' + base);
        if (name.isEmpty())
            name = u"folder"_s;
        const qsizetype first = names.indexOf(name);
        const bool isAnother = first >= 0 && QDir::cleanPath(folders[first]) != QDir::cleanPath(folders[i]);
        names.append(isAnother ? marked(name, folders[i]) : name);
    }
    return names;
}

QList<Target> targets(const SchedulerSlot &slot, const QString &root)
{
    QList<Target> list;
    if (!slot.usesWorkspace())
        return list;
    const QString base = root + u'/' + slugOf(slot);
    const QStringList names = folderNames(slot.cwds);
    for (qsizetype i = 0; i < slot.cwds.size(); ++i) {
        if (slot.workspaceMode == WorkspaceMode::Shared)
            list.append({slot.cwds[i], base, u"shared"_s});
        else
            list.append({slot.cwds[i], base + u'/' + names[i], names[i]});
    }
    return list;
}

QString launchDir(const QString &folder, const SchedulerSlot &slot, const QString &root)
{
    for (const auto &target : targets(slot, root)) {
        if (target.projectDir == folder)
            return target.workspaceDir;
    }
    return folder;
}

} // namespace Keelhaven::WorkspaceLayout
