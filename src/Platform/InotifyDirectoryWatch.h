#pragma once

#include "Platform/DirectoryWatch.h"

namespace Keelhaven {

/// DirectoryWatchFactory on inotify: unlike QFileSystemWatcher it tells of appends to a file in the folder.
class InotifyDirectoryWatchFactory : public DirectoryWatchFactory
{
public:
    [[nodiscard]] std::unique_ptr<DirectoryWatch> watch(const QString &folder, std::function<void()> onEvent,
                                                        std::function<void()> onLost) override;
};

} // namespace Keelhaven
