#include "SessionHost/CodexHookLine.h"

#include "Contract/JSONValue.h"
#include "Platform/Uuid.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

Result<void, FileError> appendCodexSessionStart(const QString &folder, const QString &runID, Date now)
{
    if (!uuidFromText(runID))
        return failure(FileError{u"the run id is no UUID"_s});
    if (auto made = makeFolder(folder); !made)
        return made;
    const JSONObject line{{u"type"_s, JSONValue(u"SessionStart"_s)},
                          {u"provider"_s, JSONValue(u"codex"_s)},
                          {u"source"_s, JSONValue(u"codex"_s)},
                          {u"run_id"_s, JSONValue(runID)},
                          {u"ts"_s, JSONValue(secondsSince1970(now))}};
    const QByteArray bytes = JSONValue(line).encoded() + '\n';
    const QString path = folder + u'/' + runID + u".jsonl"_s;
    // One write to the end: hooks of the same session append here too.
    const int file =
        ::open(QFile::encodeName(path).constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    const bool written =
        file >= 0 && ::write(file, bytes.constData(), static_cast<size_t>(bytes.size())) == bytes.size();
    const int error = errno;
    if (file >= 0)
        ::close(file);
    if (!written)
        return failure(
            FileError{u"cannot write %1: %2"_s.arg(path, QString::fromLocal8Bit(std::strerror(error)))});
    return {};
}

} // namespace Keelhaven
