#include "Scheduler/Model/AgentModelCatalog.h"

#include "Support/TestHome.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;
namespace Catalog = AgentModelCatalog;

QString labels(const QList<Catalog::Entry> &entries)
{
    QStringList texts;
    for (const auto &entry : entries)
        texts.append(entry.value + u'=' + entry.label);
    return texts.join(u';');
}

TEST(AgentModelCatalog, ReadsTheCodexCacheInPriorityOrder)
{
    const QByteArray models = R"([{"slug":"gpt-5.6-sol","display_name":"GPT-5.6-Sol","priority":2},
        {"slug":"last"}, {"slug":"gpt-5.5","display_name":"","priority":1,"visibility":"list"},
        {"slug":"also-2","display_name":"-x","priority":2}, {"slug":"hidden","visibility":"hide"},
        {"display_name":"no slug"}, {"slug":""}, 7, {"slug":"odd","priority":"first","visibility":null}])";
    const QString expected = u"gpt-5.5=gpt-5.5;gpt-5.6-sol=GPT-5.6 Sol;also-2=-x;last=last;odd=odd"_s;
    EXPECT_EQ(labels(Catalog::parseCodexCache(models)), expected);
    EXPECT_EQ(labels(Catalog::parseCodexCache("{\"models\":" + models + "}")), expected);
    for (const char *bad : {"", "{}", "{\"models\":{}}", "null", "[", "\"models\""})
        EXPECT_TRUE(Catalog::parseCodexCache(bad).isEmpty()) << bad;
}

TEST(AgentModelCatalog, FallsBackToTheFixedListsAndLabelsChoices)
{
    const TestHome home;
    const QString codex = home.path(u"codex"_s);
    EXPECT_EQ(Catalog::entries(AgentProvider::Codex, codex).first().label, u"GPT-6 Astra"_s);
    EXPECT_EQ(Catalog::entries(AgentProvider::Codex, codex).size(), 5);
    home.write(u"codex/models_cache.json"_s, R"([{"slug":"gpt-7-nova"}])");
    const AgentModelChoice nova{AgentProvider::Codex, u"gpt-7-nova"_s};
    EXPECT_EQ(Catalog::label(nova, codex), u"gpt-7 nova"_s);
    const AgentModelChoice opus{AgentProvider::Claude, u"opus"_s};
    EXPECT_EQ(Catalog::label(opus, codex), u"Opus 5 · latest"_s);
    EXPECT_EQ(Catalog::shortLabel(opus, codex), u"Opus 5"_s);
    EXPECT_EQ(Catalog::shortLabel({AgentProvider::Claude, u"claude-x"_s}, codex), u"claude-x"_s);
    EXPECT_EQ(Catalog::label({AgentProvider::Codex, QString()}, codex), u"Codex · default"_s);
    EXPECT_FALSE(Catalog::shortLabel({AgentProvider::Codex, std::nullopt}, codex));

    QStringList options;
    for (const auto &option : Catalog::dispatchOptions(codex))
        options.append(option.provider + u'/' + option.key);
    EXPECT_EQ(options.join(u' '),
              u"claude/claude claude/fable claude/opus claude/sonnet claude/haiku codex/codex "
              "codex/gpt-7-nova"_s);
}

TEST(AgentModelCatalog, LaunchArguments)
{
    EXPECT_EQ(Catalog::launchArgs(AgentProvider::Claude, u" opus "_s),
              (QStringList{u"--model"_s, u"opus"_s}));
    EXPECT_EQ(Catalog::launchArgs(AgentProvider::Codex, u"gpt-5.5"_s), (QStringList{u"-m"_s, u"gpt-5.5"_s}));
    EXPECT_TRUE(Catalog::launchArgs(AgentProvider::Claude, u" \n"_s).isEmpty());
    EXPECT_TRUE(Catalog::launchArgs(AgentProvider::Claude, std::nullopt).isEmpty());
}

TEST(AgentModelCatalog, ResolvesFreeFormNames)
{
    const auto codex = Catalog::entries(AgentProvider::Codex, u"/nowhere"_s);
    const struct
    {
        const char *text;
        const char *expected; ///< "provider:model", "provider" for its default, "" for none
    } cases[] = {
        {"Opus 5 · latest", "claude:opus"},
        {"  OPUS ", "claude:opus"},
        {"claude:opus", "claude:opus"},
        {"Claude Opus", "claude:opus"},
        {"haiku 4.5 (latest)", "claude:haiku"},
        {"the sonnet one", "claude:sonnet"},
        {"claude-opus-4-1", "claude:opus"},
        {"claude-instant", "claude:claude-instant"},
        {"codex:gpt-5.5", "codex:gpt-5.5"},
        {"GPT_5.6 Sol", "codex:gpt-5.6-sol"},
        {"use terra please", "codex:gpt-5.6-terra"},
        {"gpt-9-new", "codex:gpt-9-new"},
        {"o3-mini", "codex:o3-mini"},
        {"Claude · default", "claude"},
        {"default", "claude"},
        {"Codex-Default", "codex"},
        {"codex", "codex"},
        {"null", ""},
        {" ", ""},
        {"llama", ""},
    };
    for (const auto &test : cases) {
        const auto choice = Catalog::resolve(QString::fromUtf8(test.text), codex);
        const QString provider = choice ? enumText(choice->provider) : QString();
        const QString model = choice && choice->model ? u':' + *choice->model : QString();
        EXPECT_EQ((provider + model).toStdString(), test.expected) << test.text;
    }
    EXPECT_EQ(Catalog::resolve(u"gpt-9-new"_s, {})->model, u"gpt-9-new"_s);
    EXPECT_FALSE(Catalog::resolve(std::nullopt, codex));
}

TEST(AgentModelCatalog, CodexHomeComesFromTheEnvironment)
{
    qputenv("CODEX_HOME", "/set");
    EXPECT_EQ(Catalog::codexHome(u"/home/u"_s), u"/set"_s);
    qunsetenv("CODEX_HOME");
    EXPECT_EQ(Catalog::codexHome(u"/home/u"_s), u"/home/u/.codex"_s);
}

} // namespace
} // namespace Keelhaven
