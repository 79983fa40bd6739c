#pragma once

#include "App/Commands/CommandContext.h"
#include "Herdr/HerdrProbe.h"
#include "Platform/ChosenSecretStore.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/Clock.h"
#include "Scheduler/Usage/UsageSnapshot.h"

namespace Keelhaven {

/// One line of `keelhaven doctor`.
struct DoctorCheck
{
    QString name;
    bool ok = false;
    QString detail;           ///< what was found; when not ok, with what it costs the user
    bool isEssential = false; ///< without it nothing can run

    bool operator==(const DoctorCheck &) const = default;
};

template <>
struct RecordTable<DoctorCheck>
{
    static auto fields()
    {
        using C = DoctorCheck;
        return std::tuple{defaulted(u"name", &C::name), defaulted(u"ok", &C::ok),
                          defaulted(u"detail", &C::detail)};
    }
};

/// What the doctor looks at. References outlive the examination.
struct DoctorServices
{
    KeelhavenPaths paths;
    SettingsStore &settings;
    ProcessRunner &processes;
    ClaudeLocator &locator;
    HerdrProbe &herdr;
    ChosenSecretStore &secrets;
    Clock &clock;
    /// Whether this build carries a terminal host that the next start puts in place.
    bool hasBundledHost = false;
    /// The database of the running instance: nothing without one, else the error it fell back with, if any.
    std::optional<std::optional<QString>> instanceDatabase = {};
    /// The usage meters that the running instance last read; unset without one, which leaves Claude Code's
    /// file.
    std::function<std::optional<UsageSnapshot>()> usage = {};
    /// Looks for the services of the machine that Keelhaven can do without, if this is set.
    std::function<QCoro::Task<QList<DoctorCheck>>()> machine = {};
};

/// Looks for everything that Keelhaven needs from the machine. It starts no session and changes nothing but
/// the remembered login shell PATH.
namespace Doctor {

[[nodiscard]] QCoro::Task<QList<DoctorCheck>> examine(DoctorServices services);

/// A ✓ or ✗ line for each check, or an array of {name, ok, detail}. The exit status is 1 when nothing can
/// run.
[[nodiscard]] CommandReply reply(const QList<DoctorCheck> &checks, bool asJSON, bool pretty);

} // namespace Doctor

} // namespace Keelhaven
