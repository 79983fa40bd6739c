#include "App/Commands/InstallManifest.h"

#include "Platform/Files.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QString hashOf(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

InstalledPiece recordOf(const InstallManifest::Piece &piece)
{
    if (!piece.target.isEmpty())
        return {.path = piece.path, .target = piece.target};
    return {.path = piece.path, .sha256 = hashOf(piece.bytes)};
}

/// What stands at `path`; nothing when nothing does. A folder or a pipe equals no piece.
std::optional<InstalledPiece> found(const QString &path)
{
    const QFileInfo info(path);
    if (info.isSymLink()) {
        // As it stands: QFileInfo would make a relative target absolute.
        std::array<char, PATH_MAX> target;
        const ssize_t size = ::readlink(QFile::encodeName(path).constData(), target.data(), target.size());
        return InstalledPiece{
            .path = path, .target = QFile::decodeName(QByteArray(target.data(), std::max<ssize_t>(size, 0)))};
    }
    if (!info.exists())
        return std::nullopt;
    const auto bytes = readFile(path);
    return bytes ? InstalledPiece{.path = path, .sha256 = hashOf(*bytes)} : InstalledPiece{.path = path};
}

std::optional<QString> place(const InstallManifest::Piece &piece)
{
    if (piece.target.isEmpty()) {
        const auto written = writeFileAtomically(piece.path, piece.bytes);
        return written ? std::nullopt : std::optional(written.error().message());
    }
    if (const auto folder = makeFolder(QFileInfo(piece.path).path()); !folder)
        return folder.error().message();
    const QByteArray path = QFile::encodeName(piece.path);
    ::unlink(path.constData());
    if (::symlink(QFile::encodeName(piece.target).constData(), path.constData()) == 0)
        return std::nullopt;
    return u"cannot link %1: %2"_s.arg(piece.path, QString::fromLocal8Bit(std::strerror(errno)));
}

auto recordedAt(QList<InstalledPiece> &pieces, const QString &path)
{
    return std::ranges::find(pieces, path, &InstalledPiece::path);
}

} // namespace

InstallManifest::InstallManifest(const QString &file)
    : m_file(file)
{
    const auto bytes = readFile(file);
    auto record = bytes ? decodeRecordBytes<InstallRecord>(*bytes) : Decoded<InstallRecord>(InstallRecord());
    if (record)
        m_record = *std::move(record);
}

void InstallManifest::rememberFoldersFor(const QString &path)
{
    QStringList missing;
    for (QString folder = QFileInfo(path).path(); !QFileInfo::exists(folder) && folder != u"/";
         folder = QFileInfo(folder).path())
        missing.prepend(folder);
    for (const QString &folder : std::as_const(missing)) {
        if (!m_record.folders.contains(folder))
            m_record.folders.append(folder);
    }
}

void InstallManifest::put(const Piece &piece, Outcome &outcome)
{
    const InstalledPiece wanted = recordOf(piece);
    const auto present = found(piece.path);
    const auto recorded = recordedAt(m_record.pieces, piece.path);
    const bool isRecorded = recorded != m_record.pieces.end();
    if (present && *present != wanted && (!isRecorded || *present != *recorded)) {
        outcome.left.append({piece.path,
                             isRecorded ? u"was changed since it was installed"_s : u"is not Keelhaven's"_s,
                             !isRecorded});
        return;
    }
    if (present == wanted) {
        outcome.unchanged.append(piece.path);
    } else {
        rememberFoldersFor(piece.path);
        if (const auto error = place(piece)) {
            outcome.left.append({piece.path, *error, true});
            return;
        }
        outcome.written.append(piece.path);
    }
    if (isRecorded)
        *recorded = wanted;
    else
        m_record.pieces.append(wanted);
}

void InstallManifest::take(const InstalledPiece &piece, Outcome &outcome) const
{
    const auto present = found(piece.path);
    if (!present)
        return;
    if (*present != piece)
        outcome.left.append({piece.path, u"was changed since it was installed"_s});
    else if (QFile::remove(piece.path))
        outcome.removed.append(piece.path);
    else
        outcome.left.append({piece.path, u"cannot be removed"_s, true});
}

InstallManifest::Outcome InstallManifest::write(const QList<Piece> &pieces)
{
    Outcome outcome;
    rememberFoldersFor(m_file);
    const auto earlier = m_record.pieces;
    for (const auto &each : earlier) {
        if (std::ranges::find(pieces, each.path, &Piece::path) != pieces.end())
            continue;
        take(each, outcome);
        m_record.pieces.removeOne(each);
    }
    for (const auto &piece : pieces)
        put(piece, outcome);
    return outcome;
}

InstallManifest::Outcome InstallManifest::remove()
{
    Outcome outcome;
    QList<InstalledPiece> stuck;
    for (const auto &piece : std::as_const(m_record.pieces)) {
        take(piece, outcome);
        // What the user changed is the user's from now on; what resists is tried again the next time.
        if (!outcome.left.isEmpty() && outcome.left.last().isObstacle &&
            outcome.left.last().path == piece.path)
            stuck.append(piece);
    }
    m_record.pieces = stuck;
    if (stuck.isEmpty())
        m_doomed = std::exchange(m_record.folders, {});
    return outcome;
}

std::optional<QString> InstallManifest::save()
{
    if (isEmpty()) {
        QFile::remove(m_file);
        // The innermost first; one that somebody else uses by now stays.
        for (auto folder = m_doomed.crbegin(); folder != m_doomed.crend(); ++folder)
            QDir().rmdir(*folder);
        return std::nullopt;
    }
    const auto bytes = JSONValue(encodeRecord(m_record)).encodedPretty();
    if (const auto known = readFile(m_file); known && *known == bytes)
        return std::nullopt;
    const auto written = writeFileAtomically(m_file, bytes);
    return written ? std::nullopt : std::optional(written.error().message());
}

} // namespace Keelhaven
