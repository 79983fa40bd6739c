#include "Scheduler/RunResume.h"

#include "Contract/JSONValue.h"
#include "Herdr/HerdrPlacement.h"
#include "Platform/Files.h"

#include <QDirIterator>
#include <QFileInfo>

namespace Keelhaven::RunResume {

using namespace Qt::StringLiterals;

namespace {

constexpr int timeoutMinutes = 240;
constexpr int stallMinutes = 10;
constexpr qint64 longestNote = 1 << 20;

/// When the process started, in clock ticks as text; nothing when it is gone. Its number alone may belong to
/// a later one.
std::optional<QString> startOf(qint64 pid)
{
    const auto stat = readFile(u"/proc/%1/stat"_s.arg(pid));
    // Behind the name, which may hold blanks and brackets, come the state and eighteen more fields.
    const auto fields =
        stat ? stat->sliced(stat->lastIndexOf(')') + 1).trimmed().split(' ') : QByteArrayList();
    const bool isAlive = fields.size() > 19 && fields[0] != "Z" && fields[0] != "X";
    return isAlive ? std::optional(QString::fromLatin1(fields[19])) : std::nullopt;
}

} // namespace

bool isResumed(const RunRecord &record)
{
    return record.resumeSessionID && !record.resumeSessionID->isEmpty();
}

std::optional<QString> blockedReason(const RunRecord &record)
{
    if (record.resolvedProvider() != AgentProvider::Claude)
        return u"Only Claude sessions can be resumed here — continue a Codex session in Herdr itself."_s;
    if (!record.sessionID || record.sessionID->isEmpty())
        return u"This run didn't record a session id, so there is no conversation to pick up."_s;
    if (!QFileInfo(record.cwd).isDir())
        return u"The folder the run worked in is gone: "_s + record.cwd;
    return std::nullopt;
}

SchedulerSlot slot(const RunRecord &record, const std::optional<SchedulerSlot> &original, Date now)
{
    SchedulerSlot resumed;
    resumed.name = record.slotName + u" · resumed"_s;
    resumed.provider = record.resolvedProvider();
    resumed.model = record.model;
    resumed.cwds = QStringList{record.cwd};
    resumed.command = u"I'm back to continue this session in person. In a few sentences remind me where you "
                      u"left off — what you did and what is still open — then wait for my instructions."_s;
    resumed.schedule.rule = ScheduleSpec::Once{now};
    resumed.timeoutMinutes = timeoutMinutes;
    resumed.stallMinutes = stallMinutes;
    resumed.keepAwake = false;
    resumed.closeFinishedTab = false;
    resumed.keepSessionOpen = true;
    resumed.shipID = record.shipID;
    resumed.kind = SlotKind::Oneoff;
    if (original) {
        resumed.plugins = original->plugins;
        resumed.herdrWorkspace = original->herdrWorkspace;
        resumed.addDirs = original->addDirs;
    }
    if (!resumed.herdrWorkspace)
        resumed.herdrWorkspace = HerdrPlacement::workspaceLabel(record.folder());
    if (record.projectDir && !resumed.addDirs.contains(*record.projectDir))
        resumed.addDirs.append(*record.projectDir);
    return resumed;
}

std::optional<qint64> openIn(const QString &conversation, const QString &claudeFolder)
{
    QDirIterator notes(claudeFolder + u"/sessions"_s, {u"*.json"_s}, QDir::Files);
    while (notes.hasNext()) {
        const auto bytes = readFile(notes.next(), longestNote);
        const auto note = JSONValue::parse(QByteArrayView(bytes.value_or(QByteArray())));
        if (!note)
            continue;
        const auto text = [&](QStringView key) {
            const JSONValue *value = (*note)[key];
            return value ? value->stringValue() : std::nullopt;
        };
        const JSONValue *value = (*note)[u"pid"];
        const auto pid = value ? value->intValue() : std::nullopt;
        if (!pid || text(u"sessionId") != conversation)
            continue;
        const auto start = startOf(*pid);
        if (start && text(u"procStart").value_or(*start) == *start)
            return pid;
    }
    return std::nullopt;
}

} // namespace Keelhaven::RunResume
