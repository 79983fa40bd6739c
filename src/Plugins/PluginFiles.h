#pragma once

#include "Contract/JSONValue.h"

/// What plugins consist of, as files. All of it is blocking.
namespace Keelhaven::PluginFiles {

/// The object in a JSON file; nothing when the file is missing, no JSON, or holds something else.
[[nodiscard]] std::optional<JSONObject> readObject(const QString &path);

/// A Markdown file's text; nothing when it cannot be read.
[[nodiscard]] std::optional<QString> readText(const QString &path);

/// The names of the ".md" entries directly in the folder, without that ending, sorted.
[[nodiscard]] QStringList markdownNames(const QString &folder);

/// The names of the folders directly in the folder, sorted.
[[nodiscard]] QStringList folderNames(const QString &folder);

/// Those of folderNames that hold a "SKILL.md".
[[nodiscard]] QStringList skillNames(const QString &folder);

/// Where markdownNames looks: the folder, and the links in it, whose targets lie elsewhere.
[[nodiscard]] QStringList markdownPaths(const QString &folder);

/// Where skillNames looks.
[[nodiscard]] QStringList skillPaths(const QString &folder);

/// The lines between the two "---" of a Markdown text; nothing when it has no complete front matter.
[[nodiscard]] std::optional<QStringList> frontMatter(const QString &text);

/// `text` trimmed, without the quotes around it.
[[nodiscard]] QString unquoted(const QString &text);

} // namespace Keelhaven::PluginFiles
