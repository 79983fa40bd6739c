#pragma once

#include <QString>
#include <functional>
#include <memory>

namespace Keelhaven {

/// Change notification for one folder's entries. Exists while the folder is watched.
class DirectoryWatch
{
public:
    virtual ~DirectoryWatch() = default;
};

/// Opens watches. `onEvent` runs on the main loop for each batch of: entry created, deleted, moved, written
/// to. `onLost` runs when the folder itself is deleted or moved; the watch is dead then. Null when the folder
/// cannot be watched, for one because it does not exist.
class DirectoryWatchFactory
{
public:
    virtual ~DirectoryWatchFactory() = default;
    [[nodiscard]] virtual std::unique_ptr<DirectoryWatch>
    watch(const QString &folder, std::function<void()> onEvent, std::function<void()> onLost) = 0;
};

} // namespace Keelhaven
