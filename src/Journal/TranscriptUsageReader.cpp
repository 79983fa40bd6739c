#include "Journal/TranscriptUsageReader.h"

#include "Contract/JSONValue.h"
#include "Platform/Files.h"
#include "Platform/LineBuffer.h"
#include "Platform/TailFile.h"

#include <algorithm>

namespace Keelhaven::TranscriptUsageReader {

using namespace Qt::StringLiterals;

namespace {

bool isLetterOrDigit(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9');
}

/// More tokens than any message has; millions of lines of them still fit the sum.
constexpr qint64 largestCount = 1'000'000'000'000;

void addLine(QByteArrayView line, std::optional<RunUsage> &sum)
{
    const auto json = JSONValue::parse(line);
    if (!json)
        return;
    const JSONValue *type = (*json)[u"type"];
    if (!type || type->stringValue() != u"assistant"_s)
        return;
    if (!sum)
        sum.emplace();
    const JSONValue *message = (*json)[u"message"];
    const JSONValue *usage = message ? (*message)[u"usage"] : nullptr;
    const auto count = [usage](QStringView key) -> qint64 {
        const JSONValue *value = usage ? (*usage)[key] : nullptr;
        // A transcript is another program's file: a nonsense number must not overflow the sum.
        return value ? std::clamp<qint64>(value->intValue().value_or(0), 0, largestCount) : 0;
    };
    sum->input += count(u"input_tokens");
    sum->output += count(u"output_tokens");
    sum->cacheCreation += count(u"cache_creation_input_tokens");
    sum->cacheRead += count(u"cache_read_input_tokens");
}

} // namespace

QString slug(const QString &cwd)
{
    QString name = cwd;
    for (QChar &c : name) {
        if (!isLetterOrDigit(c))
            c = u'-';
    }
    return name;
}

std::optional<QString> transcriptFile(const QString &home, const QString &cwd, const QString &sessionID)
{
    const auto isPlain = [](QChar c) { return isLetterOrDigit(c) || c == u'-' || c == u'_'; };
    if (sessionID.isEmpty() || !std::ranges::all_of(sessionID, isPlain))
        return std::nullopt;
    return home + u"/.claude/projects/"_s + slug(cwd) + u'/' + sessionID + u".jsonl"_s;
}

std::optional<RunUsage> usage(const QString &path)
{
    const auto file = TailFile::open(path);
    if (!file)
        return std::nullopt;
    std::optional<RunUsage> sum;
    LineBuffer lines;
    constexpr qsizetype chunkSize = 1 << 20;
    quint64 offset = 0;
    while (true) {
        const QByteArray bytes = file->read(offset, chunkSize);
        if (bytes.isEmpty())
            break;
        offset += static_cast<quint64>(bytes.size());
        lines.add(bytes, [&](QByteArrayView line) { addLine(line, sum); });
    }
    addLine(lines.partial(), sum);
    return sum;
}

std::optional<RunUsage> usage(const QString &home, const QString &cwd, const QString &sessionID)
{
    std::optional<RunUsage> sum;
    for (const QString &folder : {cwd, resolvedPath(cwd)}) {
        if (const auto path = transcriptFile(home, folder, sessionID); path && !sum)
            sum = usage(*path);
    }
    return sum;
}

} // namespace Keelhaven::TranscriptUsageReader
