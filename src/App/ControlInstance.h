#pragma once

#include "App/ControlAddress.h"
#include "Contract/KeelhavenPaths.h"
#include "Platform/Result.h"

namespace Keelhaven {

/// Why this process is not the instance.
struct ControlInstanceError
{
    enum class Kind { AlreadyRunning, Failed };

    Kind kind = Kind::Failed;
    QString text;
    [[nodiscard]] QString message() const { return text; }
};

/// The right to be the one instance of this user, and the socket on which it is called. One lock lies in the
/// data folder that it protects, so two starts with different runtime folders still exclude each other; one
/// beside the socket, which holds also where the data folder cannot be written. The kernel drops both when
/// the process ends in whatever way; a socket left behind by a crash is replaced.
class ControlInstance
{
public:
    [[nodiscard]] static Result<ControlInstance, ControlInstanceError> claim(const KeelhavenPaths &paths);

    ControlInstance(ControlInstance &&) noexcept = default;
    ControlInstance &operator=(ControlInstance &&) noexcept = delete;
    /// Removes the socket, then lets go of the locks.
    ~ControlInstance();

    /// Listens; non-blocking.
    [[nodiscard]] int listener() const { return m_listener.get(); }

private:
    ControlInstance(ControlAddress::Descriptor dataLock, ControlAddress::Descriptor lock,
                    ControlAddress::Descriptor folder, ControlAddress::Descriptor listener);

    ControlAddress::Descriptor m_dataLock; ///< none where the data folder cannot be written
    ControlAddress::Descriptor m_lock;
    ControlAddress::Descriptor m_folder;
    ControlAddress::Descriptor m_listener;
};

} // namespace Keelhaven
