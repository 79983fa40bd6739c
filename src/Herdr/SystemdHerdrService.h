#pragma once

#include "Herdr/HerdrUserService.h"
#include "Platform/ProcessRunner.h"

#include <optional>

namespace Keelhaven {

/// HerdrUserService as a systemd user unit: the server is no part of the program's own control group, so
/// ending the program, or the unit it runs in, leaves it alone.
class SystemdHerdrService : public HerdrUserService
{
public:
    static constexpr QStringView unitName = u"com.keelhaven.herdr.service";

    /// `unitDir` is $XDG_CONFIG_HOME/systemd/user. `processes` outlives it.
    SystemdHerdrService(ProcessRunner &processes, QString unitDir);

    [[nodiscard]] QCoro::Task<bool> start(QString binary, QMap<QString, QString> environment) override;
    [[nodiscard]] QCoro::Task<> stop() override;

    /// The unit file.
    [[nodiscard]] static QString unitText(const QString &binary, const QMap<QString, QString> &environment);
    /// The program line of a unit file, to be compared with another one's.
    [[nodiscard]] static QString programLine(const QString &unitText);

private:
    ProcessRunner &m_processes;
    QString m_unitFile;
};

} // namespace Keelhaven
