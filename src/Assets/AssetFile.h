#pragma once

#include <QSet>
#include <QString>
#include <optional>
#include <stop_token>

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
/// and while it is read. Nothing when there is no such file. A stop ends the copy soon and leaves none.
[[nodiscard]] std::optional<Taken> take(const QString &path, const QString &folder, qint64 copyLimit,
                                        std::stop_token stop = {});

/// `path`, or "{stem}-2.{extension}", "{stem}-3.{extension}" … when something has that name; a stem that
/// would make the name too long is cut. Only good as long as nobody else makes files there.
[[nodiscard]] QString uniquePath(const QString &path);

/// Removes what processing made for a file that nobody wants any more, and its folders when they are empty.
void discard(const QString &folder, const std::optional<QString> &storedPath,
             const std::optional<QString> &thumbnailPath);

/// Removes what a processing that was cut off left in `folder`: every file but the `kept` ones, which are
/// named relative to it ("a.png", "thumbs/a.png.jpg"). Links in the place of a folder are not followed.
void removeLeftovers(const QString &folder, const QSet<QString> &kept);

} // namespace Keelhaven::AssetFile
