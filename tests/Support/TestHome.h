#pragma once

#include "Contract/KeelhavenPaths.h"

#include <QTemporaryDir>

namespace Keelhaven {

/// A throw-away home folder with its XDG folders; removed with the object.
class TestHome
{
public:
    TestHome();

    [[nodiscard]] QString path() const { return m_folder.path(); }
    [[nodiscard]] QString path(const QString &relative) const { return m_folder.filePath(relative); }
    [[nodiscard]] KeelhavenPaths paths() const { return KeelhavenPaths::forHome(path()); }

    /// Points HOME, the XDG folders and TMUX_TMPDIR of this process at it and clears what leaks in from
    /// outside.
    void enter() const;

    /// Writes a file below the home, with its folders. Gives its path.
    QString write(const QString &relative, const QByteArray &bytes) const;
    [[nodiscard]] QByteArray read(const QString &relative) const;

private:
    QTemporaryDir m_folder;
};

} // namespace Keelhaven
