#pragma once

#include <QCoroTask>
#include <QMap>
#include <QString>

namespace Keelhaven {

/// A per-user service manager that keeps the terminal host running when the program ends.
class HerdrUserService
{
public:
    virtual ~HerdrUserService() = default;

    /// Defines the service "com.keelhaven.herdr" as `binary server` with this environment and starts it; a
    /// definition of another binary is replaced. False when no manager does that here: the caller starts a
    /// child instead.
    [[nodiscard]] virtual QCoro::Task<bool> start(QString binary, QMap<QString, QString> environment) = 0;

    /// Ends the service. Failures are swallowed: the caller looks whether the server still answers.
    [[nodiscard]] virtual QCoro::Task<> stop() = 0;
};

/// The answer where no service manager runs.
class NoHerdrUserService : public HerdrUserService
{
public:
    [[nodiscard]] QCoro::Task<bool> start(QString, QMap<QString, QString>) override { co_return false; }
    [[nodiscard]] QCoro::Task<> stop() override { co_return; }
};

} // namespace Keelhaven
