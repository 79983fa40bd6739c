#pragma once

#include "App/Commands/InstallManifest.h"
#include "Contract/KeelhavenPaths.h"
#include "Platform/ProcessRunner.h"

/// How the desktop learns of the program: its entry in the menu, and that it opens "keelhaven://" links.
namespace Keelhaven::InstallDesktop {

inline constexpr QStringView entryName = u"keelhaven.desktop";
inline constexpr QStringView linkType = u"x-scheme-handler/keelhaven";

/// The folders of the user that the desktop reads.
[[nodiscard]] QString applications(const KeelhavenPaths &paths);
[[nodiscard]] QString dataHome(const KeelhavenPaths &paths);
[[nodiscard]] QString configHome(const KeelhavenPaths &paths);

/// The entry for `program`, a path, made from the entry among the resources.
[[nodiscard]] QByteArray entry(const QByteArray &frame, const QString &program);

/// `text` as one word of an entry's Exec line.
[[nodiscard]] QString execWord(const QString &text);

/// Whether a list of the desktop ("type=entry;entry;" lines) gives the links to this program.
[[nodiscard]] bool isEntered(const QByteArray &list);
/// The list without this program; all else stays byte for byte.
[[nodiscard]] QByteArray withoutEntry(const QByteArray &list);

/// Whether the desktop of this user knows who opens the links.
[[nodiscard]] bool opensLinks(const KeelhavenPaths &paths);

/// Has the desktop's own tools enter the program in their lists, where it is not yet, and notes that in the
/// record. Gives sentences on what could not be done.
[[nodiscard]] QCoro::Task<QStringList> enter(ProcessRunner *processes, KeelhavenPaths paths,
                                             InstallRecord *record);

/// Takes the program out of the lists it was entered in, when its entry is gone. Gives these lists.
[[nodiscard]] QCoro::Task<QStringList> leave(ProcessRunner *processes, KeelhavenPaths paths,
                                             InstallRecord *record);

} // namespace Keelhaven::InstallDesktop
