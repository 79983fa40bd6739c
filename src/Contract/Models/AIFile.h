#pragma once

#include "Contract/Models/WorkUnit.h"

#include <QMap>

namespace Keelhaven {

// In every panel `at` is when the assistant wrote it and `head` the commit it read.

struct AISummary
{
    JSONObject raw;
    std::optional<QString> text;
    std::optional<QString> at;
    std::optional<QString> headSig;

    [[nodiscard]] static AISummary fromJSON(const JSONValue &json);
    bool operator==(const AISummary &) const = default;
};

struct AIDigest
{
    JSONObject raw;
    std::optional<QString> narrative;
    QStringList review;
    std::optional<QString> at;

    [[nodiscard]] static AIDigest fromJSON(const JSONValue &json);
    bool operator==(const AIDigest &) const = default;
};

struct AIArchitecture
{
    JSONObject raw;
    std::optional<QString> text;
    std::optional<QString> mermaid;
    std::optional<QString> at;
    std::optional<QString> head;

    [[nodiscard]] static AIArchitecture fromJSON(const JSONValue &json);
    bool operator==(const AIArchitecture &) const = default;
};

struct AIPromptItem
{
    std::optional<QString> name;
    std::optional<QString> text;
    std::optional<QString> file;
    std::optional<qint64> line;
    bool dynamic = false;
    std::optional<QString> note;

    [[nodiscard]] static AIPromptItem fromJSON(const JSONValue &json);
    bool operator==(const AIPromptItem &) const = default;
};

struct AIDataShapeItem
{
    std::optional<QString> name;
    std::optional<QString> kind;
    QStringList fields;
    std::optional<QString> file;
    std::optional<qint64> line;
    std::optional<QString> note;

    [[nodiscard]] static AIDataShapeItem fromJSON(const JSONValue &json);
    bool operator==(const AIDataShapeItem &) const = default;
};

/// A panel that is a list of items about one commit of a repository.
template <typename Item>
struct AIListPanel
{
    JSONObject raw;
    QList<Item> items;
    std::optional<QString> at;
    std::optional<QString> head;

    [[nodiscard]] static AIListPanel fromJSON(const JSONValue &json);
    bool operator==(const AIListPanel &) const = default;
};

using AIPromptsPanel = AIListPanel<AIPromptItem>;
using AISnippetsPanel = AIListPanel<AISnippetItem>;
using AIDataShapePanel = AIListPanel<AIDataShapeItem>;

struct AISetupPanel
{
    JSONObject raw;
    std::optional<QString> text;
    std::optional<QString> at;
    std::optional<QString> head;

    [[nodiscard]] static AISetupPanel fromJSON(const JSONValue &json);
    bool operator==(const AISetupPanel &) const = default;
};

struct AIWorkReviews
{
    JSONObject raw;
    QList<WorkUnit> items;
    std::optional<QString> at;

    [[nodiscard]] static AIWorkReviews fromJSON(const JSONValue &json);
    bool operator==(const AIWorkReviews &) const = default;
};

/// ai.json: what the assistant wrote about projects (by name) and repositories (by slug).
struct AIFile
{
    JSONObject raw;
    QMap<QString, AISummary> summaries; ///< by project
    QMap<QString, AIDigest> digests;    ///< by project
    QMap<QString, AIArchitecture> architecture;
    QMap<QString, AIPromptsPanel> prompts;
    QMap<QString, AISetupPanel> setup;
    QMap<QString, AISnippetsPanel> snippets;
    QMap<QString, AIDataShapePanel> dataShape;
    QMap<QString, AIWorkReviews> workReviews; ///< by project

    /// Never fails: anything but an object reads as an empty one.
    [[nodiscard]] static AIFile fromJSON(const JSONValue &json);
    [[nodiscard]] static AIFile empty() { return {}; }

    /// Whether the assistant's plugin ever ran on this machine.
    [[nodiscard]] bool agentHasRun() const
    {
        return !summaries.isEmpty() || !digests.isEmpty() || !architecture.isEmpty();
    }

    bool operator==(const AIFile &) const = default;
};

} // namespace Keelhaven
