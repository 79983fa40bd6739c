#include "App/Commands/InstallDesktop.h"

#include "Platform/Files.h"

#include <QFileInfo>
#include <algorithm>

namespace Keelhaven::InstallDesktop {

using namespace Qt::StringLiterals;

namespace {

QString associations(const KeelhavenPaths &paths)
{
    return configHome(paths) + u"/mimeapps.list"_s;
}

QString cache(const KeelhavenPaths &paths)
{
    return applications(paths) + u"/mimeinfo.cache"_s;
}

bool isEnteredIn(const QString &file)
{
    const auto bytes = readFile(file);
    return bytes && isEntered(*bytes);
}

/// The line without this program; nothing when nothing is left of it, or when it never named it.
std::optional<QByteArray> without(const QByteArray &line, bool &isChanged)
{
    const QByteArray key = linkType.toUtf8() + '=';
    if (!line.trimmed().startsWith(key))
        return line;
    QList<QByteArray> entries = line.trimmed().sliced(key.size()).split(';');
    entries.removeAll(QByteArray());
    if (entries.removeAll(entryName.toUtf8()) == 0)
        return line;
    isChanged = true;
    return entries.isEmpty() ? std::nullopt : std::optional(key + entries.join(';') + ';');
}

bool holdsNothing(const QByteArray &list)
{
    const auto lines = list.split('\n');
    return std::ranges::all_of(lines, [](const QByteArray &line) {
        return line.trimmed().isEmpty() || line.trimmed().startsWith('[');
    });
}

/// Runs a tool that enters the program in `file`, where it is not entered yet. Whether it is now.
QCoro::Task<bool> enterIn(ProcessRunner *processes, QString file, ProcessSpec spec, InstallRecord *record)
{
    if (isEnteredIn(file))
        co_return true;
    const bool existed = QFileInfo::exists(file);
    const ProcessResult result = co_await processes->run(spec);
    if (!isEnteredIn(file))
        co_return result.succeeded();
    if (!record->entered.contains(file))
        record->entered.append(file);
    if (!existed && !record->listsMade.contains(file))
        record->listsMade.append(file);
    co_return true;
}

ProcessSpec databaseUpdate(const KeelhavenPaths &paths)
{
    ProcessSpec spec;
    spec.program = u"update-desktop-database"_s;
    spec.arguments = QStringList{u"--quiet"_s, applications(paths)};
    return spec;
}

/// The user's file keeps its mode.
void rewrite(const QString &file, const QByteArray &bytes)
{
    const auto permissions = QFile::permissions(file);
    if (writeFileAtomically(file, bytes))
        QFile::setPermissions(file, permissions);
}

} // namespace

QString dataHome(const KeelhavenPaths &paths)
{
    return QFileInfo(paths.appSupportDir).path();
}

QString configHome(const KeelhavenPaths &paths)
{
    return QFileInfo(paths.configDir).path();
}

QString applications(const KeelhavenPaths &paths)
{
    return dataHome(paths) + u"/applications"_s;
}

QString execWord(const QString &text)
{
    constexpr QStringView reserved = u" \t\n\"'\\><~|&;$*?#()`";
    QString word = text;
    if (std::ranges::any_of(text, [&](QChar character) { return reserved.contains(character); })) {
        QString quoted;
        for (const QChar character : text) {
            if (QStringView(u"\"`$\\").contains(character))
                quoted += u'\\';
            quoted += character;
        }
        word = u'"' + quoted + u'"';
    }
    // Once more as a value of the file, and "%" begins a field there.
    return word.replace(u'\\', u"\\\\"_s)
        .replace(u'\n', u"\\n"_s)
        .replace(u'\t', u"\\t"_s)
        .replace(u'%', u"%%"_s);
}

QByteArray entry(const QByteArray &frame, const QString &program)
{
    const QString path = QString(program).replace(u'\\', u"\\\\"_s);
    return QString::fromUtf8(frame)
        .replace(u"@COMMAND@"_s, execWord(program))
        .replace(u"@PROGRAM@"_s, path)
        .toUtf8();
}

bool isEntered(const QByteArray &list)
{
    bool isChanged = false;
    for (const QByteArray &line : list.split('\n'))
        static_cast<void>(without(line, isChanged));
    return isChanged;
}

QByteArray withoutEntry(const QByteArray &list)
{
    QList<QByteArray> lines;
    for (const QByteArray &line : list.split('\n')) {
        bool isChanged = false;
        if (const auto left = without(line, isChanged))
            lines.append(*left);
    }
    return lines.join('\n');
}

bool opensLinks(const KeelhavenPaths &paths)
{
    return isEnteredIn(associations(paths)) || isEnteredIn(cache(paths));
}

QCoro::Task<QStringList> enter(ProcessRunner *processes, KeelhavenPaths paths, InstallRecord *record)
{
    const QString cacheFile = cache(paths);
    const ProcessSpec update = databaseUpdate(paths);
    const bool isCached = co_await enterIn(processes, cacheFile, update, record);
    ProcessSpec choose;
    choose.program = u"xdg-mime"_s;
    choose.arguments = QStringList{u"default"_s, entryName.toString(), linkType.toString()};
    const QString list = associations(paths);
    const bool isChosen = co_await enterIn(processes, list, choose, record);
    if (isCached || isChosen)
        co_return QStringList();
    co_return QStringList{
        u"Neither xdg-mime nor update-desktop-database works here, so the desktop does not know who "
        "opens keelhaven:// links. Install xdg-utils and desktop-file-utils and call this again."_s};
}

QCoro::Task<QStringList> leave(ProcessRunner *processes, KeelhavenPaths paths, InstallRecord *record)
{
    if (record->entered.contains(cache(paths))) {
        const ProcessSpec update = databaseUpdate(paths);
        co_await processes->run(update);
    }
    const QStringList lists = std::exchange(record->entered, {});
    for (const QString &file : lists) {
        const auto bytes = readFile(file);
        if (!bytes)
            continue;
        const QByteArray left = withoutEntry(*bytes);
        if (record->listsMade.contains(file) && holdsNothing(left))
            QFile::remove(file);
        else if (left != *bytes)
            rewrite(file, left);
    }
    record->listsMade.clear();
    co_return QStringList(lists);
}

} // namespace Keelhaven::InstallDesktop
