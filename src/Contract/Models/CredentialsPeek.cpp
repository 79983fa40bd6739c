#include "Contract/Models/CredentialsPeek.h"

#include "Contract/Models/ContractReading.h"

#include <algorithm>

namespace Keelhaven {

namespace {

/// Switched on, with a text in each of the keys it needs.
bool isConfigured(const JSONValue *source, std::initializer_list<QStringView> needed)
{
    const ObjectReader reader(source);
    return reader.bool_(u"enabled").value_or(false) && std::ranges::all_of(needed, [&](QStringView key) {
               return !reader.string(key).value_or(QString()).isEmpty();
           });
}

} // namespace

CredentialsPeek CredentialsPeek::fromJSON(const JSONValue &json)
{
    const ObjectReader o(json);
    return {.bitbucketEnabled = isConfigured(o.raw(u"bitbucket"), {u"workspace", u"email", u"token"}),
            .githubEnabled = isConfigured(o.raw(u"github"), {u"token"}),
            .localgitEnabled = isConfigured(o.raw(u"localgit"), {}),
            .localRoots = ContractReading::strings(o, u"local_roots"),
            .commitWindowDays = o.integer(u"commit_window_days"),
            .hideIdleLocal = o.bool_(u"hide_idle_local").value_or(true)};
}

} // namespace Keelhaven
