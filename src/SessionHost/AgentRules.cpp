#include "SessionHost/AgentRules.h"

#include <QFileInfo>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Herdr::Status;
using Region = ScreenRule::Region;

namespace {

constexpr ScreenReading idle{Status::Idle, true, true};
constexpr ScreenReading working{Status::Working, true, false};
constexpr ScreenReading blocked{Status::Blocked, true, false};
constexpr ScreenReading comingUp{Status::Working, false, false};

/// How many lines of text the regions hold.
constexpr qsizetype aboveBoxLines = 4;
constexpr qsizetype bottomLines = 16;

QRegularExpression anyCase(const QString &pattern)
{
    return QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption |
                                           QRegularExpression::UseUnicodePropertiesOption);
}

AgentKindRules claudeRules()
{
    return {
        u"claude"_s,
        {},
        u".claude/local/claude"_s,
        {
            {Region::BelowBox, anyCase(u"esc to interrupt"_s), working},
            {Region::AboveBox, anyCase(u"esc to interrupt"_s), working},
            // "✻ Improvising… (2s · ↓ 2 tokens)"; a finished turn reads "✻ Crunched for 6s".
            {Region::AboveBox, anyCase(u"^\\s*[·*✢✳✶✻✽]\\s+\\S[^(]*…\\s*\\("_s), working},
            {Region::Box, anyCase(u""_s), idle},
            // The hints under a dialog, an entry with the cursor on it, and the questions of older releases.
            {Region::Bottom,
             anyCase(
                 u"(enter to (confirm|select|continue|stay)|press enter|esc to (cancel|exit)|tab to amend)"_s),
             blocked},
            {Region::Bottom, anyCase(u"^\\s*❯\\s*(\\d+[.)]\\s|yes\\b|no\\b)"_s), blocked},
            {Region::Bottom,
             anyCase(
                 u"(do you (want|trust)|would you like to|use this api key|exit plan mode|trust this folder|"
                 u"select login method|choose the text style)"_s),
             blocked},
        }};
}

AgentKindRules codexRules()
{
    return {
        u"codex"_s,
        // Without it the program leaves a daemon behind that no pane owns.
        {u"--no-daemon"_s},
        {},
        {
            {Region::Title, anyCase(u"^\\[ ?! ?\\] action required"_s), blocked},
            {Region::Title, anyCase(u"^[⠀-⣿] "_s), working},
            {Region::AboveBox, anyCase(u"^\\s*resuming session…"_s), comingUp},
            {Region::AboveBox, anyCase(u"^• .*esc to interrupt"_s), working},
            {Region::Box, anyCase(u""_s), idle},
            {Region::Bottom, anyCase(u"esc to interrupt"_s), working},
            {Region::Bottom,
             anyCase(u"(press enter to (confirm|continue)|enter (confirm|continue)|esc (skip|back))"_s),
             blocked},
            {Region::Bottom, anyCase(u"^\\s*[›>]\\s*\\d+[.)]\\s"_s), blocked},
            {Region::Bottom,
             anyCase(u"(would you like to|trust this folder|hooks need review|choose how you want to use)"_s),
             blocked},
        }};
}

/// The screen cut into the regions of the rules.
struct ScreenParts
{
    QStringList above;
    QStringList below;
    QStringList bottom;
    QString box;
    bool hasBox = false;
};

struct BoxLines
{
    qsizetype first = -1; ///< the line with the prompt sign
    qsizetype top = -1;   ///< first line of the box with its frame
    qsizetype end = -1;   ///< first line after it
};

/// Claude Code's box: lines between two rules, the first of which begins with "❯". A dialog takes its place.
BoxLines claudeBox(const QStringList &lines)
{
    QList<qsizetype> frames;
    for (qsizetype i = lines.size() - 1; i >= 0 && frames.size() < 2; --i) {
        if (lines[i].trimmed().startsWith(u"──────────"))
            frames.append(i);
    }
    if (frames.size() < 2 || frames[0] <= frames[1] + 1)
        return {};
    const qsizetype first = frames[1] + 1;
    if (!lines[first].trimmed().startsWith(u'❯'))
        return {};
    return {first, frames[1], frames[0] + 1};
}

/// Codex's input line: the last one that begins with "› ", unless that is an entry of a dialog, which has a
/// number and says below what Enter does.
BoxLines codexBox(const QStringList &lines)
{
    static const auto entry = anyCase(u"^›\\s*\\d+[.)]\\s"_s);
    static const auto hint = anyCase(u"\\b(enter|esc)\\b"_s);
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        if (!lines[i].startsWith(u'›'))
            continue;
        if (entry.match(lines[i]).hasMatch() && !lines.sliced(i + 1).filter(hint).isEmpty())
            return {};
        return {i, i, i + 1};
    }
    return {};
}

QStringList lastText(const QStringList &lines, qsizetype count)
{
    QStringList text;
    for (qsizetype i = lines.size() - 1; i >= 0 && text.size() < count; --i) {
        if (!lines[i].trimmed().isEmpty())
            text.prepend(lines[i]);
    }
    return text;
}

ScreenParts partsOf(AgentKind kind, const QString &screen)
{
    const QStringList lines = screen.split(u'\n');
    const BoxLines box = kind == AgentKind::Claude ? claudeBox(lines) : codexBox(lines);
    ScreenParts parts;
    parts.hasBox = box.first >= 0;
    if (!parts.hasBox) {
        parts.bottom = lastText(lines, bottomLines);
        return parts;
    }
    parts.box = lines[box.first];
    parts.above = lastText(lines.first(box.top), aboveBoxLines);
    parts.below = lines.sliced(box.end);
    return parts;
}

bool matches(const ScreenRule &rule, const ScreenParts &parts, const QString &title)
{
    const auto anyLine = [&](const QStringList &lines) {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const QString &line) { return rule.pattern.match(line).hasMatch(); });
    };
    switch (rule.region) {
    case Region::Title:
        return rule.pattern.match(title).hasMatch();
    case Region::Box:
        return parts.hasBox && rule.pattern.match(parts.box).hasMatch();
    case Region::AboveBox:
        return anyLine(parts.above);
    case Region::BelowBox:
        return anyLine(parts.below);
    case Region::Bottom:
        return anyLine(parts.bottom);
    }
    return false;
}

} // namespace

const AgentKindRules &rulesOf(AgentKind kind)
{
    static const AgentKindRules claude = claudeRules();
    static const AgentKindRules codex = codexRules();
    return kind == AgentKind::Claude ? claude : codex;
}

std::optional<AgentKind> agentKindNamed(QStringView name)
{
    for (const auto kind : {AgentKind::Claude, AgentKind::Codex}) {
        if (rulesOf(kind).name == name)
            return kind;
    }
    return std::nullopt;
}

ScreenReading readScreen(AgentKind kind, const QString &screen, const QString &title)
{
    const ScreenParts parts = partsOf(kind, screen);
    for (const ScreenRule &rule : rulesOf(kind).rules) {
        if (matches(rule, parts, title))
            return rule.reading;
    }
    return {};
}

std::optional<ScreenReading> readTitle(AgentKind kind, const QString &title)
{
    for (const ScreenRule &rule : rulesOf(kind).rules) {
        if (rule.region == Region::Title && rule.pattern.match(title).hasMatch())
            return rule.reading;
    }
    return std::nullopt;
}

std::optional<AgentKind> agentKindOf(const QByteArrayList &arguments)
{
    // The program itself, or the script behind an interpreter and its options.
    for (qsizetype i = 0; i < std::min<qsizetype>(arguments.size(), 4); ++i) {
        if (i > 0 && arguments[i].startsWith('-'))
            continue;
        if (const auto kind = agentKindNamed(QFileInfo(QFile::decodeName(arguments[i])).fileName()))
            return kind;
        if (i > 0)
            break;
    }
    return std::nullopt;
}

} // namespace Keelhaven
