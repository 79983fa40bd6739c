#include "SessionHost/ProcessTree.h"

#include <QDir>
#include <fcntl.h>
#include <unistd.h>

namespace Keelhaven {

namespace {

/// Read with plain calls: this runs for each agent at each listing, and QFile costs several times as much.
QByteArray readAll(const QByteArray &path)
{
    const int file = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return {};
    QByteArray bytes;
    char chunk[4096];
    ssize_t count = 0;
    while ((count = ::read(file, chunk, sizeof chunk)) > 0)
        bytes.append(chunk, count);
    ::close(file);
    return bytes;
}

QByteArray procFile(pid_t pid, const char *name)
{
    return readAll("/proc/" + QByteArray::number(pid) + '/' + name);
}

} // namespace

std::optional<ProcessInfo> ProcessInfo::parse(const QByteArray &stat)
{
    // "pid (name) state ppid pgrp session tty tpgid …"; the name may hold blanks and brackets of its own.
    const qsizetype open = stat.indexOf('(');
    const qsizetype close = stat.lastIndexOf(')');
    if (open < 0 || close < open)
        return std::nullopt;
    const auto fields = stat.sliced(close + 1).trimmed().split(' ');
    if (fields.size() < 20)
        return std::nullopt;
    ProcessInfo info;
    info.id.pid = stat.first(open).trimmed().toInt();
    info.name = stat.sliced(open + 1, close - open - 1);
    info.state = fields[0].isEmpty() ? '?' : fields[0].front();
    info.parent = fields[1].toInt();
    info.group = fields[2].toInt();
    info.session = fields[3].toInt();
    info.terminalGroup = fields[5].toInt();
    info.id.startTime = fields[19].toULongLong();
    return info.id.pid > 0 ? std::optional(info) : std::nullopt;
}

std::optional<ProcessInfo> processInfo(pid_t pid)
{
    return pid > 0 ? ProcessInfo::parse(procFile(pid, "stat")) : std::nullopt;
}

bool isAlive(ProcessID id)
{
    const auto info = processInfo(id.pid);
    return info && info->id == id && info->isRunning();
}

QByteArrayList processArguments(pid_t pid)
{
    QByteArray line = procFile(pid, "cmdline");
    if (line.endsWith('\0'))
        line.chop(1);
    return line.isEmpty() ? QByteArrayList() : line.split('\0');
}

QHash<QByteArray, QByteArray> processEnvironment(pid_t pid)
{
    QHash<QByteArray, QByteArray> environment;
    for (const QByteArray &entry : procFile(pid, "environ").split('\0')) {
        if (const qsizetype equals = entry.indexOf('='); equals > 0)
            environment.insert(entry.first(equals), entry.sliced(equals + 1));
    }
    return environment;
}

QList<pid_t> childrenOf(pid_t pid)
{
    QList<pid_t> children;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    for (const QString &task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        for (const QByteArray &child :
             readAll((tasks + u'/' + task + QStringLiteral("/children")).toLatin1()).split(' ')) {
            if (const pid_t number = child.trimmed().toInt(); number > 0)
                children.append(number);
        }
    }
    return children;
}

ProcessTree::ProcessTree(QList<ProcessInfo> processes)
    : m_processes(std::move(processes))
{}

ProcessTree ProcessTree::now()
{
    QList<ProcessInfo> processes;
    for (const QString &name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool isNumber = false;
        const pid_t pid = name.toInt(&isNumber);
        if (const auto info = isNumber ? processInfo(pid) : std::nullopt)
            processes.append(*info);
    }
    return ProcessTree(std::move(processes));
}

QList<ProcessInfo> ProcessTree::below(pid_t root) const
{
    QHash<pid_t, QList<const ProcessInfo *>> children;
    QList<ProcessInfo> found;
    for (const ProcessInfo &process : m_processes) {
        children[process.parent].append(&process);
        if (process.id.pid == root)
            found.append(process);
    }
    for (qsizetype i = 0; i < found.size(); ++i) {
        for (const ProcessInfo *child : children.take(found[i].id.pid))
            found.append(*child);
    }
    return found;
}

} // namespace Keelhaven
