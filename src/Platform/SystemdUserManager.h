#pragma once

#include "Platform/ProcessRunner.h"

namespace Keelhaven {

/// The user's systemd, with the folder of unit files that is this program's to write. Every call asks the
/// manager anew; where none runs, that is an answer. `processes` outlives it.
class SystemdUserManager
{
public:
    /// `configHome` is the user's $XDG_CONFIG_HOME: the units lie in its "systemd/user".
    SystemdUserManager(ProcessRunner &processes, const QString &configHome);

    [[nodiscard]] QString folder() const { return m_folder; }
    [[nodiscard]] QString unitFile(const QString &unit) const { return m_folder + u'/' + unit; }

    /// Whether a user manager runs here.
    [[nodiscard]] QCoro::Task<bool> answers() const;

    /// Whether the manager has this unit from our folder. A program with a home of its own meets the manager
    /// of the user's real one, and must leave that one's unit of the same name alone.
    [[nodiscard]] QCoro::Task<bool> owns(QString unit) const;

    /// Whether the manager runs while the user is logged out, too. Nothing when nobody can tell.
    [[nodiscard]] QCoro::Task<std::optional<bool>> lingers() const;

    /// "systemctl --user" with these words.
    [[nodiscard]] QCoro::Task<ProcessResult> call(QStringList words) const;

    /// Text in double quotes as a unit file takes it for a program's path and for environment variables: the
    /// two places where "$" starts no expansion. systemd allows no quote, backslash or control character in
    /// the path.
    [[nodiscard]] static QString quoted(const QString &text);
    /// The same for an argument of a program, where "$" does start one.
    [[nodiscard]] static QString quotedArgument(const QString &text);

private:
    ProcessRunner *m_processes;
    QString m_folder;
};

} // namespace Keelhaven
