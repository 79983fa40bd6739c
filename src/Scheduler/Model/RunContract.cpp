#include "Scheduler/Model/RunContract.h"

#include "Platform/Files.h"

#include <QFileInfo>
#include <QStringBuilder>

namespace Keelhaven::RunContract {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView shape =
    u" shaped like "
    u"{\"summary\": \"<2-4 sentences for the CTO>\", \"artifacts\": [{\"path\": \"/abs/path\", "
    u"\"kind\": \"video|image|html|markdown|document|text\", \"caption\": \"<one line>\"}], \"links\": []}"
    u" — artifacts = only what the CTO asked for, never sources or intermediates; add_asset each when final; "
    u"report_progress at milestones; then stop.";

} // namespace

QString withResultContract(const QString &prompt, const std::optional<QString> &resultPath)
{
    if (!resultPath)
        return prompt;
    return prompt.trimmed() % marker % u' ' % *resultPath % shape;
}

QString strip(const QString &text)
{
    const qsizetype at = text.indexOf(marker);
    return at < 0 ? text : text.left(at).trimmed();
}

std::optional<TaskResult> readResult(const QString &path)
{
    const auto bytes = readFile(path, largestResult);
    if (!bytes) {
        // The agent meant to hand something over, so whoever reads of the run learns why nothing came.
        if (QFileInfo(path).size() > largestResult)
            return TaskResult{.summary =
                                  u"The result file was left unread: %1."_s.arg(bytes.error().message()),
                              .artifacts = {},
                              .links = {}};
        return std::nullopt;
    }
    auto result = decodeRecordBytes<TaskResult>(*bytes);
    return result ? std::optional(*std::move(result)) : std::nullopt;
}

} // namespace Keelhaven::RunContract
