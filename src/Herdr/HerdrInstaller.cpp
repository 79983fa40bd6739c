#include "Herdr/HerdrInstaller.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace Keelhaven::HerdrInstaller {

using namespace Qt::StringLiterals;

namespace {

using Done = Result<void, FileError>;

auto systemFailure(const QString &action, const QString &path)
{
    return failure(
        FileError{u"cannot %1 %2: %3"_s.arg(action, path, QString::fromLocal8Bit(std::strerror(errno)))});
}

Done setMode(const QString &path, mode_t mode)
{
    if (::chmod(QFile::encodeName(path).constData(), mode) != 0)
        return systemFailure(u"set the mode of"_s, path);
    return {};
}

Done copyFile(const QString &from, const QString &to)
{
    QFile::remove(to);
    QFile source(from);
    if (!source.copy(to))
        return failure(FileError{u"cannot copy %1 to %2: %3"_s.arg(from, to, source.errorString())});
    return {};
}

Done moveFile(const QString &from, const QString &to)
{
    // Replaces the old file in one step: a launch in this moment finds one or the other.
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0)
        return systemFailure(u"replace"_s, to);
    return {};
}

Done openVersionDir(const Layout &layout)
{
    if (auto root = makeFolder(layout.root); !root)
        return root;
    if (QFileInfo(layout.versionDir()).isDir())
        return setMode(layout.versionDir(), 0755);
    return makeFolder(layout.versionDir());
}

Done placeBinary(const Layout &layout)
{
    const QString copy = layout.versionDir() + u"/.herdr.tmp"_s;
    if (auto copied = copyFile(*layout.bundledBinary, copy); !copied)
        return copied;
    if (auto set = setMode(copy, 0555); !set)
        return set;
    return moveFile(copy, layout.binary());
}

Done placeLicense(const Layout &layout)
{
    if (!layout.bundledLicense || !QFileInfo(*layout.bundledLicense).isFile())
        return {};
    return copyFile(*layout.bundledLicense, layout.license());
}

Done place(const Layout &layout)
{
    if (auto opened = openVersionDir(layout); !opened)
        return opened;
    if (auto placed = placeBinary(layout); !placed)
        return placed;
    if (auto placed = placeLicense(layout); !placed)
        return placed;
    return setMode(layout.versionDir(), 0555);
}

} // namespace

Layout Layout::forPaths(const KeelhavenPaths &paths, std::optional<QString> binary,
                        std::optional<QString> licenseFile)
{
    return {paths.herdrRoot(), std::move(binary), std::move(licenseFile), HerdrPin::current()};
}

QString Layout::versionDir() const
{
    return root + u'/' + pin.version;
}
QString Layout::binary() const
{
    return binaryIn(versionDir());
}
QString Layout::license() const
{
    return versionDir() + u"/herdr-LICENSE.txt"_s;
}

bool Layout::hasBundledBinary() const
{
    if (!bundledBinary)
        return false;
    const QFileInfo info(*bundledBinary);
    return info.isFile() && info.isReadable();
}

Result<InstallResult, FileError> installIfNeeded(const Layout &layout)
{
    using Kind = InstallResult::Kind;
    if (!layout.hasBundledBinary())
        return InstallResult{Kind::BundleMissing, {}};
    const auto pinned = sha256(*layout.bundledBinary);
    if (!pinned)
        return failure(pinned.error());
    std::optional<QString> existing;
    if (QFileInfo(layout.binary()).isExecutable()) {
        if (auto digest = sha256(layout.binary()))
            existing = *digest;
    }
    if (!needsInstall(existing, *pinned))
        return InstallResult{Kind::AlreadyCurrent, {}};
    if (const auto placed = place(layout); !placed)
        return failure(placed.error());
    return InstallResult{Kind::Installed, layout.pin.version};
}

bool needsInstall(const std::optional<QString> &existingSHA, const QString &pinnedSHA)
{
    return !existingSHA || existingSHA->toLower() != pinnedSHA.toLower();
}

QStringList oldVersionDirs(const Layout &layout)
{
    QStringList folders;
    const auto entries =
        QDir(layout.root).entryInfoList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    for (const QFileInfo &entry : entries) {
        if (entry.fileName() != layout.pin.version)
            folders.append(entry.filePath());
    }
    return folders;
}

QString binaryIn(const QString &versionDir)
{
    return versionDir + u"/herdr"_s;
}

void pruneOldVersions(const Layout &layout, const std::function<bool(const QString &)> &running)
{
    for (const QString &folder : oldVersionDirs(layout)) {
        if (running(binaryIn(folder)))
            continue;
        static_cast<void>(setMode(folder, 0755));
        QDir(folder).removeRecursively();
    }
}

Result<QString, FileError> sha256(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file))
        return failure(FileError{u"cannot read %1: %2"_s.arg(path, file.errorString())});
    return QString::fromLatin1(hash.result().toHex());
}

void discard(const Layout &layout)
{
    static_cast<void>(setMode(layout.versionDir(), 0755));
    QFile::remove(layout.binary());
}

} // namespace Keelhaven::HerdrInstaller
