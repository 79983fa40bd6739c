#include "Store/SharedFileReader.h"

#include "Platform/Files.h"

#include <QFileInfo>
#include <algorithm>
#include <sys/stat.h>

namespace Keelhaven {

namespace {
/// Parsing this much takes about a millisecond.
constexpr quint64 lightBytes = 64 << 10;
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

/// Whether `content` is new.
bool SharedFileReader::ContractFile::reparseIfChanged()
{
    // Taken before the read: a write in between makes the next refresh look again.
    const auto found = FileStamp::of(path);
    if (isUnchanged(found))
        return false;
    stamp = found;
    failed = false;
    if (!found) {
        content = {};
        return true;
    }
    const auto bytes = readFile(path);
    auto json = bytes ? JSONValue::parse(*bytes) : failure(JSONParseError{});
    if (!json) {
        failed = true;
        return false;
    }
    const JSONObject *object = json->objectValue();
    content = object ? *object : JSONObject();
    return true;
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
    for (ContractFile &file : m_files)
        changed |= file.reparseIfChanged();

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
    snapshot.state = m_files[0].content;
    snapshot.ai = m_files[1].content;
    snapshot.context = m_files[2].content;
    snapshot.credentials = m_files[3].content;
    snapshot.events = std::move(read.events);
    snapshot.newEvents = std::move(read.newEvents);
    snapshot.health.cacheDirExists = QFileInfo(m_paths.cacheDir).isDir();
    snapshot.health.unknownSchemaVersion = unknownSchemaVersion(snapshot.state);
    snapshot.at = now;
    return snapshot;
}

} // namespace Keelhaven
