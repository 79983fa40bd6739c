#include "Plugins/PluginFiles.h"

#include "Platform/Files.h"

#include <QDir>
#include <QFileInfo>

namespace Keelhaven::PluginFiles {

using namespace Qt::StringLiterals;

namespace {

// Plugins come from anywhere; what is larger than this is no command and no settings file.
constexpr qint64 largestJSON = 16 * 1024 * 1024;
constexpr qint64 largestText = 1024 * 1024;

constexpr QDir::Filters everyEntry = QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot;

QString skillFile(const QString &folder, const QString &name)
{
    return folder + u'/' + name + u"/SKILL.md"_s;
}

} // namespace

std::optional<JSONObject> readObject(const QString &path)
{
    const auto bytes = readFile(path, largestJSON);
    const auto json = bytes ? JSONValue::parse(*bytes) : failure(JSONParseError{});
    const auto *object = json ? json->objectValue() : nullptr;
    return object ? std::optional(*object) : std::nullopt;
}

std::optional<QString> readText(const QString &path)
{
    const auto bytes = readFile(path, largestText);
    return bytes ? std::optional(QString::fromUtf8(*bytes)) : std::nullopt;
}

QStringList markdownNames(const QString &folder)
{
    QStringList names;
    for (const QString &name : QDir(folder).entryList(QDir::Files | QDir::Hidden)) {
        if (name.endsWith(u".md"_s) && name.size() > 3)
            names.append(name.chopped(3));
    }
    names.sort();
    return names;
}

QStringList folderNames(const QString &folder)
{
    auto names = QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden);
    names.sort();
    return names;
}

QStringList skillNames(const QString &folder)
{
    auto names = folderNames(folder);
    names.removeIf([&](const QString &name) { return !QFileInfo(skillFile(folder, name)).isFile(); });
    return names;
}

QStringList markdownPaths(const QString &folder)
{
    QStringList paths{folder};
    for (const QFileInfo &entry : QDir(folder).entryInfoList(everyEntry)) {
        if (entry.isSymLink())
            paths.append(entry.filePath());
    }
    return paths;
}

QStringList skillPaths(const QString &folder)
{
    QStringList paths{folder};
    for (const QString &name : QDir(folder).entryList(everyEntry))
        paths.append(skillFile(folder, name));
    return paths;
}

std::optional<QStringList> frontMatter(const QString &text)
{
    if (!text.startsWith(u"---"_s))
        return std::nullopt;
    QStringList lines;
    qsizetype start = text.indexOf(u'\n');
    while (start >= 0) {
        const qsizetype end = text.indexOf(u'\n', start + 1);
        const QString line = text.sliced(start + 1, (end < 0 ? text.size() : end) - start - 1);
        if (line.trimmed() == u"---")
            return lines;
        lines.append(line);
        start = end;
    }
    return std::nullopt;
}

QString unquoted(const QString &text)
{
    const QString trimmed = text.trimmed();
    const bool isQuoted = trimmed.size() > 1 && (trimmed.front() == u'"' || trimmed.front() == u'\'') &&
                          trimmed.back() == trimmed.front();
    return isQuoted ? trimmed.sliced(1, trimmed.size() - 2) : trimmed;
}

} // namespace Keelhaven::PluginFiles
