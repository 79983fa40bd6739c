#include "Mirror/ServiceSettings.h"

#include "Contract/ObjectReader.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

void addToken(JSONObject &source, const QString &typed)
{
    const QString token = typed.trimmed();
    if (!token.isEmpty())
        source.set(u"token", token);
}

JSONArray texts(const QStringList &list)
{
    return JSONArray(list.cbegin(), list.cend());
}

} // namespace

ServiceSettings ServiceSettings::fromJSON(const JSONValue &json)
{
    const ObjectReader reader(json);
    const ObjectReader github(reader.raw(u"github"));
    const ObjectReader bitbucket(reader.raw(u"bitbucket"));
    const ObjectReader localgit(reader.raw(u"localgit"));
    ServiceSettings settings;
    settings.github.enabled = github.bool_(u"enabled").value_or(false);
    settings.github.tokenSet = github.bool_(u"token_set").value_or(false);
    settings.bitbucket.enabled = bitbucket.bool_(u"enabled").value_or(false);
    settings.bitbucket.workspace = bitbucket.string(u"workspace").value_or(QString());
    settings.bitbucket.email = bitbucket.string(u"email").value_or(QString());
    settings.bitbucket.tokenSet = bitbucket.bool_(u"token_set").value_or(false);
    settings.localgitEnabled = localgit.bool_(u"enabled").value_or(false);
    settings.localRoots = reader.stringArray(u"local_roots").value_or(QStringList());
    settings.commitWindowDays = reader.integer(u"commit_window_days");
    settings.hideIdleLocal = reader.bool_(u"hide_idle_local").value_or(true);
    settings.excludedRepos = reader.stringArray(u"excluded_repos").value_or(QStringList());
    settings.excludedProjects = reader.stringArray(u"excluded_projects").value_or(QStringList());
    return settings;
}

JSONObject ServiceSettings::saveBody(const Tokens &tokens) const
{
    JSONObject toGitHub{{u"enabled"_s, github.enabled}};
    addToken(toGitHub, tokens.github);
    JSONObject toBitbucket{{u"enabled"_s, bitbucket.enabled},
                           {u"workspace"_s, bitbucket.workspace.trimmed()},
                           {u"email"_s, bitbucket.email.trimmed()}};
    addToken(toBitbucket, tokens.bitbucket);
    JSONObject body{{u"github"_s, std::move(toGitHub)},
                    {u"bitbucket"_s, std::move(toBitbucket)},
                    {u"localgit"_s, JSONObject{{u"enabled"_s, localgitEnabled}}},
                    {u"local_roots"_s, texts(localRoots)}};
    if (commitWindowDays)
        body.set(u"commit_window_days", *commitWindowDays);
    body.set(u"hide_idle_local", hideIdleLocal);
    return body;
}

} // namespace Keelhaven
