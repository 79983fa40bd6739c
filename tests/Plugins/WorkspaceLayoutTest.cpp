#include "Plugins/WorkspaceLayout.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

const QUuid id("0A1B2C3D-0000-4000-8000-00000000000F");

TEST(WorkspaceLayout, Slugs)
{
    const std::pair<QString, QString> cases[] = {
        {u"My  Agent!!"_s, u"my-agent"_s}, {u"__x__"_s, u"__x__"_s}, {u"日本語"_s, QString()},
        {u"--a--b--"_s, u"a--b"_s},        {u" ./.. "_s, QString()}, {u"Ünder 2"_s, u"nder-2"_s},
        {u"🚢 ship-1_b"_s, u"ship-1_b"_s}, {QString(), QString()},   {u"a/../../etc"_s, u"a-etc"_s},
    };
    for (const auto &[text, slug] : cases)
        EXPECT_EQ(WorkspaceLayout::slug(text), slug) << text.toStdString();
    EXPECT_EQ(WorkspaceLayout::slugForAgentNamed(u"日本語"_s, id), u"agent-0a1b2c3d"_s);
    EXPECT_EQ(WorkspaceLayout::slugForAgentNamed(u"Nightly"_s, id), u"nightly"_s);
}

TEST(WorkspaceLayout, FolderNamesAreToldApartByTheirParents)
{
    EXPECT_EQ(WorkspaceLayout::folderNames({u"/a/App"_s, u"/b/app/"_s, u"/c/Site"_s, u"/日本"_s, u"/app"_s}),
              (QStringList{u"a-app"_s, u"b-app"_s, u"site"_s, u"folder"_s, u"app"_s}));
}

TEST(WorkspaceLayout, NoTwoFoldersShareAName)
{
    const QStringList folders{u"/x/a/app"_s, u"/y/a/app"_s, u"/x/a/app/"_s, u"/w/日本"_s,
                              u"/w/中国"_s,  u"/日本"_s,    u"/中国"_s};
    const QStringList names = WorkspaceLayout::folderNames(folders);
    EXPECT_EQ(names[0], u"a-app");
    EXPECT_EQ(names[2], u"a-app") << "the same folder once more";
    EXPECT_EQ(names[3], u"w-");
    EXPECT_EQ(names[5], u"folder");
    EXPECT_TRUE(names[1].startsWith(u"a-app-"));
    EXPECT_TRUE(names[6].startsWith(u"folder-"));
    EXPECT_EQ(QSet<QString>(names.begin(), names.end()).size(), 6);
    EXPECT_EQ(WorkspaceLayout::folderNames(folders), names);
}

TEST(WorkspaceLayout, TargetsByMode)
{
    SchedulerSlot slot;
    slot.id = id;
    slot.name = u"Night Watch"_s;
    slot.cwds = {u"/p/one"_s, u"/p/two"_s};
    const auto shown = [&] {
        QStringList texts;
        for (const auto &target : WorkspaceLayout::targets(slot, u"/w"_s))
            texts.append(target.projectDir + u' ' + target.workspaceDir + u' ' + target.task);
        return texts.join(u", "_s).toStdString();
    };
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(WorkspaceLayout::launchDir(u"/p/one"_s, slot, u"/w"_s), u"/p/one"_s);
    slot.workspaceMode = WorkspaceMode::Shared;
    EXPECT_EQ(shown(), "/p/one /w/night-watch shared, /p/two /w/night-watch shared");
    slot.workspaceMode = WorkspaceMode::PerFolder;
    slot.workspaceSlug = u"watch"_s;
    EXPECT_EQ(shown(), "/p/one /w/watch/one one, /p/two /w/watch/two two");
    EXPECT_EQ(WorkspaceLayout::launchDir(u"/p/two"_s, slot, u"/w"_s), u"/w/watch/two"_s);
    EXPECT_EQ(WorkspaceLayout::launchDir(u"/p/three"_s, slot, u"/w"_s), u"/p/three"_s);
    for (const QString &bad : {QString(), u".."_s, u"."_s, u"../x"_s, u"/etc"_s}) {
        slot.workspaceSlug = bad;
        EXPECT_EQ(WorkspaceLayout::slugOf(slot), u"night-watch"_s) << bad.toStdString();
    }
}

TEST(WorkspaceLayout, LongNamesFitIntoAFileSystem)
{
    SchedulerSlot slot;
    slot.name = u"a"_s.repeated(254) + u" and more"_s;
    EXPECT_EQ(WorkspaceLayout::slugOf(slot), u"a"_s.repeated(254));
    slot.workspaceSlug = u"b"_s.repeated(300);
    EXPECT_EQ(WorkspaceLayout::slugOf(slot), u"b"_s.repeated(255)) << "stored when nobody cut it";
    const auto names = WorkspaceLayout::folderNames({u"/1"_s + u"c"_s.repeated(200) + u"/app"_s,
                                                     u"/1/"_s + u"d"_s.repeated(254), u"/2/app"_s,
                                                     u"/2/"_s + u"d"_s.repeated(254)});
    EXPECT_EQ(names, (QStringList{u"1"_s + u"c"_s.repeated(200) + u"-app"_s, u"1-"_s + u"d"_s.repeated(253),
                                  u"2-app"_s, u"2-"_s + u"d"_s.repeated(253)}));
}

} // namespace
} // namespace Keelhaven
