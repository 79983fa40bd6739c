#include "Plugins/WorkspaceStore.h"

#include "Platform/Files.h"
#include "Platform/Tasks.h"

#include <QDir>
#include <QPointer>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QStringList entriesIn(const QString &folder, QDir::Filters kind)
{
    QStringList paths;
    for (const QString &name : QDir(folder).entryList(kind | QDir::NoDotAndDotDot | QDir::Hidden))
        paths.append(folder + u'/' + name);
    return paths;
}

QStringList foldersIn(const QString &folder)
{
    return entriesIn(folder, QDir::Dirs);
}

QString recordIn(const QString &folder)
{
    return folder + u"/workspace.json"_s;
}

std::optional<TaskWorkspace> workspaceIn(const QString &folder)
{
    const auto bytes = readFile(recordIn(folder));
    const auto json = bytes ? JSONValue::parse(*bytes) : failure(JSONParseError{});
    return json ? TaskWorkspace::fromJSON(*json, folder) : std::nullopt;
}

/// Where a scan looks. A link that leads nowhere yet counts as well.
QStringList pathsBelow(const QString &root)
{
    constexpr QDir::Filters every = QDir::AllEntries | QDir::System;
    QStringList paths{root};
    for (const QString &agent : entriesIn(root, every)) {
        paths.append(agent);
        for (const QString &folder : entriesIn(agent, every))
            paths.append(recordIn(folder));
    }
    return paths;
}

struct Scanned
{
    QList<TaskWorkspace> workspaces;
    QStringList paths;
    FileFootprint footprint;
};

} // namespace

WorkspaceStore::WorkspaceStore(QString root, Clock &clock, DirectoryWatchFactory &factory, Tasks &tasks)
    : m_root(std::move(root))
    , m_tasks(tasks)
    , m_watcher(m_root, clock, factory, [this] { reload(); })
{}

void WorkspaceStore::start()
{
    reload();
    m_watcher.start();
}

void WorkspaceStore::stop()
{
    m_watcher.stop();
}

void WorkspaceStore::reload()
{
    if (m_isScanning)
        m_scanAgain = true;
    else
        m_tasks.spawn(runScans(), "WorkspaceStore::reload");
}

QCoro::Task<> WorkspaceStore::runScans()
{
    const QPointer<WorkspaceStore> self(this);
    m_isScanning = true;
    do {
        m_scanAgain = false;
        if (m_footprint.stillStands())
            break;
        auto work = [root = m_root, expected = m_footprint.paths()] {
            return FileFootprint::ofReading(expected, [&root] {
                return Scanned{.workspaces = scan(root), .paths = pathsBelow(root), .footprint = {}};
            });
        };
        auto found = co_await onPool(std::move(work));
        if (!self)
            co_return;
        m_footprint = std::move(found.footprint);
        if (found.workspaces != m_all) {
            m_all = std::move(found.workspaces);
            Q_EMIT changed();
        }
        if (!self)
            co_return;
    } while (m_scanAgain);
    m_isScanning = false;
}

QList<TaskWorkspace> WorkspaceStore::scan(const QString &root)
{
    QList<TaskWorkspace> found;
    for (const QString &agent : foldersIn(root)) {
        for (const QString &folder : foldersIn(agent)) {
            if (auto workspace = workspaceIn(folder))
                found.append(*std::move(workspace));
        }
    }
    std::ranges::stable_sort(found, [](const TaskWorkspace &a, const TaskWorkspace &b) {
        return std::tie(a.project, a.task) < std::tie(b.project, b.task);
    });
    return found;
}

} // namespace Keelhaven
