#include "Surfaces/Prose.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

TEST(Prose, InlineMarksOnly)
{
    const std::pair<QStringView, QStringView> rows[]{
        {u"plain", u"plain"},
        {u"a **b** c", u"a <b>b</b> c"},
        {u"*a* and _b_", u"<i>a</i> and <i>b</i>"},
        {u"__a__ ~~b~~", u"<b>a</b> <s>b</s>"},
        {u"***both***", u"<b><i>both</i></b>"},
        {u"*a **b** c*", u"<i>a <b>b</b> c</i>"},
        {u"snake_case_name and 2 * 3 * 4", u"snake_case_name and 2 * 3 * 4"},
        {u"**open and *open", u"**open and *open"},
        {u"`a < b && **c**`", u"<code>a &lt; b &amp;&amp; **c**</code>"},
        {u"``a`b`` `open", u"<code>a`b</code> `open"},
        {u"\\*not\\* it", u"*not* it"},
        {u"one\ntwo", u"one<br>two"},
        {u"# Heading\n- item", u"# Heading<br>- item"},
        {u"[docs](https://x.org/a?b=1&c=\"2\")",
         u"<a href=\"https://x.org/a?b=1&amp;c=&quot;2&quot;\">docs</a>"},
        {u"[a *b*](mailto:me@x.org)", u"<a href=\"mailto:me@x.org\">a <i>b</i></a>"},
        // Nothing that a page would load or run.
        {u"[x](javascript:alert(1))", u"[x](javascript:alert(1))"},
        {u"![pic](https://x.org/a.png)", u"!<a href=\"https://x.org/a.png\">pic</a>"},
        {u"<img src=\"https://x.org\">", u"&lt;img src=&quot;https://x.org&quot;&gt;"},
    };
    for (const auto &[markdown, html] : rows)
        EXPECT_EQ(proseHTML(markdown.toString()), html) << markdown.toString().toStdString();
}

TEST(Prose, HostileTextsTakeNoLongerThanOthers)
{
    for (const QString &piece :
         {u"*a "_s, u"**a"_s, u"[a"_s, u"`a``"_s, u"_a__"_s, u"[a]("_s, u"~~"_s, u"***a"_s}) {
        const QString html = proseHTML(piece.repeated(20000));
        EXPECT_GE(html.size(), piece.size() * 10000) << piece.toStdString();
    }
}

} // namespace Keelhaven
