#pragma once

#include "Contract/JSONValue.h"

#include <QList>

namespace Keelhaven {

/// A piece of code worth seeing.
struct AISnippetItem
{
    std::optional<QString> title;
    std::optional<QString> file;
    std::optional<qint64> line;
    std::optional<QString> code;
    std::optional<QString> note;

    [[nodiscard]] static AISnippetItem fromJSON(const JSONValue &json);
    bool operator==(const AISnippetItem &) const = default;
};

struct WorkDecision
{
    std::optional<QString> text;
    std::optional<QString> file;
    std::optional<qint64> line;

    [[nodiscard]] static WorkDecision fromJSON(const JSONValue &json);
    bool operator==(const WorkDecision &) const = default;
};

/// Something of the work that others see: a command, a screen, an interface.
struct WorkSurfaceItem
{
    std::optional<QString> kind;
    std::optional<QString> name;
    std::optional<QString> detail;
    std::optional<QString> file;
    std::optional<qint64> line;

    [[nodiscard]] static WorkSurfaceItem fromJSON(const JSONValue &json);
    bool operator==(const WorkSurfaceItem &) const = default;
};

/// One reviewed piece of work.
struct WorkUnit
{
    JSONObject raw;
    QString id; ///< stable; without one in the file, a new UUID at each reading
    std::optional<QString> title;
    std::optional<QString> summary;
    QStringList repos;             ///< slugs
    std::optional<QString> source; ///< where the assistant took it from
    std::optional<QString> periodFrom;
    std::optional<QString> periodTo;
    QStringList commits;
    QList<WorkDecision> decisions;
    QList<WorkSurfaceItem> surface;
    QList<AISnippetItem> snippets;
    std::optional<QString> mermaid;
    std::optional<QString> at; ///< when it was written

    [[nodiscard]] static WorkUnit fromJSON(const JSONValue &json);
    bool operator==(const WorkUnit &) const = default;
};

} // namespace Keelhaven
