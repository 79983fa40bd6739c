// The shared event log at 500 MB: its first read beside parsing its lines alone, the memory that takes, and
// what an appended line costs beside the same at 1 MB.

#include "Platform/SystemClock.h"
#include "Platform/Uuid.h"
#include "Ratio.h"
#include "Store/JSONLTailer.h"

#include <QFile>
#include <QTemporaryDir>
#include <cstdlib>

namespace {

using namespace Keelhaven;
using namespace Qt::StringLiterals;

constexpr qint64 megabyte = 1'000'000;
constexpr qint64 largeLog = 500 * megabyte;
constexpr qint64 smallLog = megabyte;
/// The end of the log is from the last days; all before it is too old to be kept.
constexpr qint64 recentPart = 10 * megabyte;
constexpr int appends = 300;

[[noreturn]] void give(const char *what)
{
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

/// Writes lines as the hook does: sessions of some prompts, each with its Stop.
class Log
{
public:
    explicit Log(const QString &path)
        : m_file(path)
    {
        if (!m_file.open(QIODevice::WriteOnly))
            give("cannot make the log");
    }

    /// Lines until the log has `size` bytes, dated from `seconds` on.
    void fill(qint64 size, double seconds)
    {
        while (m_written < size) {
            const QByteArray text = session(seconds);
            if (m_file.write(text) != text.size())
                give("cannot fill the log");
            m_written += text.size();
            seconds += 0.2;
        }
        m_file.flush();
    }

    void append(double seconds)
    {
        m_file.write(line("Stop", seconds, QByteArray(36, 'a')));
        m_file.flush();
    }

private:
    QByteArray session(double seconds)
    {
        const QByteArray id = uuidText(QUuid::createUuid()).toLower().toLatin1();
        QByteArray text = line("SessionStart", seconds, id);
        for (int prompt = 0; prompt < 4; ++prompt)
            text += line("UserPromptSubmit", seconds + prompt * 0.02, id) +
                    line("Stop", seconds + prompt * 0.02 + 0.01, id);
        return text + line("SessionEnd", seconds + 0.1, id);
    }

    static QByteArray line(const QByteArray &type, double seconds, const QByteArray &session)
    {
        static const QByteArray message =
            QByteArray("I looked at 14 changed files; the tests pass. Größe: 3 MB.\\n").repeated(9);
        QByteArray text = "{\"ts\": " + QByteArray::number(seconds, 'f', 6) + ", \"type\": \"" + type +
                          "\", \"provider\": \"claude\", \"session_id\": \"" + session +
                          "\", \"cwd\": \"/home/user/projects/harbour\"";
        if (type == "Stop")
            text += ", \"last_message\": \"" + message + '"';
        return text + "}\n";
    }

    QFile m_file;
    qint64 m_written = 0;
};

/// Milliseconds that parsing each line of the file takes.
double parseAlone(const QString &path)
{
    const auto file = TailFile::open(path);
    if (!file)
        give("the log is gone");
    return Bench::milliseconds([&] {
        LineBuffer lines;
        quint64 offset = 0;
        qsizetype parsed = 0;
        for (QByteArray bytes; !(bytes = file->read(offset, 4 << 20)).isEmpty();) {
            offset += static_cast<quint64>(bytes.size());
            lines.add(bytes,
                      [&](QByteArrayView line) { parsed += JSONValue::parse(line).has_value() ? 1 : 0; });
        }
        if (parsed == 0)
            give("nothing parsed");
    });
}

qint64 statusKilobytes(const QByteArray &name)
{
    QFile file(u"/proc/self/status"_s);
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : file.readAll().split('\n')) {
            if (line.startsWith(name + ':'))
                return line.mid(name.size() + 1).trimmed().split(' ').front().toLongLong();
        }
    }
    give("no memory figures");
}

/// Kilobytes that `work` had more at its peak than before.
template <typename F>
qint64 peakGrowth(F &&work)
{
    QFile reset(u"/proc/self/clear_refs"_s);
    if (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1)
        give("cannot reset the peak");
    reset.close();
    const qint64 before = statusKilobytes("VmRSS");
    work();
    return std::max<qint64>(1, statusKilobytes("VmHWM") - before);
}

/// Median of what the read after one appended line costs.
double appendCost(JSONLTailer &tailer, Log &log, const QString &path, Date now)
{
    std::vector<double> times;
    for (int i = 0; i < appends; ++i) {
        log.append(secondsSince1970(now));
        times.push_back(Bench::milliseconds([&] {
            if (tailer.read(path, now).newEvents.size() != 1)
                give("the appended line did not come");
        }));
    }
    return Bench::median(std::move(times));
}

} // namespace

int main()
{
    const QTemporaryDir folder;
    const QString large = folder.filePath(u"large.jsonl"_s);
    const QString recent = folder.filePath(u"recent.jsonl"_s);
    const QString small = folder.filePath(u"small.jsonl"_s);
    const Date now = SystemClock().now();
    const double today = secondsSince1970(now) - 86400;
    const double longAgo = today - 90 * 86400;

    Log largeFile(large);
    largeFile.fill(largeLog - recentPart, longAgo);
    largeFile.fill(largeLog, today);
    Log(recent).fill(recentPart, today);
    Log smallFile(small);
    smallFile.fill(smallLog, today);

    // The smaller one first: memory that the allocator keeps must not hide what the larger one needs.
    JSONLTailer smallTailer;
    static_cast<void>(smallTailer.read(small, now));
    JSONLTailer recentTailer;
    const qint64 retained = peakGrowth([&] { static_cast<void>(recentTailer.read(recent, now)); });
    JSONLTailer tailer;
    double first = 0;
    const qint64 peak =
        peakGrowth([&] { first = Bench::milliseconds([&] { static_cast<void>(tailer.read(large, now)); }); });
    std::printf(
        "500 MB: first read %.0f ms; %lld events kept; peak +%lld KiB, +%lld KiB for the kept ones alone\n",
        first, static_cast<long long>(tailer.events().size()), static_cast<long long>(peak),
        static_cast<long long>(retained));
    const auto readAll = [&] { static_cast<void>(JSONLTailer().read(large, now)); };
    std::vector<double> firstReads;
    for (int round = 0; round < 5; ++round)
        firstReads.push_back(parseAlone(large) / Bench::milliseconds(readAll));
    Bench::printRatio("tailer-first-read", Bench::median(firstReads), 0.5);
    Bench::printRatio("tailer-peak-memory", static_cast<double>(peak) / static_cast<double>(retained), 2,
                      Bench::Aim::AtMost);

    // In turns, so that other load hits both alike.
    std::vector<double> ratios;
    double atSmall = 0;
    double atLarge = 0;
    for (int round = 0; round < 9; ++round) {
        atSmall = appendCost(smallTailer, smallFile, small, now);
        atLarge = appendCost(tailer, largeFile, large, now);
        ratios.push_back(atLarge / atSmall);
    }
    std::printf("one appended line: %.4f ms at 1 MB, %.4f ms at 500 MB\n", atSmall, atLarge);
    Bench::printRatio("tailer-append", Bench::median(ratios), 1.5, Bench::Aim::AtMost);
    return 0;
}
