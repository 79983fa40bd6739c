#include "Engine/ActivityMerger.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(ActivityMerger, FindsTheRepositoryThatHoldsADirectory)
{
    const StateFile::Links links{{u"all"_s, u"/a"_s},
                                 {u"inner"_s, u"/a/./b//"_s},
                                 {u"side"_s, u"/c/x/../d"_s},
                                 {u"odd"_s, u"relative"_s}};
    const std::pair<std::optional<QString>, std::optional<QString>> cases[] = {
        {std::nullopt, std::nullopt}, {u""_s, std::nullopt},       {u"/a"_s, u"all"_s},
        {u"/a/b/c"_s, u"inner"_s},    {u"/a/b/../bc"_s, u"all"_s}, {u"/ab"_s, std::nullopt},
        {u"/../c//d/"_s, u"side"_s},  {u"/c"_s, std::nullopt},     {u"relative/here"_s, u"odd"_s},
    };
    for (const auto &[cwd, slug] : cases)
        EXPECT_EQ(ActivityMerger::cwdToSlug(cwd, links), slug) << cwd.value_or(u"none"_s).toStdString();
}

} // namespace Keelhaven
