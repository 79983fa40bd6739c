#pragma once

#include "Contract/JSONValue.h"

namespace Keelhaven {

/// What the analysis service answers to "get_settings": where it looks for projects. Tokens never come back;
/// it only tells whether it has one.
struct ServiceSettings
{
    struct GitHub
    {
        bool enabled = false;
        bool tokenSet = false;
        bool operator==(const GitHub &) const = default;
    };
    struct Bitbucket
    {
        bool enabled = false;
        QString workspace;
        QString email;
        bool tokenSet = false;
        bool operator==(const Bitbucket &) const = default;
    };
    /// What a person typed into the token fields.
    struct Tokens
    {
        QString github;
        QString bitbucket;
    };

    GitHub github;
    Bitbucket bitbucket;
    bool localgitEnabled = false;
    QStringList localRoots;                 ///< folders to search for clones
    std::optional<qint64> commitWindowDays; ///< how far back commits are looked at
    bool hideIdleLocal = true;              ///< leave out local repositories idle for longer than that
    QStringList excludedRepos;
    QStringList excludedProjects;

    /// What is missing or of another type keeps its default.
    [[nodiscard]] static ServiceSettings fromJSON(const JSONValue &json);

    /// The body of "save_settings". A blank token is left out, so that the service keeps the one it has; the
    /// exclusions have calls of their own.
    [[nodiscard]] JSONObject saveBody(const Tokens &tokens) const;

    bool operator==(const ServiceSettings &) const = default;
};

} // namespace Keelhaven
