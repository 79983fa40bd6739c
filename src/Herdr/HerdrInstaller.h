#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Herdr/HerdrPin.h"
#include "Platform/Files.h"

#include <functional>

namespace Keelhaven {

/// Keeps the managed copy of the terminal host equal to the bundled one. Blocking file work on values: run it
/// on a pool thread.
namespace HerdrInstaller {

struct Layout
{
    QString root; ///< "herdr" in appSupportDir
    std::optional<QString> bundledBinary;
    std::optional<QString> bundledLicense;
    HerdrPin pin;

    [[nodiscard]] static Layout forPaths(const KeelhavenPaths &paths, std::optional<QString> binary,
                                         std::optional<QString> licenseFile);

    [[nodiscard]] QString versionDir() const;
    [[nodiscard]] QString binary() const;
    [[nodiscard]] QString license() const;
    /// Whether this build carries a binary that can be read.
    [[nodiscard]] bool hasBundledBinary() const;
};

struct InstallResult
{
    enum class Kind { Installed, AlreadyCurrent, BundleMissing };

    Kind kind = Kind::BundleMissing;
    QString version; ///< Installed only
    bool operator==(const InstallResult &) const = default;
};

/// Copies the bundled binary to its place unless the one there is the same. The version folder ends
/// read-only.
[[nodiscard]] Result<InstallResult, FileError> installIfNeeded(const Layout &layout);

/// Whether the digests differ; an absent one always does.
[[nodiscard]] bool needsInstall(const std::optional<QString> &existingSHA, const QString &pinnedSHA);

/// The folders of other versions below the root.
[[nodiscard]] QStringList oldVersionDirs(const Layout &layout);
/// The binary in a version folder.
[[nodiscard]] QString binaryIn(const QString &versionDir);

/// Removes other versions that are not in use. `running` gets a binary's path. Failures are ignored.
void pruneOldVersions(const Layout &layout, const std::function<bool(const QString &)> &running);

/// SHA-256 of a file in lower-case hexadecimal.
[[nodiscard]] Result<QString, FileError> sha256(const QString &path);

/// Makes the version folder writable and removes its binary; failures are ignored.
void discard(const Layout &layout);

} // namespace HerdrInstaller

} // namespace Keelhaven
