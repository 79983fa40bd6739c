#pragma once

#include "Contract/ObjectReader.h"
#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// What an agent leaves in "result.json". A bad artifact, link or summary loses only itself.
struct TaskResult
{
    struct Artifact
    {
        QString path;
        std::optional<QString> kind;
        std::optional<QString> caption;
        bool operator==(const Artifact &) const = default;
    };

    std::optional<QString> summary;
    QList<Artifact> artifacts;
    QStringList links;
    bool operator==(const TaskResult &) const = default;
};

template <>
struct RecordTable<TaskResult::Artifact>
{
    static auto fields()
    {
        using A = TaskResult::Artifact;
        return std::tuple{required(u"path", &A::path), optional(u"kind", &A::kind),
                          optional(u"caption", &A::caption)};
    }
};

template <>
struct JSONCodec<QList<TaskResult::Artifact>>
{
    using Artifact = TaskResult::Artifact;

    /// An element is an object, or a plain text that is the path. Anything else, and an empty path, is
    /// stepped over.
    static Decoded<QList<Artifact>> decode(const JSONValue &json)
    {
        const auto *array = json.arrayValue();
        if (!array)
            return Detail::wrongType(u"a list");
        QList<Artifact> list;
        for (const auto &element : *array) {
            Artifact artifact;
            if (const auto path = element.stringValue())
                artifact.path = *path;
            else if (auto record = decodeRecord<Artifact>(element))
                artifact = *std::move(record);
            if (!artifact.path.isEmpty())
                list.append(artifact);
        }
        return list;
    }
    static JSONValue encode(const QList<Artifact> &list)
    {
        JSONArray array;
        for (const auto &artifact : list)
            array.push_back(encodeRecord(artifact));
        return array;
    }
};

template <>
struct RecordTable<TaskResult>
{
    static auto fields()
    {
        using R = TaskResult;
        return std::tuple{optional(u"summary", &R::summary).lenient(),
                          defaulted(u"artifacts", &R::artifacts).lenient(),
                          defaulted(u"links", &R::links).lenient()};
    }
    /// Agents also write links as objects; the texts among them stay.
    static void decoded(TaskResult &result, const JSONObject &json)
    {
        result.links = ObjectReader(json).stringArray(u"links").value_or(QStringList());
    }
};

} // namespace Keelhaven
