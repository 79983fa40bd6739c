#include "Scheduler/Prompt/PathCompleter.h"

#include "Platform/Files.h"

#include <QCollator>
#include <QFile>
#include <algorithm>
#include <filesystem>

namespace Keelhaven::PathCompleter {

using namespace Qt::StringLiterals;

namespace {

/// The folder that the typed part names; nothing when that is left open.
std::optional<QString> directoryOf(const QString &typed, const QString &primaryCwd, const QString &home)
{
    QString directory = expandTilde(typed, home);
    if (typed.startsWith(u"./"_s)) {
        if (primaryCwd.isEmpty())
            return std::nullopt;
        directory = expandTilde(primaryCwd, home) + typed.sliced(1);
    }
    if (directory.size() > 1 && directory.endsWith(u'/'))
        directory.chop(1);
    return directory;
}

bool isOffered(const DirectoryEntry &entry, const QString &namePart)
{
    if (entry.name.startsWith(u'.') && !namePart.startsWith(u'.'))
        return false;
    // A line break in a name would become one in the prompt, and what is no UTF-8 cannot be written there.
    const bool isPrintable = std::ranges::none_of(entry.name, [](QChar character) {
        return character.category() == QChar::Other_Control || character == QChar::ReplacementCharacter;
    });
    return isPrintable && entry.name.startsWith(namePart, Qt::CaseInsensitive);
}

} // namespace

QList<DirectoryEntry> defaultLister(const QString &directory)
{
    QList<DirectoryEntry> entries;
    std::error_code error;
    // The type comes with the name: no look at each file, unless it is a link.
    std::filesystem::directory_iterator entry(QFile::encodeName(directory).toStdString(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        const std::string name = entry->path().filename().string();
        entries.append({QFile::decodeName(QByteArray::fromStdString(name)), entry->is_directory(ignored)});
    }
    return entries;
}

QStringList completions(const QString &partial, const QString &primaryCwd, const QString &home,
                        const Lister &lister, qsizetype limit)
{
    const qsizetype slash = partial.lastIndexOf(u'/');
    if (slash < 0)
        return {};
    const QString typed = partial.first(slash + 1);
    const QString namePart = partial.sliced(slash + 1);
    const auto directory = directoryOf(typed, primaryCwd, home);
    if (!directory)
        return {};
    auto entries = lister(*directory);
    entries.removeIf([&](const DirectoryEntry &entry) { return !isOffered(entry, namePart); });

    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    const auto before = [&collator](const DirectoryEntry &a, const DirectoryEntry &b) {
        if (a.isDir != b.isDir)
            return a.isDir;
        const int order = collator.compare(a.name, b.name);
        return order != 0 ? order < 0 : a.name < b.name;
    };
    const qsizetype count = std::min(limit, entries.size());
    std::partial_sort(entries.begin(), entries.begin() + count, entries.end(), before);
    QStringList results;
    for (const auto &entry : std::as_const(entries).first(count))
        results.append(typed + entry.name + (entry.isDir ? u"/"_s : QString()));
    return results;
}

} // namespace Keelhaven::PathCompleter
