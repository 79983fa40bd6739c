#include "Platform/Moments.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const Date noon = Date(std::chrono::sys_days(std::chrono::year(2026) / 3 / 4)) + 5h + 6min + 7s;

} // namespace

struct ISOCase
{
    QString text;
    std::optional<Span> strict; ///< after `noon`
    std::optional<Span> loose;
};

class ISOText : public testing::TestWithParam<ISOCase>
{};

TEST_P(ISOText, IsReadAsStated)
{
    const auto &[text, strict, loose] = GetParam();
    const auto after = [](std::optional<Date> date) {
        return date ? std::optional<Span>(*date - noon) : std::nullopt;
    };
    EXPECT_EQ(after(dateFromISOText(text)), strict) << text.toStdString();
    EXPECT_EQ(after(dateFromLooseISOText(text)), loose) << text.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ISOText,
    testing::Values(
        ISOCase{u"2026-03-04T05:06:07.890Z"_s, 890ms, 890ms},
        ISOCase{u"2026-03-04T05:06:07.5Z"_s, 500ms, 500ms},
        ISOCase{u"2026-03-04T05:06:07.1234567899Z"_s, 123456us, 123456us},
        ISOCase{u"2026-03-04T07:06:07.000+02:00"_s, 0us, 0us},
        ISOCase{u"2026-03-03T21:36:07.000-07:30"_s, 0us, 0us}, ISOCase{u"2026-03-04T05:06:07Z"_s, {}, 0us},
        ISOCase{u"2026-03-04T05:06:07+00:00"_s, {}, 0us}, ISOCase{u"2026-03-04T05:06:07.890"_s, {}, {}},
        ISOCase{u"2026-03-04 05:06:07.890Z"_s, {}, {}}, ISOCase{u"2026-03-04T05:06:07.Z"_s, {}, {}},
        ISOCase{u"2026-02-29T05:06:07.890Z"_s, {}, {}}, ISOCase{u"2026-03-04T24:00:00.000Z"_s, {}, {}},
        ISOCase{u"2026-03-04T05:60:07.000Z"_s, {}, {}}, ISOCase{u"2026-03-04T05:06:07.890Z "_s, {}, {}},
        ISOCase{u" 2026-03-04T05:06:07.890Z"_s, {}, {}}, ISOCase{u"2026-03-04"_s, {}, {}},
        ISOCase{u"26-03-04T05:06:07.890Z"_s, {}, {}}, ISOCase{u""_s, {}, {}}));

TEST(Moments, ISOTextHasMillisecondsInUTC)
{
    EXPECT_EQ(isoText(noon + 890ms), u"2026-03-04T05:06:07.890Z");
    EXPECT_EQ(isoText(noon + 999us), u"2026-03-04T05:06:07.000Z");
    EXPECT_EQ(isoText(Date(-1ms)), u"1969-12-31T23:59:59.999Z");
}

TEST(Moments, SecondsKeepMicrosecondsAndClamp)
{
    EXPECT_EQ(dateFromSeconds(secondsSince1970(noon + 123456us)), noon + 123456us);
    EXPECT_EQ(seconds(-0.25), -250ms);
    EXPECT_GT(dateFromSeconds(1e300), noon);
    EXPECT_LT(dateFromSeconds(-std::numeric_limits<double>::infinity()), noon);
    EXPECT_EQ(dateFromSeconds(std::nan("")), Date());
    EXPECT_EQ(fromQDateTime(toQDateTime(noon + 890ms)), noon + 890ms);
}

TEST(Moments, EveryMomentHasATextThatIsReadAgain)
{
    for (const Date date : {dateFromSeconds(1e300), dateFromSeconds(-1e300), dateFromSeconds(4e12),
                            distantPast, Date::max(), dateFromSeconds(0)})
        EXPECT_TRUE(dateFromISOText(isoText(date))) << isoText(date).toStdString();
    EXPECT_EQ(isoText(dateFromSeconds(1e300)), u"9999-12-31T23:59:59.999Z");
    EXPECT_EQ(isoText(dateFromSeconds(-1e300)), u"0001-01-01T00:00:00.000Z");
}

} // namespace Keelhaven
