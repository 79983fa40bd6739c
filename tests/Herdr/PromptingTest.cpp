#include "Herdr/HerdrPrompting.h"

#include "LauncherFixture.h"

namespace Keelhaven {

namespace {

const QString timedOut = u"timed out waiting for a Herdr response"_s;
const QString trustScreen = u"Do you trust the files in this folder?\n❯ 1. Yes, proceed\n  2. No, exit"_s;
const QString trustOnNo = u"Is this your own project?\n  1. Yes, I trust this folder\n❯ 2. No, exit"_s;
const QString trustOnYes = u"Is this your own project?\n❯ 1. Yes, I trust this folder\n  2. No, exit"_s;

/// From the first look at a session's screen to a turn that is under way.
struct HerdrPromptingTest : HerdrLauncherTest
{};

} // namespace

TEST_F(HerdrPromptingTest, TrustDialogsAreAnsweredOneBehindTheOther)
{
    const auto asked = [this](std::initializer_list<Answer> screens) {
        transport->answers(Method::paneRead, screens);
        transport->calls.clear();
        finish(HerdrSession::acceptTrustDialog(
            std::shared_ptr<HerdrContext>(&launcher.context(), [](HerdrContext *) {}), u"p1"_s));
        QStringList texts;
        for (const QString &entry : typed())
            texts.append(entry.section(u' ', 1));
        return texts;
    };
    EXPECT_EQ(asked({screen(trustScreen), screen(u"> "_s)}), QStringList{u"Enter"_s});
    EXPECT_EQ(asked({screen(trustOnNo), screen(trustOnYes), screen(trustOnYes), screen(u"> "_s)}),
              (QStringList{u"Down"_s, u"Enter"_s}));
    // A dialog that ignores the answer is asked three times, 1.5 s each.
    const Date before = clock.now();
    EXPECT_EQ(asked({screen(trustScreen)}), (QStringList{u"Enter"_s, u"Enter"_s, u"Enter"_s}));
    EXPECT_EQ(clock.now() - before, Span(4500ms));
    EXPECT_TRUE(asked({HerdrError::transport(u"x"_s)}).isEmpty());
}

TEST_F(HerdrPromptingTest, ThePromptWaitsUntilTheScreenStandsStill)
{
    const auto settled = [this] {
        transport->calls.clear();
        const Date before = clock.now();
        finish(HerdrSession::waitUntilSettled(
            std::shared_ptr<HerdrContext>(&launcher.context(), [](HerdrContext *) {}), run));
        return std::chrono::duration<double>(clock.now() - before).count();
    };
    transport->answers(Method::paneRead, {screen(u"a"_s), screen(u"b"_s), screen(u"b"_s), screen(u"c"_s)});
    EXPECT_EQ(settled(), 2.75);
    transport->answers(Method::paneRead,
                       {screen(u"a"_s), screen(u"a"_s), HerdrError::transport(u"x"_s), screen(u"a"_s)});
    EXPECT_EQ(settled(), 2.75);
    transport->answers(Method::agentGet, {got(Status::Working)});
    EXPECT_EQ(settled(), 12.0);
}

TEST_F(HerdrPromptingTest, ALostEnterIsPressedAgainAndTheTextTypedOnceMore)
{
    transport->answers(Method::agentList, {listed(Status::Idle)});
    ASSERT_TRUE(finish(launcher.prompt(run, u"go\r\non"_s)));
    EXPECT_EQ(transport->callsOf(Method::agentPrompt).value(0).text(u"text"), u"go\r\non");
    EXPECT_EQ(typed(),
              (QStringList{u"4 Enter"_s, u"8 Enter"_s, u"12 go\non"_s, u"12.6 Enter"_s, u"16.6 Enter"_s}));
    EXPECT_EQ(transport->callsOf(Method::agentList).size(), 1 + 5 * 8);
    EXPECT_EQ(std::chrono::duration<double>(clock.now().time_since_epoch()).count(), 1772600707 + 20.6);
}

TEST_F(HerdrPromptingTest, APromptOfATurnThatNobodySawIsNotTypedAgain)
{
    transport->answers(Method::agentList, {listed(Status::Idle)});
    const Date typedAt = clock.now();
    run.runID = QUuid::createUuid();
    launcher.context().promptTaken = [&](const QUuid &id, Date since) {
        return id == run.runID && since == typedAt && clock.now() > typedAt + 400ms;
    };
    ASSERT_TRUE(finish(launcher.prompt(run, u"go"_s)));
    EXPECT_EQ(typed(), QStringList());
    EXPECT_EQ(clock.now(), typedAt + 500ms);
}

TEST_F(HerdrPromptingTest, TheLadderEndsWhenTheAgentStartsOrTheHostIsGone)
{
    // Idle before, eight looks in vain, then working after the first Enter.
    QList<Answer> looks(9, listed(Status::Idle));
    looks.append(listed(Status::Working));
    transport->answers(Method::agentList, looks);
    ASSERT_TRUE(finish(launcher.prompt(run, u"go"_s)));
    EXPECT_EQ(typed(), QStringList{u"4 Enter"_s});

    // Done before the prompt and done after it: nothing has happened. What cannot be told counts the same.
    for (const auto &[resting, presses] : std::initializer_list<std::pair<QList<Answer>, int>>{
             {{listed(Status::Done)}, 5},
             {{listed(Status::Idle), listed(Status::Done)}, 0},
             {{HerdrError::transport(u"x"_s)}, 5},
             {{listed(std::nullopt)}, 5},
             {{listed(Status::Unknown)}, 0}}) {
        transport->answers(Method::agentList, resting);
        transport->calls.clear();
        ASSERT_TRUE(finish(launcher.prompt(run, u"go"_s)));
        EXPECT_EQ(typed().size(), presses);
    }

    transport->answers(Method::agentList, {listed(Status::Idle)});
    transport->answers(Method::paneSendText, {HerdrError::transport(u"x"_s)});
    transport->calls.clear();
    ASSERT_TRUE(finish(launcher.prompt(run, u"go"_s)));
    EXPECT_EQ(typed().size(), 1);
}

TEST_F(HerdrPromptingTest, LongPromptsAreTypedAsAPointerToABrief)
{
    run.runDir = home.path(u"runs/r"_s);
    const QString text(900, u'x');
    ASSERT_TRUE(finish(launcher.prompt(run, text)));
    ASSERT_TRUE(finish(launcher.prompt(run, text)));
    EXPECT_EQ(home.read(u"runs/r/brief.md"_s), text.toUtf8());
    EXPECT_EQ(home.read(u"runs/r/brief-1.md"_s), text.toUtf8());
    EXPECT_TRUE(transport->callsOf(Method::agentPrompt)
                    .last()
                    .text(u"text")
                    .contains(u"/runs/r/brief-1.md — read it now"));

    run.runDir = home.path(u"runs/r/brief.md"_s);
    const auto calls = transport->calls.size();
    EXPECT_FALSE(finish(launcher.prompt(run, text)));
    EXPECT_EQ(transport->calls.size(), calls) << "nothing may be typed without its brief";
}

TEST_F(HerdrPromptingTest, AClaudeThatDoesNotReadItsPromptIsStartedOnceMore)
{
    const Answer silent = HerdrError::transport(timedOut);
    transport->answers(Method::agentPrompt, {silent, got(Status::Working)});
    EXPECT_EQ(launchError(), u"launched");
    EXPECT_EQ(launcher.takeFailedLaunchScreen(request.runID), std::nullopt);

    transport->calls.clear();
    transport->answers(Method::agentPrompt, {silent});
    EXPECT_EQ(launchError(),
              u"claude came up but never read its prompt, twice (timed out waiting for a Herdr response)");
    EXPECT_EQ(transport->callsOf(Method::agentStart).size(), 2);
    EXPECT_EQ(transport->callsOf(Method::paneClose).size(), 2);

    transport->calls.clear();
    transport->answers(Method::agentPrompt, {HerdrError::transport(u"read(): Connection reset by peer"_s)});
    EXPECT_EQ(launchError(), u"read(): Connection reset by peer");
    EXPECT_EQ(transport->callsOf(Method::agentStart).size(), 1);
}

TEST_F(HerdrPromptingTest, CodexIsConfirmedByItsHooks)
{
    request.provider = AgentProvider::Codex;
    AgentInfo ready = agent(Status::Idle, u"codex"_s);
    AgentInfo notInteractive = ready;
    ready.interactiveReady = true;
    AgentInfo working = ready;
    working.agentStatus = Status::Working;
    transport->answers(Method::agentGet, {gotAgent(notInteractive), gotAgent(working), gotAgent(ready)});
    QStringList hooks{u"SessionStart"_s};
    launcher.context().codexEvents = [&hooks](const QUuid &) {
        QList<EventRecord> events;
        for (const QString &type : hooks)
            events.append(EventRecord::fromJSON({{u"source"_s, u"codex"_s}, {u"type"_s, type}}));
        events.append(
            EventRecord::fromJSON({{u"source"_s, u"startup"_s}, {u"type"_s, u"UserPromptSubmit"_s}}));
        return events;
    };
    const QString missing =
        u"Codex did not report UserPromptSubmit. Install Keelhaven's Codex hooks, enable and trust them with "
        u"/hooks, then retry. "
        u"Check ChatGPT login and folder trust in Codex first. See README → Codex Phase 1. (codex_hooks_missing)"_s;
    EXPECT_EQ(launchError(), missing);
    EXPECT_EQ(transport->callsOf(Method::agentPrompt).value(0).at, 0.5);
    EXPECT_EQ(transport->callsOf(Method::agentStart).size(), 1);

    hooks.append(u"UserPromptSubmit"_s);
    EXPECT_EQ(launchError(), u"launched");
    EXPECT_TRUE(typed().isEmpty());

    request.resumeSessionID = u"s1"_s;
    EXPECT_EQ(launchError(), u"Continue Codex sessions manually in Herdr in Phase 1. (unsupported_resume)");
}

} // namespace Keelhaven
