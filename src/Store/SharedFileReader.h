#pragma once

#include "Contract/KeelhavenPaths.h"
#include "Contract/Models/Snapshot.h"
#include "Store/JSONLTailer.h"

#include <array>

namespace Keelhaven {

/// Reads the shared files as far as they changed. Plain and blocking; used on one thread at a time.
class SharedFileReader
{
public:
    explicit SharedFileReader(KeelhavenPaths paths);

    /// Whether refresh() would read no more than a small tail of the event log, so that it may run on the
    /// main loop.
    [[nodiscard]] bool isLight() const;

    /// The new state, or nothing when nothing changed since the last one. The first call always gives one.
    [[nodiscard]] std::optional<Snapshot> refresh(Date now);

private:
    /// What tells two versions of a file apart.
    struct FileStamp
    {
        qint64 mtime = 0; ///< nanoseconds since 1970
        qint64 size = 0;
        quint64 inode = 0;
        bool operator==(const FileStamp &) const = default;

        [[nodiscard]] static std::optional<FileStamp> of(const QString &path);
    };

    /// One of the JSON files.
    struct ContractFile
    {
        QString path;
        std::optional<FileStamp> stamp;
        bool failed = false; ///< the last read did not parse: the next refresh tries again

        [[nodiscard]] bool isUnchanged(const std::optional<FileStamp> &now) const
        {
            return !failed && now == stamp;
        }
        /// The new content, an empty object for a file that has gone. Nothing when it did not change or does
        /// not parse.
        [[nodiscard]] std::optional<JSONValue> reparseIfChanged();
    };

    /// Reads one file into its record; whether the record is new.
    template <typename Record>
    [[nodiscard]] static bool refresh(ContractFile &file, Record &record);

    KeelhavenPaths m_paths;
    std::array<ContractFile, 4> m_files; ///< state, ai, context, credentials
    StateFile m_state;                   ///< the last good records
    AIFile m_ai;
    ContextFile m_context;
    CredentialsPeek m_credentials;
    std::optional<FileStamp> m_eventsStamp;
    JSONLTailer m_tailer;
    bool m_hasLoaded = false;
};

} // namespace Keelhaven
