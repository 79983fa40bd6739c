#pragma once

#include "Contract/JSONValue.h"

namespace Keelhaven {

/// What of credentials.json may be known: which sources are configured. It keeps no token and, unlike the
/// other records, not the object it was read from, so nothing above the reader can show or log a secret.
struct CredentialsPeek
{
    bool bitbucketEnabled = false;
    bool githubEnabled = false;
    bool localgitEnabled = false;
    QStringList localRoots;
    std::optional<qint64> commitWindowDays;
    bool hideIdleLocal = true;

    /// Never fails: anything but an object reads as an empty one.
    [[nodiscard]] static CredentialsPeek fromJSON(const JSONValue &json);
    [[nodiscard]] static CredentialsPeek empty() { return {}; }

    [[nodiscard]] bool hasAnySource() const { return bitbucketEnabled || githubEnabled || localgitEnabled; }

    bool operator==(const CredentialsPeek &) const = default;
};

} // namespace Keelhaven
