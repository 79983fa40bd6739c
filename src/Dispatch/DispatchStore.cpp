#include "Dispatch/DispatchStore.h"

#include "Scheduler/Model/RunContract.h"

#include <QSet>
#include <QStringBuilder>
#include <algorithm>
#include <tuple>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// The ledger file. The version is written for readers to come and not looked at.
struct Ledger
{
    int version = DispatchStore::ledgerVersion;
    TolerantList<DispatchRecord> dispatches;
};

constexpr QStringView responseSuffix = u".response.json";

FileError unusable(const QString &id)
{
    return {u"cannot use \"%1\" as a task's id"_s.arg(id)};
}

} // namespace

template <>
struct RecordTable<Ledger>
{
    static auto fields()
    {
        return std::tuple{defaulted(u"version", &Ledger::version),
                          required(u"dispatches", &Ledger::dispatches)};
    }
};

DispatchStore::DispatchStore(QString rootDir)
    : m_rootDir(std::move(rootDir))
{}

QString DispatchStore::path(QStringView relative) const
{
    return m_rootDir % u'/' % relative;
}

bool DispatchStore::isUsableID(QStringView id)
{
    constexpr qsizetype longest = 64;
    return !id.isEmpty() && id.size() <= longest && std::ranges::all_of(id, [](QChar c) {
        return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'-';
    });
}

QList<DispatchRecord> DispatchStore::load() const
{
    const auto bytes = readFile(path(u"dispatches.json"));
    if (!bytes)
        return {};
    auto ledger = decodeRecordBytes<Ledger>(*bytes);
    return ledger ? std::move(ledger->dispatches.items) : QList<DispatchRecord>();
}

Result<void, FileError> DispatchStore::save(const QList<DispatchRecord> &records) const
{
    if (auto made = makeFolder(m_rootDir); !made)
        return made;
    Ledger ledger;
    ledger.dispatches.items = records.first(std::min(records.size(), recordLimit));
    auto written =
        writeFileAtomically(path(u"dispatches.json"), JSONValue(encodeRecord(ledger)).encodedPretty());
    if (written)
        prune(ledger.dispatches.items);
    return written;
}

void DispatchStore::prune(const QList<DispatchRecord> &kept) const
{
    QSet<QString> ids;
    for (const auto &record : kept)
        ids.insert(record.id);
    const QDir tasks(path(u"tasks"));
    constexpr auto everything = QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System;
    for (const auto &entry : tasks.entryInfoList(everything)) {
        if (ids.contains(entry.fileName()))
            continue;
        // What cannot be removed is tried again with the next save.
        if (entry.isDir() && !entry.isSymLink())
            QDir(entry.filePath()).removeRecursively();
        else
            QFile::remove(entry.filePath());
    }
}

QString DispatchStore::taskDir(const QString &id) const
{
    return path(u"tasks/") + id;
}

QString DispatchStore::resultURL(const QString &id) const
{
    return taskDir(id) + u"/result.json"_s;
}

QString DispatchStore::requestURL(const QString &id) const
{
    return path(u"inbox/") + id + u".request.json"_s;
}

QString DispatchStore::responseURL(const QString &id) const
{
    return path(u"outbox/") % id % responseSuffix;
}

Result<QString, FileError> DispatchStore::createTaskDir(const QString &id) const
{
    if (!isUsableID(id))
        return failure(unusable(id));
    if (const auto made = makeFolder(taskDir(id)); !made)
        return failure(made.error());
    return taskDir(id);
}

std::optional<TaskResult> DispatchStore::readResult(const QString &id) const
{
    return isUsableID(id) ? RunContract::readResult(resultURL(id)) : std::nullopt;
}

Result<QString, FileError> DispatchStore::writeRequest(const DispatchRequestFile &file) const
{
    if (!isUsableID(file.dispatchID))
        return failure(unusable(file.dispatchID));
    for (const QStringView folder : {u"inbox", u"outbox"}) {
        if (const auto made = makeFolder(path(folder)); !made)
            return failure(made.error());
    }
    const QString target = requestURL(file.dispatchID);
    if (const auto written = writeFileAtomically(target, JSONValue(encodeRecord(file)).encodedPretty());
        !written)
        return failure(written.error());
    return target;
}

QStringList DispatchStore::pendingResponses() const
{
    struct Waiting
    {
        QDateTime modified;
        QString path;
    };
    std::vector<Waiting> waiting;
    for (const auto &entry : QDir(path(u"outbox")).entryInfoList(QDir::Files | QDir::Hidden)) {
        if (entry.fileName().endsWith(responseSuffix))
            waiting.push_back({entry.lastModified(), entry.filePath()});
    }
    // A file without a date has an invalid one, which sorts before all others.
    std::ranges::sort(waiting, {}, [](const Waiting &file) { return std::tie(file.modified, file.path); });
    QStringList paths;
    for (const auto &file : waiting)
        paths.append(file.path);
    return paths;
}

std::optional<DispatchResponseFile> DispatchStore::readResponse(const QString &path) const
{
    const auto bytes = readFile(path);
    if (!bytes)
        return std::nullopt;
    auto response = decodeRecordBytes<DispatchResponseFile>(*bytes);
    return response ? std::optional(*std::move(response)) : std::nullopt;
}

void DispatchStore::archive(const QString &dispatchID) const
{
    if (!isUsableID(dispatchID))
        return;
    archiveFile(requestURL(dispatchID));
    archiveFile(responseURL(dispatchID));
}

void DispatchStore::archiveFile(const QString &file) const
{
    if (!QFileInfo::exists(file) || !makeFolder(path(u"archive")))
        return;
    const QString target = path(u"archive/") + QFileInfo(file).fileName();
    QFile::remove(target);
    QFile::rename(file, target);
}

} // namespace Keelhaven
