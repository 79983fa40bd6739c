#include "SessionHost/AgentRules.h"
#include "SessionHost/ClaudeSessions.h"

#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using Herdr::Status;

namespace {

QString captured(const QString &name)
{
    QFile file(QStringLiteral(KEELHAVEN_SOURCE_DIR "/tests/SessionHost/screens/%1.txt").arg(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
    return QString::fromUtf8(file.readAll());
}

struct Case
{
    const char *screen;
    ScreenReading reading;
    const char16_t *title = u"";
};

constexpr ScreenReading idle{Status::Idle, true, true};
constexpr ScreenReading working{Status::Working, true, false};
constexpr ScreenReading blocked{Status::Blocked, true, false};
constexpr ScreenReading comingUp{Status::Working, false, false};
constexpr ScreenReading nothing{};

void expectReadings(AgentKind kind, const std::vector<Case> &cases)
{
    for (const Case &each : cases) {
        const auto reading =
            readScreen(kind, captured(QLatin1StringView(each.screen)), QString::fromUtf16(each.title));
        EXPECT_EQ(enumText(reading.status), enumText(each.reading.status)) << each.screen;
        EXPECT_EQ(reading.hasArrived, each.reading.hasArrived) << each.screen;
        EXPECT_EQ(reading.takesInput, each.reading.takesInput) << each.screen;
    }
}

} // namespace

TEST(AgentRules, ClaudeScreens)
{
    expectReadings(AgentKind::Claude, {{"claude-after-exit", nothing},
                                       {"claude-api-key-dialog", blocked},
                                       {"claude-ask-user-question", blocked},
                                       {"claude-auto-mode-bash", idle},
                                       {"claude-auto-mode-no-safety-check", blocked},
                                       {"claude-fresh-home-offline", nothing},
                                       {"claude-hook-denied", idle},
                                       {"claude-idle-75s", idle},
                                       {"claude-idle-after-turn", idle},
                                       {"claude-idle-fresh", idle},
                                       {"claude-interrupted-before-output", idle},
                                       {"claude-interrupted-mid-output", idle},
                                       {"claude-mode-acceptEdits", idle},
                                       {"claude-mode-auto", idle},
                                       {"claude-mode-bypassPermissions", nothing},
                                       {"claude-mode-default", idle},
                                       {"claude-mode-dontAsk", idle},
                                       {"claude-mode-manual", idle},
                                       {"claude-mode-plan", idle},
                                       {"claude-permission-bash", blocked},
                                       {"claude-permission-refused", idle},
                                       {"claude-permission-write", blocked},
                                       {"claude-plan-approval", blocked},
                                       {"claude-plugin-command", idle},
                                       {"claude-rate-limited-api-key", idle},
                                       {"claude-rate-limited-oauth", idle},
                                       {"claude-resume-unknown-id", nothing},
                                       {"claude-resumed-auto-mode-statusline", idle},
                                       {"claude-retrying-529", working},
                                       {"claude-trust-dialog", blocked},
                                       {"claude-working", working},
                                       {"claude-working-queued", working}});
}

TEST(AgentRules, ClaudeScreensOfOtherReleases)
{
    const QString rule(60, u'─');
    const QString box = rule + u"\n❯ \n"_s + rule + u'\n';
    const std::vector<std::pair<QString, ScreenReading>> cases{
        {u" Do you trust the files in this folder?\n\n ❯ 1. Yes, proceed\n   2. No, exit\n"_s, blocked},
        {u" Quick safety check\n ❯ 1. Yes, I trust this folder\n   2. No, exit\n"_s, blocked},
        // The older place of the working mark, above the box.
        {u"✻ Improvising… (2s · ↓ 2 tokens · esc to interrupt)\n\n"_s + box + u"  ? for shortcuts\n"_s,
         working},
        {u"* Fermenting… (12s)\n\n"_s + box + u"  ⏸ manual mode on\n"_s, working},
        // The conversation speaks of dialogs and of work; the box below says what holds.
        {u"● Do you want to proceed? Press Enter to confirm\n● I saw 'esc to interrupt' in the log\n"
         u"1\n2\n3\n4\n"_s +
             box + u"  ? for shortcuts\n"_s,
         idle},
        {box + u"\n\n   a few lines of a menu\n"_s, idle},
        {rule + u"\n❯ first line of a draft\n  second line\n"_s + rule + u"\n  ? for shortcuts\n"_s, idle},
        {u"$ claude --resume x\n"_s, nothing},
        {QString(), nothing},
    };
    for (const auto &[screen, reading] : cases)
        EXPECT_EQ(readScreen(AgentKind::Claude, screen, {}), reading) << screen.toStdString();
}

TEST(AgentRules, CodexScreens)
{
    expectReadings(AgentKind::Codex, {{"codex-after-quit", nothing},
                                      {"codex-approval-exec", blocked, u"[ ! ] Action Required | ws"},
                                      {"codex-approval-exec", blocked, u"ws"},
                                      {"codex-error-429", idle, u"ws"},
                                      {"codex-hook-denied", idle, u"ws"},
                                      {"codex-hooks-need-review", blocked, u"HOST"},
                                      {"codex-idle-after-turn", idle, u"ws"},
                                      {"codex-idle-fresh", idle, u"ws"},
                                      {"codex-interrupted", idle, u"ws"},
                                      {"codex-resumed-approve-for-me", comingUp, u"HOST"},
                                      {"codex-signed-out", blocked, u"HOST"},
                                      {"codex-trust-dialog", blocked, u"HOST"},
                                      {"codex-working", working, u"⠋ ws"},
                                      {"codex-working", working, u"ws"},
                                      {"codex-working-streaming", working, u"⠼ ws"}});
}

TEST(AgentRules, ADraftThatBeginsWithANumberIsNoDialog)
{
    EXPECT_EQ(readScreen(AgentKind::Codex, u"• done\n\n› 1. first point\n\n  gpt-5-codex · /x\n"_s, {}),
              idle);
}

TEST(AgentRules, ProgramsAreKnownByTheirCommandLine)
{
    const std::vector<std::pair<QByteArrayList, std::optional<AgentKind>>> cases{
        {{"claude"}, AgentKind::Claude},
        {{"/home/u/.local/bin/claude", "--model", "opus"}, AgentKind::Claude},
        {{"/usr/bin/python3", "/x/bin/codex", "resume"}, AgentKind::Codex},
        {{"node", "--no-warnings", "/opt/lib/codex"}, AgentKind::Codex},
        {{"vim", "claude"}, AgentKind::Claude}, // an interpreter looks the same
        {{"-bash"}, std::nullopt},
        {{"python3", "/x/tool.py", "claude"}, std::nullopt},
        {{"/usr/bin/claudette"}, std::nullopt},
        {{}, std::nullopt},
    };
    for (const auto &[arguments, kind] : cases)
        EXPECT_EQ(agentKindOf(arguments), kind) << arguments.join(' ').constData();
}

TEST(ClaudeSessions, StatusCountsOnlyForTheProcessItWasWrittenBy)
{
    const ProcessID process{13094, 278733};
    const std::vector<std::pair<const char *, std::optional<Status>>> cases{
        {R"({"pid":13094,"procStart":"278733","status":"idle","other":[1]})", Status::Idle},
        {R"({"pid":13094,"procStart":"278733","status":"busy"})", Status::Working},
        {R"({"pid":13094,"procStart":"278733","status":"waiting","waitingFor":"permission prompt"})",
         Status::Blocked},
        {R"({"pid":13094,"status":"busy"})", Status::Working}, // a release without the start time
        {R"({"pid":13094,"procStart":"5","status":"idle"})",
         std::nullopt}, // an earlier process of this number
        {R"({"pid":7,"procStart":"278733","status":"idle"})", std::nullopt},
        {R"({"pid":13094,"procStart":"278733","status":"dreaming"})", std::nullopt},
        {R"({"pid":13094,"procStart":"2787)", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto &[json, status] : cases) {
        const auto session = ClaudeSessionFile::parse(json, process);
        EXPECT_EQ(session.has_value(), status.has_value()) << json;
        if (session && status) {
            EXPECT_EQ(session->status, *status) << json;
        }
    }
}

} // namespace Keelhaven
