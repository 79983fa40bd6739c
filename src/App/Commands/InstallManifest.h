#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// One file that was installed, as it was written: a link has a target, a file the hash of its bytes.
struct InstalledPiece
{
    QString path;
    std::optional<QString> sha256 = {};
    std::optional<QString> target = {};

    bool operator==(const InstalledPiece &) const = default;
};

template <>
struct RecordTable<InstalledPiece>
{
    static auto fields()
    {
        using P = InstalledPiece;
        return std::tuple{required(u"path", &P::path), optional(u"sha256", &P::sha256),
                          optional(u"target", &P::target)};
    }
};

/// What stands on disk because of an installation, and nothing else.
struct InstallRecord
{
    QList<InstalledPiece> pieces;
    QStringList folders; ///< made for the pieces, in order
    /// Lists of the desktop in which this program was entered, and those of them that did not exist before.
    QStringList entered;
    QStringList listsMade;

    bool operator==(const InstallRecord &) const = default;
};

template <>
struct RecordTable<InstallRecord>
{
    static auto fields()
    {
        using R = InstallRecord;
        return std::tuple{defaulted(u"pieces", &R::pieces), defaulted(u"folders", &R::folders),
                          defaulted(u"entered", &R::entered), defaulted(u"listsMade", &R::listsMade)};
    }
};

/// Writes and removes files with a record of what it wrote, so that a file of somebody else's, or one that
/// was changed since, is never overwritten and never removed.
class InstallManifest
{
public:
    /// A file to have: its bytes, or what it links to.
    struct Piece
    {
        QString path;
        QByteArray bytes = {};
        QString target = {}; ///< not empty: a symbolic link
    };

    /// A file that was left as it is, with the reason as the end of a sentence.
    struct Left
    {
        QString path;
        QString reason;
        bool isObstacle = false; ///< a piece could not be put there

        bool operator==(const Left &) const = default;
    };

    struct Outcome
    {
        QStringList written;
        QStringList unchanged;
        QStringList removed;
        QList<Left> left;
    };

    /// Reads the record in `file`; a missing or unreadable one is that of nothing.
    explicit InstallManifest(const QString &file);

    [[nodiscard]] InstallRecord &record() { return m_record; }
    [[nodiscard]] bool isEmpty() const { return m_record == InstallRecord(); }

    /// Puts the pieces in place and takes away those of an earlier installation that are none any more.
    [[nodiscard]] Outcome write(const QList<Piece> &pieces);
    /// Takes everything away that is still as it was written. The folders that were made for it go with
    /// save().
    [[nodiscard]] Outcome remove();

    /// Stores the record, or removes its file when there is nothing to record.
    [[nodiscard]] std::optional<QString> save();

private:
    void put(const Piece &piece, Outcome &outcome);
    void take(const InstalledPiece &piece, Outcome &outcome) const;
    void rememberFoldersFor(const QString &path);

    QString m_file;
    InstallRecord m_record;
    QStringList m_doomed; ///< folders to remove where they are empty
};

} // namespace Keelhaven
