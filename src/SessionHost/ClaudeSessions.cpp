#include "SessionHost/ClaudeSessions.h"

#include "Platform/Files.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

struct SessionRecord
{
    qint64 pid = 0;
    std::optional<QString> procStart; ///< the process's start time in clock ticks, as text
    QString status;
};

std::optional<Herdr::Status> statusNamed(const QString &text)
{
    static const QMap<QString, Herdr::Status> names{{u"idle"_s, Herdr::Status::Idle},
                                                    {u"busy"_s, Herdr::Status::Working},
                                                    {u"waiting"_s, Herdr::Status::Blocked}};
    const auto found = names.constFind(text);
    return found == names.constEnd() ? std::nullopt : std::optional(*found);
}

} // namespace

template <>
struct RecordTable<SessionRecord>
{
    static auto fields()
    {
        return std::tuple{required(u"pid", &SessionRecord::pid),
                          optional(u"procStart", &SessionRecord::procStart).lenient(),
                          required(u"status", &SessionRecord::status)};
    }
};

std::optional<ClaudeSession> ClaudeSessionFile::parse(const QByteArray &json, ProcessID process)
{
    const auto record = decodeRecordBytes<SessionRecord>(json);
    if (!record || record->pid != process.pid)
        return std::nullopt;
    if (record->procStart && record->procStart->toULongLong() != process.startTime)
        return std::nullopt;
    const auto status = statusNamed(record->status);
    return status ? std::optional(ClaudeSession{*status, 0}) : std::nullopt;
}

std::optional<ClaudeSession> ClaudeSessionFile::read(const QByteArray &folder, ProcessID process)
{
    const QByteArray path = folder + "/sessions/" + QByteArray::number(process.pid) + ".json";
    struct stat now = {};
    if (::stat(path.constData(), &now) != 0)
        return std::nullopt;
    const bool isSame = m_process == process && m_inode == now.st_ino && m_size == now.st_size &&
                        m_changed.tv_sec == now.st_mtim.tv_sec && m_changed.tv_nsec == now.st_mtim.tv_nsec;
    if (isSame)
        return m_session;
    const auto bytes = readFile(QFile::decodeName(path));
    // A write under way leaves half a file: the next look finds another time or size.
    m_session = bytes ? parse(*bytes, process) : std::nullopt;
    if (m_session)
        m_session->changedAt = now.st_mtim.tv_sec;
    m_process = process;
    m_inode = now.st_ino;
    m_size = now.st_size;
    m_changed = now.st_mtim;
    return m_session;
}

} // namespace Keelhaven
