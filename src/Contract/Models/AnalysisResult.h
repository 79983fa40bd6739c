#pragma once

#include "Contract/JSONValue.h"

#include <QList>
#include <QMap>

namespace Keelhaven {

/// A prompt that the analyser found in the code.
struct PromptFinding
{
    std::optional<QString> file;
    std::optional<qint64> line;
    std::optional<QString> name;
    std::optional<QString> kind;
    bool dynamic = false;
    std::optional<QString> text;
    std::optional<QString> note;

    [[nodiscard]] static PromptFinding fromJSON(const JSONValue &json);
    bool operator==(const PromptFinding &) const = default;
};

/// A database table that the analyser found.
struct DBTable
{
    std::optional<QString> name;
    std::optional<QString> kind;
    std::optional<QString> source;
    QStringList columns;

    [[nodiscard]] static DBTable fromJSON(const JSONValue &json);
    bool operator==(const DBTable &) const = default;
};

/// One of a repository's top folders.
struct StructureEntry
{
    std::optional<QString> dir;
    std::optional<qint64> files;

    [[nodiscard]] static StructureEntry fromJSON(const JSONValue &json);
    bool operator==(const StructureEntry &) const = default;
};

/// The service's static reading of one repository.
struct AnalysisResult
{
    JSONObject raw;
    std::optional<QString> head; ///< the commit that was analysed
    std::optional<qint64> analyzerVersion;
    std::optional<QString> generatedAt;
    std::optional<QString> architecture;
    QList<PromptFinding> prompts;
    QList<DBTable> db;
    QMap<QString, QString> diagrams; ///< Mermaid source by name
    QList<StructureEntry> structure;
    std::optional<qint64> statsFiles;
    QMap<QString, qint64> statsByExt;
    std::optional<QString> manifestDigest;

    [[nodiscard]] static AnalysisResult fromJSON(const JSONValue &json);
    bool operator==(const AnalysisResult &) const = default;
};

} // namespace Keelhaven
