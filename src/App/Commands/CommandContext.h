#pragma once

#include "App/CommandLine.h"
#include "App/ControlConnection.h"
#include "Contract/JSONValue.h"
#include "Contract/KeelhavenPaths.h"
#include "Platform/Calendar.h"
#include "Scheduler/Model/RunRecord.h"

namespace Keelhaven {

class AppModel;
class SchedulerEngine;
class ClaudeLocator;
class Clock;
class ProcessRunner;
class SettingsStore;
class SetupChecklist;
class UsageMonitor;

/// A run that was queued and has not ended. Between leaving the queue and being live, and while its session
/// is being closed, it stands in no list of the engine.
struct PassingRun
{
    RunRecord record;
    bool wasLive = false;
};

/// What the commands on settings see, in the running instance or without one. All references live as long as
/// the call.
struct LocalContext
{
    const ControlCaller &caller;
    SettingsStore &settings;
    const KeelhavenPaths &paths;
    /// A setting was written or removed.
    std::function<void(const QString &key)> settingChanged = {};
};

/// What the commands on the machine see, in the running instance or without one. What it refers to outlives
/// the task.
struct MachineContext
{
    ControlCaller caller;
    KeelhavenPaths paths;
    Clock &clock;
    ProcessRunner &processes;
    const ClaudeLocator &locator;
    SetupChecklist &checklist;
    QString programs; ///< the folder that the programs lie in
};

/// What the commands see of the running instance. All references live as long as the call.
struct CommandContext
{
    const ControlCaller &caller;
    SchedulerEngine &engine;
    SettingsStore &settings;
    const KeelhavenPaths &paths;
    const QMap<QUuid, PassingRun> &passing; ///< queued and live ones, too
    Date now;
    Calendar calendar;
    std::optional<QString> databaseError = {};
    std::function<void(const QString &)> openLink = {};
    /// Standard input; nothing as long as the command has not asked for it.
    std::optional<QByteArray> input = {};
    UsageMonitor *usage = nullptr; ///< never null in the running instance
    AppModel *model = nullptr;     ///< for what is not above; never null in the running instance
};

/// What a command answers: texts for the caller's two streams and the exit status.
struct CommandReply
{
    ExitStatus exit = ExitStatus::Done;
    QString output = {};
    /// Behind `output`: a long listing, made piece by piece while the caller reads it.
    ControlConnection::Pieces listing = {};
    QString error = {};
    bool needsInput = false; ///< call again with the caller's standard input
    QStringList become = {}; ///< a program with its arguments that the caller's command becomes

    [[nodiscard]] static CommandReply done(const QString &line) { return {.output = line + u'\n'}; }
    /// One sentence on standard error, exit status 1.
    [[nodiscard]] static CommandReply refused(const QString &sentence)
    {
        return {.exit = ExitStatus::Refused, .error = QStringLiteral("keelhaven: ") + sentence + u'\n'};
    }
    /// One line for a program, laid out for a person at a terminal.
    [[nodiscard]] static CommandReply json(const JSONValue &value, const ControlCaller &caller)
    {
        const QByteArray text = caller.isTerminal() ? value.encodedPretty() : value.encoded();
        return {.output = QString::fromUtf8(text).trimmed() + u'\n'};
    }
    [[nodiscard]] static CommandReply json(const JSONValue &value, const CommandContext &context)
    {
        return json(value, context.caller);
    }
};

} // namespace Keelhaven
