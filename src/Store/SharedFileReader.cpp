#include "Store/SharedFileReader.h"

#include "Platform/Files.h"
#include "Platform/SystemLog.h"

#include <QFileInfo>
#include <algorithm>
#include <sys/stat.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {
/// Parsing this much takes about a millisecond.
constexpr quint64 lightBytes = 64 << 10;

/// Ten times what the files of a large board take. Parsed they take a multiple of it.
constexpr qint64 largestContractFile = 64 << 20;
}

std::optional<SharedFileReader::FileStamp> SharedFileReader::FileStamp::of(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return std::nullopt;
    return FileStamp{.mtime = status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec,
                     .size = status.st_size,
                     .inode = status.st_ino};
}

std::optional<JSONValue> SharedFileReader::ContractFile::reparseIfChanged()
{
    // Taken before the read: a write in between makes the next refresh look again.
    const auto found = FileStamp::of(path);
    if (isUnchanged(found))
        return std::nullopt;
    const bool isNew = found != stamp;
    stamp = found;
    failed = false;
    if (!found)
        return JSONObject();
    const auto bytes = readFile(path, largestContractFile);
    // A file cut in the middle of a write is whole a moment later; this one stays as it is.
    if (!bytes && isNew)
        systemLog(u"Keelhaven: %1; what was read of it before stands"_s.arg(bytes.error().message()));
    auto json = bytes ? JSONValue::parse(*bytes) : failure(JSONParseError{});
    if (!json) {
        failed = true;
        return std::nullopt;
    }
    return *std::move(json);
}

template <typename Record>
bool SharedFileReader::refresh(ContractFile &file, Record &record)
{
    const auto json = file.reparseIfChanged();
    if (json)
        record = Record::fromJSON(*json);
    return json.has_value();
}

SharedFileReader::SharedFileReader(KeelhavenPaths paths)
    : m_paths(std::move(paths))
{
    m_files[0].path = m_paths.stateFile();
    m_files[1].path = m_paths.aiFile();
    m_files[2].path = m_paths.contextFile();
    m_files[3].path = m_paths.credentialsFile();
}

bool SharedFileReader::isLight() const
{
    return std::ranges::all_of(
               m_files,
               [](const ContractFile &file) { return file.isUnchanged(FileStamp::of(file.path)); }) &&
           m_tailer.unreadBytes(m_paths.eventsFile()) <= lightBytes;
}

std::optional<Snapshot> SharedFileReader::refresh(Date now)
{
    bool changed = !m_hasLoaded;
    changed |= refresh(m_files[0], m_state);
    changed |= refresh(m_files[1], m_ai);
    changed |= refresh(m_files[2], m_context);
    changed |= refresh(m_files[3], m_credentials);

    const auto eventsStamp = FileStamp::of(m_paths.eventsFile());
    changed |= eventsStamp != m_eventsStamp;
    m_eventsStamp = eventsStamp;
    // Read even under an equal stamp, at the price of an open: a renamed log may have got a late line.
    auto read = m_tailer.read(m_paths.eventsFile(), now);
    changed |= !read.newEvents.isEmpty();
    if (!changed)
        return std::nullopt;

    m_hasLoaded = true;
    Snapshot snapshot;
    snapshot.state = m_state;
    snapshot.ai = m_ai;
    snapshot.context = m_context;
    snapshot.credentials = m_credentials;
    snapshot.events = std::move(read.events);
    snapshot.newEvents = std::move(read.newEvents);
    snapshot.health.cacheDirExists = QFileInfo(m_paths.cacheDir).isDir();
    if (m_state.hasUnknownSchema())
        snapshot.health.unknownSchemaVersion = m_state.schemaVersion;
    snapshot.at = now;
    return snapshot;
}

} // namespace Keelhaven
