#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Herdr/HerdrUserService.h"
#include "Platform/SystemdUserManager.h"

namespace Keelhaven {

/// HerdrUserService as a systemd user unit: the server is no part of the program's own control group, so
/// ending the program, or the unit it runs in, leaves it alone.
class SystemdHerdrService : public HerdrUserService
{
public:
    static constexpr QStringView unitName = u"com.keelhaven.herdr.service";

    /// The unit lies in $XDG_CONFIG_HOME/systemd/user. `processes` outlives it.
    SystemdHerdrService(ProcessRunner &processes, const KeelhavenPaths &paths);

    /// False where no user manager runs, and where the running one reads its units elsewhere: a program with
    /// a home of its own must not touch the user's service of the same name.
    [[nodiscard]] QCoro::Task<bool> start(QString binary, QMap<QString, QString> environment) override;
    /// Does nothing to a unit of another home.
    [[nodiscard]] QCoro::Task<> stop() override;

    /// The unit file.
    [[nodiscard]] static QString unitText(const QString &binary, const QMap<QString, QString> &environment);
    /// The program line of a unit file, to be compared with another one's.
    [[nodiscard]] static QString programLine(const QString &unitText);

private:
    SystemdUserManager m_manager;
};

} // namespace Keelhaven
