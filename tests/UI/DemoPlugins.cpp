#include "UI/DemoProfile.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// A Markdown file with a description in front.
QByteArray page(const QByteArray &description)
{
    return "---\ndescription: " + description + "\n---\nText.\n";
}

void writeReviewPlugin(const TestHome &home, const QString &root)
{
    home.write(root + u".claude-plugin/plugin.json"_s,
               R"({"name":"code-review","version":"2.4.1","license":"MIT","author":{"name":"Harbour tools"},
                   "description":"Reads a change the way a careful colleague does, and says what matters.",
                   "homepage":"https://example.org/code-review","keywords":["review","quality"]})");
    home.write(root + u"commands/review.md"_s, page("Review the change that is staged"));
    home.write(root + u"commands/explain.md"_s, page("\"Tell what a change does, for its message\""));
    home.write(root + u"agents/second-reader.md"_s, page("Reads what the first reader passed over"));
    home.write(root + u"skills/threat-model/SKILL.md"_s,
               page("Finds what an attacker would try, from the entry points inwards"));
    home.write(root + u"hooks/hooks.json"_s, "{}");
    home.write(root + u".mcp.json"_s, R"({"mcpServers":{"tide-tables":{},"berths":{}}})");
}

void writeOwnPlugin(const TestHome &home)
{
    home.write(u"resources/plugin/keelhaven/app.py"_s, "");
    home.write(u"resources/plugin/.claude-plugin/plugin.json"_s,
               R"({"name":"keelhaven","version":"1.2.0","description":"Reports progress and results."})");
    home.write(u"resources/plugin/commands/keelhaven.md"_s, page("Sweep all projects"));
    home.write(u"resources/plugin/.mcp.json"_s, R"({"mcpServers":{"keelhaven":{}}})");
}

} // namespace

void seedDemoPlugins(const TestHome &home, bool isHostile)
{
    const QString cache = u".claude/plugins/cache/team/"_s;
    writeOwnPlugin(home);
    writeReviewPlugin(home, cache + u"code-review/"_s);
    home.write(cache + u"release-tools/commands/release.md"_s, page("Prepare a release"));
    home.write(cache + u"style-guide/README.md"_s, "# Style\n\nHow we write, for every language we use.\n");
    const auto install = [&](const QString &folder, const QByteArray &version, const QByteArray &more) {
        return QByteArray(R"([{"installPath":")") + home.path(cache + folder).toUtf8() + R"(","version":")" +
               version + R"(",)" + more + "}]";
    };
    const QByteArray user = R"("scope":"user")";
    const QByteArray project =
        R"("scope":"project","projectPath":")" + home.path(u"code/harbour"_s).toUtf8() + '"';
    QByteArray plugins = R"("code-review@team":)" + install(u"code-review"_s, "2.4.1", user) +
                         R"(,"release-tools@team":)" + install(u"release-tools"_s, "0.9", project) +
                         R"(,"style-guide@team":)" + install(u"style-guide"_s, "1.0", user) +
                         R"(,"old-linter@attic":)" + install(u"gone"_s, "0.3", user);
    if (isHostile)
        plugins += R"(,"\u202e<b>x</b>\u0007 )" + QByteArray(50'000, 'W') + R"(@<i>m</i>":)" +
                   install(u"style-guide"_s, QByteArray(3'000, '9'), user);
    home.write(u".claude/plugins/installed_plugins.json"_s, R"({"version":2,"plugins":{)" + plugins + "}}");
    home.write(u".claude/plugins/known_marketplaces.json"_s,
               R"({"team":{"installLocation":")" + home.path(cache).toUtf8() +
                   R"(","autoUpdate":true,"source":{"source":"github","repo":"harbour/claude-plugins"}}})");
    home.write(u".claude/settings.json"_s,
               R"({"enabledPlugins":{"code-review@team":true,"style-guide@team":true,"tide@team":true}})");
    const QString claude = home.write(u".local/bin/claude"_s, "#!/bin/sh\n");
    QFile::setPermissions(claude, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace Keelhaven
