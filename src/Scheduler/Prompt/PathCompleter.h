#pragma once

#include <QList>
#include <QStringList>
#include <functional>
#include <limits>

/// Completes a path from what lies on disk.
namespace Keelhaven::PathCompleter {

struct DirectoryEntry
{
    QString name;
    bool isDir = false;
};

/// Gives what lies in a folder, in any order.
using Lister = std::function<QList<DirectoryEntry>(const QString &directory)>;

/// Reads the folder; an unreadable one is empty. Blocking.
[[nodiscard]] QList<DirectoryEntry> defaultLister(const QString &directory);

/// The first `limit` entries that `partial` may become: folders first, each group by name. A result begins
/// as the user typed it, "~" and "./" included, and ends in "/" for a folder. "./" stands for `primaryCwd`
/// and gives nothing without one. Blocks as long as the lister does.
[[nodiscard]] QStringList completions(const QString &partial, const QString &primaryCwd, const QString &home,
                                      const Lister &lister = defaultLister,
                                      qsizetype limit = std::numeric_limits<qsizetype>::max());

} // namespace Keelhaven::PathCompleter
