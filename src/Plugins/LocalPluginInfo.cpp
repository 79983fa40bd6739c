#include "Plugins/LocalPluginInfo.h"

#include "Contract/ObjectReader.h"
#include "Platform/Text.h"
#include "Plugins/PluginFiles.h"

#include <QFileInfo>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype excerptCharacters = 1200;

std::optional<QString> descriptionIn(const QString &file)
{
    const auto text = PluginFiles::readText(file);
    return text ? frontmatterDescription(*text) : std::nullopt;
}

QList<LocalPluginInfo::Entry> markdownEntries(const QString &folder)
{
    QList<LocalPluginInfo::Entry> entries;
    for (const QString &name : PluginFiles::markdownNames(folder))
        entries.append({name, descriptionIn(folder + u'/' + name + u".md"_s)});
    return entries;
}

QList<LocalPluginInfo::Entry> skillEntries(const QString &folder)
{
    QList<LocalPluginInfo::Entry> entries;
    for (const QString &name : PluginFiles::skillNames(folder))
        entries.append({name, descriptionIn(folder + u'/' + name + u"/SKILL.md"_s)});
    return entries;
}

/// A member that is a text, or an object that holds the text.
std::optional<QString> textOrMember(const ObjectReader &reader, QStringView key, QStringView member)
{
    const auto text = reader.string(key);
    return text ? text : ObjectReader(reader.raw(key)).string(member);
}

void readManifest(LocalPluginInfo &info)
{
    const ObjectReader manifest(
        PluginFiles::readObject(info.root + u"/.claude-plugin/plugin.json"_s).value_or(JSONObject()));
    info.manifestName = manifest.string(u"name");
    info.version = manifest.string(u"version");
    info.description = manifest.string(u"description");
    info.author = textOrMember(manifest, u"author", u"name");
    info.homepage = manifest.string(u"homepage");
    info.repository = textOrMember(manifest, u"repository", u"url");
    info.license = manifest.string(u"license");
    info.keywords = manifest.stringArray(u"keywords").value_or(QStringList());
}

bool isDecoration(const QString &line)
{
    return line.startsWith(u'#') || line.startsWith(u"!["_s) || line.startsWith(u"[!["_s) ||
           line.startsWith(u'<');
}

} // namespace

LocalPluginInfo LocalPluginInfo::read(const QString &root)
{
    LocalPluginInfo info;
    info.root = root;
    readManifest(info);
    info.commands = markdownEntries(root + u"/commands"_s);
    info.skills = skillEntries(root + u"/skills"_s);
    info.agents = markdownEntries(root + u"/agents"_s);
    info.hasHooks = QFileInfo(root + u"/hooks/hooks.json"_s).isFile();
    const ObjectReader mcp(PluginFiles::readObject(root + u"/.mcp.json"_s).value_or(JSONObject()));
    info.mcpServers = ObjectReader(mcp.raw(u"mcpServers")).object().keys();
    info.mcpServers.sort();
    const auto readme = PluginFiles::readText(root + u"/README.md"_s);
    info.readmeExcerpt = readme ? Keelhaven::readmeExcerpt(*readme) : std::nullopt;
    return info;
}

std::optional<QString> frontmatterDescription(const QString &text)
{
    const auto lines = PluginFiles::frontMatter(text).value_or(QStringList());
    const QString key = u"description:"_s;
    const auto line =
        std::ranges::find_if(lines, [&](const QString &candidate) { return candidate.startsWith(key); });
    if (line == lines.end())
        return std::nullopt;
    const QString value = PluginFiles::unquoted(line->sliced(key.size()));
    return value.isEmpty() ? std::nullopt : std::optional(value);
}

std::optional<QString> readmeExcerpt(const QString &text)
{
    QString excerpt;
    for (const QStringView raw : QStringView(text).tokenize(u'\n')) {
        const QString line = raw.trimmed().toString();
        if (isDecoration(line))
            continue;
        if (line.isEmpty() && !excerpt.isEmpty())
            break;
        if (line.isEmpty())
            continue;
        excerpt += excerpt.isEmpty() ? line : u'\n' + line;
        if (excerpt.size() <= excerptCharacters)
            continue;
        const QString cut = firstCharacters(excerpt, excerptCharacters);
        if (cut.size() < excerpt.size())
            return cut + u'…';
    }
    return excerpt.isEmpty() ? std::nullopt : std::optional(excerpt);
}

} // namespace Keelhaven
