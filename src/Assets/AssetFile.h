#pragma once

#include <QString>
#include <optional>

/// The file work behind delivered files. Blocking, for a pool thread. An agent may name anything as its
/// result, so only regular files of real file systems are touched: no pipe, device, folder or file of the
/// kernel's is opened, and no read waits for a writer.
namespace Keelhaven::AssetFile {

/// What became of one delivered file.
struct Taken
{
    qint64 bytes = 0;
    std::optional<QString> mime;       ///< as the system's database has it for the extension
    std::optional<QString> storedPath; ///< nothing when the file was too big or could not be copied
    QString thumbnailPath;             ///< a free name for its thumbnail
};

/// Makes `folder` with its "thumbs" and copies the file into it when it has at most `copyLimit` bytes, then
/// and while it is read. Nothing when there is no such file.
[[nodiscard]] std::optional<Taken> take(const QString &path, const QString &folder, qint64 copyLimit);

/// `path`, or "{stem}-2.{extension}", "{stem}-3.{extension}" … when something has that name. Only good as
/// long as nobody else makes files there.
[[nodiscard]] QString uniquePath(const QString &path);

/// Removes what processing made for a file that nobody wants any more, and its folders when they are empty.
void discard(const QString &folder, const std::optional<QString> &storedPath,
             const std::optional<QString> &thumbnailPath);

} // namespace Keelhaven::AssetFile
