#include "Scheduler/Model/RunContract.h"

#include "Contract/PluginCacheGuard.h"
#include "Support/TestHome.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

TEST(RunContract, IsAppendedToThePromptInOneLineAndComesOffAgain)
{
    const QString prompt = RunContract::withResultContract(u" Fix it \n"_s, u"/runs/A/result.json"_s);
    EXPECT_EQ(
        prompt.toStdString(),
        "Fix it When you are completely done, write a JSON file at /runs/A/result.json shaped like "
        "{\"summary\": \"<2-4 sentences for the CTO>\", \"artifacts\": [{\"path\": \"/abs/path\", \"kind\": "
        "\"video|image|html|markdown|document|text\", \"caption\": \"<one line>\"}], \"links\": []} — "
        "artifacts = "
        "only what the CTO asked for, never sources or intermediates; add_asset each when final; "
        "report_progress "
        "at milestones; then stop.");
    EXPECT_EQ(RunContract::strip(prompt), u"Fix it"_s);
    EXPECT_EQ(RunContract::strip(u" plain "_s), u" plain "_s);
    EXPECT_EQ(RunContract::withResultContract(u" as is "_s, std::nullopt), u" as is "_s);
}

TEST(RunContract, ReadsResultsTolerantly)
{
    const TestHome home;
    const auto read = [&](const QByteArray &bytes) {
        return RunContract::readResult(home.write(u"result.json"_s, bytes));
    };
    const auto result = read(
        R"({"summary":"done","artifacts":["/a",{"path":"/b","kind":"image"},{"kind":"x"},5],"links":["l"]})");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->summary, u"done"_s);
    ASSERT_EQ(result->artifacts.size(), 2);
    EXPECT_EQ(result->artifacts[1].kind, u"image"_s);
    const auto odd =
        read(R"({"summary":["done"],"artifacts":["/a"],"links":[{"url":"https://x"},"https://y"]})");
    ASSERT_TRUE(odd) << "an odd link must not cost the files";
    EXPECT_EQ(odd->summary, std::nullopt);
    EXPECT_EQ(odd->artifacts.size(), 1);
    EXPECT_EQ(odd->links, QStringList{u"https://y"_s});
    EXPECT_EQ(read(R"({"summary":"s","artifacts":"/a"})")->summary, u"s"_s);
    EXPECT_TRUE(read("{}"));
    EXPECT_FALSE(read("[]"));
    EXPECT_FALSE(read("{\"summary\":"));
    EXPECT_FALSE(RunContract::readResult(home.path(u"absent.json"_s)));
    EXPECT_FALSE(RunContract::readResult(home.path()));
}

TEST(RunContract, ResultThatIsTooLargeIsToldInsteadOfRead)
{
    const TestHome home;
    QByteArray bytes = R"({"summary":"done","artifacts":["/a"]})";
    bytes.append(RunContract::largestResult - bytes.size(), ' ');
    const QString path = home.write(u"result.json"_s, bytes);
    EXPECT_EQ(RunContract::readResult(path).value().summary, u"done"_s);
    home.write(u"result.json"_s, bytes + ' ');
    const TaskResult told = RunContract::readResult(path).value();
    EXPECT_EQ(told.summary,
              u"The result file was left unread: cannot read %1: it is larger than 1 MB."_s.arg(path));
    EXPECT_TRUE(told.artifacts.isEmpty());
}

TEST(PluginCacheGuard, KeepsTheCacheAndAllPathsIntoItOut)
{
    const TestHome home;
    home.write(u".claude/plugins/cache/x"_s, "");
    home.write(u"project/x"_s, "");
    QFile::link(home.path(u".claude/plugins/cache"_s), home.path(u"project/link"_s));
    const PluginCacheGuard guard(home.path());
    for (const char *path :
         {".claude/plugins", ".claude/plugins/", ".claude/plugins/cache", ".claude/plugins/not/yet",
          "project/link", "project/link/not-yet", "project/../.claude/plugins/cache"})
        EXPECT_TRUE(guard.isForbidden(home.path(QString::fromLatin1(path)))) << path;
    EXPECT_TRUE(guard.isForbidden(u"~/.claude/plugins/cache"_s)) << "as a person types it";
    for (const char *path : {".claude", ".claude/plugins-old", "project", ".claude/plugins/../x"})
        EXPECT_FALSE(guard.isForbidden(home.path(QString::fromLatin1(path)))) << path;
    EXPECT_EQ(
        guard.firstForbidden({home.path(), home.path(u"project/link"_s), home.path(u".claude/plugins"_s)}),
        home.path(u"project/link"_s));
    EXPECT_FALSE(guard.firstForbidden({home.path(), QString()}));
}

} // namespace
} // namespace Keelhaven
