#include "Plugins/WorkspaceStore.h"

#include "Platform/Files.h"
#include "Platform/Tasks.h"

#include <QDir>
#include <QPointer>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QStringList foldersIn(const QString &folder)
{
    QStringList paths;
    for (const QString &name : QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden))
        paths.append(folder + u'/' + name);
    return paths;
}

std::optional<TaskWorkspace> workspaceIn(const QString &folder)
{
    const auto bytes = readFile(folder + u"/workspace.json"_s);
    const auto json = bytes ? JSONValue::parse(*bytes) : failure(JSONParseError{});
    return json ? TaskWorkspace::fromJSON(*json, folder) : std::nullopt;
}

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
        auto work = [root = m_root] { return scan(root); };
        auto found = co_await onPool(std::move(work));
        if (!self)
            co_return;
        if (found != m_all) {
            m_all = std::move(found);
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
