#pragma once

#include "Dispatch/DispatchRecord.h"
#include "Dispatch/DispatchRequestFile.h"
#include "Dispatch/DispatchResponseFile.h"
#include "Platform/Files.h"

namespace Keelhaven {

/// The ledger "dispatches.json" and the folders through which request and response files pass. A plain value
/// without a state of its own; main loop only.
class DispatchStore
{
public:
    /// The ledger keeps this many records; the oldest go.
    static constexpr qsizetype recordLimit = 100;
    static constexpr int ledgerVersion = 2;

    explicit DispatchStore(QString rootDir);

    [[nodiscard]] const QString &rootDir() const { return m_rootDir; }

    /// Newest first, without the records that cannot be read; a missing or unreadable ledger gives none.
    [[nodiscard]] QList<DispatchRecord> load() const;
    /// Writes the newest records and removes the task folders of all others.
    [[nodiscard]] Result<void, FileError> save(const QList<DispatchRecord> &records) const;

    [[nodiscard]] QString taskDir(const QString &id) const;
    [[nodiscard]] QString resultURL(const QString &id) const;
    [[nodiscard]] QString requestURL(const QString &id) const;
    [[nodiscard]] QString responseURL(const QString &id) const;

    /// Creates "tasks/{id}" and gives its path.
    [[nodiscard]] Result<QString, FileError> createTaskDir(const QString &id) const;
    /// The task's own result file; nothing when it is missing or not readable as one.
    [[nodiscard]] std::optional<TaskResult> readResult(const QString &id) const;

    /// Creates "inbox" and "outbox", writes the request and gives its path.
    [[nodiscard]] Result<QString, FileError> writeRequest(const DispatchRequestFile &file) const;
    /// Paths of the response files that wait, oldest first.
    [[nodiscard]] QStringList pendingResponses() const;
    [[nodiscard]] std::optional<DispatchResponseFile> readResponse(const QString &path) const;

    /// Moves both files of a dispatch to "archive", over older copies. What cannot be moved stays.
    void archive(const QString &dispatchID) const;
    void archiveFile(const QString &path) const;

    /// Whether a text may be a part of a path as an id: ids also come out of files that a model wrote.
    [[nodiscard]] static bool isUsableID(QStringView id);

private:
    [[nodiscard]] QString path(QStringView relative) const;
    void prune(const QList<DispatchRecord> &kept) const;

    QString m_rootDir;
};

} // namespace Keelhaven
