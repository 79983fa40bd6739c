#include "Setup/ClaudeState.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr auto statusLimit = std::chrono::seconds(30);

QCoro::Task<std::optional<QString>> pathForClaude(const ClaudeLocator *locator, bool refreshPATH)
{
    if (refreshPATH) {
        const auto fresh = co_await locator->loginShellPATH(true);
        co_return fresh;
    }
    const auto path = co_await locator->loginShellPATH(u"claude"_s);
    co_return path;
}

} // namespace

QCoro::Task<ClaudeState> claudeState(const ClaudeLocator *locator, ProcessRunner *processes, bool refreshPATH)
{
    const auto path = co_await pathForClaude(locator, refreshPATH);
    if (!path)
        co_return ClaudeState::missing;
    ProcessSpec spec;
    spec.program = ClaudeLocator::find(*path, u"claude"_s);
    if (spec.program.isEmpty())
        co_return ClaudeState::missing;
    spec.arguments = QStringList{u"auth"_s, u"status"_s, u"--json"_s};
    spec.environment.insert(u"PATH"_s, *path);
    spec.timeout = statusLimit;
    const ProcessResult result = co_await processes->run(spec);
    const auto json = JSONValue::parse(result.output);
    const JSONValue *loggedIn = json ? (*json)[u"loggedIn"] : nullptr;
    co_return loggedIn && loggedIn->boolValue() == true ? ClaudeState::ready : ClaudeState::signedOut;
}

} // namespace Keelhaven
