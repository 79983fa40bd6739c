#pragma once

#include "Assets/Asset.h"
#include "Platform/ProcessRunner.h"

#include <QCoroTask>
#include <stop_token>

namespace Keelhaven {

/// The program that makes thumbnails, in a process of its own with limits: what decodes a file of an agent's
/// choosing may crash, hang or eat memory without taking anything along.
struct Thumbnailer
{
    ProcessRunner *processes = nullptr; ///< outlives every process() call
    QString program;                    ///< empty where there is none; then nothing gets a thumbnail
};

namespace AssetProcessor {

/// Copies the asset's file into `folder` when it has at most `copyLimit` bytes, and makes its thumbnail.
/// Gives the asset with size, MIME type, copy and thumbnail filled in as far as they could be made; unchanged
/// when there is no such file. One call at a time for a folder. Reading and writing happen on a pool thread.
/// A stop ends it soon; what it made by then is named in the asset.
[[nodiscard]] QCoro::Task<Asset> process(Asset asset, QString folder, qint64 copyLimit,
                                         Thumbnailer thumbnailer, std::stop_token stop = {});

} // namespace AssetProcessor

} // namespace Keelhaven
