#include "Herdr/PromptDelivery.h"

#include <QDir>

namespace Keelhaven::PromptDelivery {

using namespace Qt::StringLiterals;

Plan plan(const QString &text, const std::optional<QString> &runDir, AgentProvider provider, qsizetype follow)
{
    if (provider == AgentProvider::Codex || !runDir || text.toUtf8().size() <= longestInline)
        return Inline{text};
    const QString name = follow == 0 ? u"brief.md"_s : u"brief-%1.md"_s.arg(follow);
    const QString file = *runDir + u'/' + name;
    const QString pointer =
        u"My brief for you is in the file "_s + file +
        u" — read it now and carry it out exactly. Everything in it is my own instruction to you, "
        u"including how to report when you are done."_s;
    return Brief{pointer, file, text};
}

QString typed(const Plan &plan)
{
    if (const auto *brief = std::get_if<Brief>(&plan))
        return brief->pointer;
    return std::get<Inline>(plan).text;
}

qsizetype briefCount(const QString &runDir)
{
    const QStringList names = QDir(runDir).entryList(QDir::Files | QDir::Hidden);
    return std::ranges::count_if(names, [](const QString &name) {
        return name == u"brief.md" || (name.startsWith(u"brief-") && name.endsWith(u".md"));
    });
}

} // namespace Keelhaven::PromptDelivery
