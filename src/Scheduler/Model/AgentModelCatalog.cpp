#include "Scheduler/Model/AgentModelCatalog.h"

#include "Platform/Files.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace Keelhaven::AgentModelCatalog {

using namespace Qt::StringLiterals;

namespace {

constexpr std::array providers{AgentProvider::Claude, AgentProvider::Codex};

QList<Entry> fixedList(AgentProvider provider,
                       std::initializer_list<std::pair<QStringView, QStringView>> models)
{
    QList<Entry> list;
    for (const auto &[value, label] : models)
        list.append({provider, value.toString(), label.toString()});
    return list;
}

const QList<Entry> &claudeEntries()
{
    static const auto list = fixedList(AgentProvider::Claude, {{u"fable", u"Fable 5.1 · latest"},
                                                               {u"opus", u"Opus 5 · latest"},
                                                               {u"sonnet", u"Sonnet 5 · latest"},
                                                               {u"haiku", u"Haiku 4.5 · latest"}});
    return list;
}

const QList<Entry> &codexFallback()
{
    static const auto list = fixedList(AgentProvider::Codex, {{u"gpt-6-astra", u"GPT-6 Astra"},
                                                              {u"gpt-5.6-sol", u"GPT-5.6 Sol"},
                                                              {u"gpt-5.6-terra", u"GPT-5.6 Terra"},
                                                              {u"gpt-5.6-luna", u"GPT-5.6 Luna"},
                                                              {u"gpt-5.5", u"GPT-5.5"}});
    return list;
}

bool isAllLetters(QStringView text)
{
    return std::ranges::all_of(text, [](QChar c) { return c.isLetter(); });
}

/// "GPT-5.6-Sol" reads better as "GPT-5.6 Sol"; "gpt-5.5" stays.
QString codexLabel(QString text)
{
    const qsizetype dash = text.lastIndexOf(u'-');
    if (dash > 0 && dash + 1 < text.size() && isAllLetters(QStringView(text).sliced(dash + 1)))
        text[dash] = u' ';
    return text;
}

/// What a model's name comes down to when punctuation and the word "latest" do not count.
QString normalize(QString text)
{
    text.replace(u'·', u' ').remove(u"(latest)"_s).remove(u"latest"_s);
    for (const QChar separator : {u'-', u'_', u'/', u':'})
        text.replace(separator, u' ');
    return text.split(u' ', Qt::SkipEmptyParts).join(u' ').trimmed();
}

QString beforeDot(const QString &label)
{
    return label.left(label.indexOf(u" · "_s));
}

bool names(const QString &normalized, const Entry &entry)
{
    const QString provider = enumText(entry.provider);
    const auto candidates = {entry.value, provider + u':' + entry.value, entry.label, beforeDot(entry.label),
                             provider + u' ' + entry.value};
    return std::ranges::any_of(
        candidates, [&](const QString &candidate) { return normalize(candidate.toLower()) == normalized; });
}

/// A model that this version does not list, told by how its name begins.
std::optional<AgentModelChoice> unlisted(const QString &text)
{
    if (text.startsWith(u"claude-"))
        return AgentModelChoice{AgentProvider::Claude, text};
    for (const QStringView start : {u"gpt-", u"o1", u"o3", u"o4"}) {
        if (text.startsWith(start))
            return AgentModelChoice{AgentProvider::Codex, text};
    }
    return std::nullopt;
}

} // namespace

QString Entry::id() const
{
    return enumText(provider) + u':' + value;
}

QString codexHome(const QString &home)
{
    const QString configured = qEnvironmentVariable("CODEX_HOME");
    return configured.isEmpty() ? home + u"/.codex"_s : configured;
}

QList<Entry> entries(AgentProvider provider, const QString &codexHome)
{
    if (provider == AgentProvider::Claude)
        return claudeEntries();
    const auto cache = readFile(codexHome + u"/models_cache.json"_s);
    const auto cached = cache ? parseCodexCache(*cache) : QList<Entry>();
    return cached.isEmpty() ? codexFallback() : cached;
}

QList<Entry> parseCodexCache(QByteArrayView data)
{
    const auto json = JSONValue::parse(data);
    if (!json)
        return {};
    const JSONValue *models = json->objectValue() ? (*json)[u"models"] : &*json;
    const JSONArray *array = models ? models->arrayValue() : nullptr;
    if (!array)
        return {};
    std::vector<std::tuple<qint64, size_t, Entry>> found; // priority, place in the file
    for (const auto &element : *array) {
        const auto text = [&](QStringView key) {
            const JSONValue *value = element[key];
            return value ? value->stringValue().value_or(QString()) : QString();
        };
        const JSONValue *visibility = element[u"visibility"];
        const QString slug = text(u"slug");
        if (slug.isEmpty() || (visibility && !visibility->isNull() && text(u"visibility") != u"list"))
            continue;
        const JSONValue *priority = element[u"priority"];
        const auto rank = priority ? priority->intValue() : std::nullopt;
        const QString shown = text(u"display_name");
        found.emplace_back(rank.value_or(std::numeric_limits<qint64>::max()), found.size(),
                           Entry{AgentProvider::Codex, slug, codexLabel(shown.isEmpty() ? slug : shown)});
    }
    std::ranges::sort(found, {},
                      [](const auto &item) { return std::pair(std::get<0>(item), std::get<1>(item)); });
    QList<Entry> list;
    for (auto &[rank, place, entry] : found)
        list.append(std::move(entry));
    return list;
}

QString defaultLabel(AgentProvider provider)
{
    return Keelhaven::label(provider) + u" · default"_s;
}

QString label(const AgentModelChoice &choice, const QString &codexHome)
{
    if (!choice.model || choice.model->isEmpty())
        return defaultLabel(choice.provider);
    for (const auto &entry : entries(choice.provider, codexHome)) {
        if (entry.value == *choice.model)
            return entry.label;
    }
    return *choice.model;
}

std::optional<QString> shortLabel(const AgentModelChoice &choice, const QString &codexHome)
{
    if (!choice.model || choice.model->isEmpty())
        return std::nullopt;
    return beforeDot(label(choice, codexHome));
}

QStringList launchArgs(AgentProvider provider, const std::optional<QString> &model)
{
    const QString value = model.value_or(QString()).trimmed();
    if (value.isEmpty())
        return {};
    return {provider == AgentProvider::Claude ? u"--model"_s : u"-m"_s, value};
}

std::optional<AgentModelChoice> resolve(const std::optional<QString> &text, const QList<Entry> &codex)
{
    const QString wanted = text.value_or(QString()).trimmed().toLower();
    if (wanted.isEmpty() || wanted == u"null")
        return std::nullopt;
    const QString normalized = normalize(wanted);
    static const QStringList claudeDefault{u"claude"_s, u"default"_s, u"claude default"_s,
                                           u"claudedefault"_s};
    static const QStringList codexDefault{u"codex"_s, u"codex default"_s, u"codexdefault"_s};
    if (claudeDefault.contains(normalized))
        return AgentModelChoice{AgentProvider::Claude, std::nullopt};
    if (codexDefault.contains(normalized))
        return AgentModelChoice{AgentProvider::Codex, std::nullopt};
    for (const auto &entry : claudeEntries() + codex) {
        if (names(normalized, entry))
            return entry.choice();
    }
    for (const auto &entry : claudeEntries()) {
        if (normalized.contains(entry.value))
            return entry.choice();
    }
    for (const auto &entry : codex) {
        const QString nickname = entry.value.sliced(entry.value.lastIndexOf(u'-') + 1);
        if (nickname.size() >= 3 && isAllLetters(nickname) && normalized.contains(nickname))
            return entry.choice();
    }
    return unlisted(wanted);
}

QList<ModelOption> dispatchOptions(const QString &codexHome)
{
    QList<ModelOption> options;
    for (const auto provider : providers) {
        const QString raw = enumText(provider);
        options.append({raw, defaultLabel(provider), raw});
        for (const auto &entry : entries(provider, codexHome))
            options.append({entry.value, entry.label, raw});
    }
    return options;
}

} // namespace Keelhaven::AgentModelCatalog
