#include "App/ControlService.h"

#include "App/AppModel.h"
#include "App/Commands/CommandTable.h"
#include "App/Commands/Lookup.h"
#include "App/Commands/WatchCommand.h"
#include "Platform/SettingsStore.h"

#include <QCoreApplication>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

void send(ControlConnection &connection, const CommandReply &reply)
{
    connection.writeOutput(reply.output.toUtf8());
    if (reply.listing)
        connection.writePieces(reply.listing);
    connection.writeError(reply.error.toUtf8());
    if (!reply.become.isEmpty() && connection.become(reply.become))
        return;
    connection.finish(static_cast<int>(reply.exit));
}

} // namespace

ControlService::ControlService(ControlServer &server, AppModel &model, DoctorServices doctor, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_doctor(std::move(doctor))
{
    connect(&server, &ControlServer::requested, this, &ControlService::answer);
    connect(&model, &AppModel::happened, this, &ControlService::happened);
}

CommandContext ControlService::context(const ControlCaller &caller)
{
    return {.caller = caller,
            .engine = m_model.scheduler(),
            .settings = m_model.settings(),
            .paths = m_model.paths(),
            .passing = m_passing,
            .now = m_model.clock().now(),
            .calendar = Calendar::current(),
            .databaseError = m_model.databaseError(),
            .openLink = [this](const QString &link) { m_model.handleDeepLink(link); },
            .usage = &m_model.usage(),
            .model = &m_model};
}

void ControlService::answer(ControlConnection *connection, const ControlCaller &caller)
{
    const auto parsed = parseCommandLine(caller.arguments, commandTable());
    if (const auto *help = std::get_if<HelpText>(&parsed))
        return send(*connection, {.output = help->text});
    if (const auto *error = std::get_if<UsageError>(&parsed))
        return send(*connection, {.exit = ExitStatus::WrongUsage, .error = error->message()});
    const Call call{connection, caller, std::get<ParsedCommand>(parsed)};
    switch (call.command.command->kind) {
    case CommandKind::Plain:
        run(call, std::nullopt);
        break;
    case CommandKind::Local:
        runLocal(call);
        break;
    case CommandKind::Task:
        if (call.command.command->inputPrompt.isEmpty())
            m_model.tasks().spawn(carryOut(call, std::nullopt), "command");
        else
            collectInput(call);
        break;
    case CommandKind::Watch:
        watch(call);
        break;
    case CommandKind::Doctor:
        m_model.tasks().spawn(examine(call), "doctor");
        break;
    case CommandKind::Machine:
        m_model.tasks().spawn(runMachine(call), "command");
        break;
    case CommandKind::Script:
        send(*connection,
             CommandReply::refused(
                 u"this command runs in a terminal of your own, not through the running instance."_s));
        break;
    }
}

void ControlService::run(const Call &call, const std::optional<QByteArray> &input)
{
    if (m_isQuitting || !call.connection)
        return;
    CommandContext state = context(call.caller);
    state.input = input;
    const CommandReply reply = call.command.command->run(call.command.arguments, state);
    if (!reply.needsInput) {
        send(*call.connection, reply);
        return;
    }
    connect(call.connection, &ControlConnection::inputArrived, this,
            [this, call](const QByteArray &bytes) { run(call, bytes); });
    call.connection->requestInput();
}

void ControlService::runLocal(const Call &call)
{
    const LocalContext state{.caller = call.caller,
                             .settings = m_model.settings(),
                             .paths = m_model.paths(),
                             .settingChanged = [this](const QString &key) { m_model.settingChanged(key); }};
    send(*call.connection, call.command.command->runLocal(call.command.arguments, state));
}

void ControlService::collectInput(const Call &call)
{
    if (call.caller.inputIsTerminal)
        call.connection->writeError(call.command.command->inputPrompt.toUtf8());
    connect(call.connection, &ControlConnection::inputArrived, this, [this, call](const QByteArray &bytes) {
        if (!m_isQuitting)
            m_model.tasks().spawn(carryOut(call, bytes), "command");
    });
    call.connection->requestInput();
}

QCoro::Task<> ControlService::carryOut(Call call, std::optional<QByteArray> input)
{
    const QPointer<ControlConnection> connection = call.connection;
    CommandContext state = context(call.caller);
    state.input = std::move(input);
    const CommandReply reply = co_await call.command.command->runTask(call.command.arguments, state);
    if (connection)
        send(*connection, reply);
}

QCoro::Task<> ControlService::examine(Call call)
{
    const bool asJSON = call.command.arguments.wantsJSON();
    const bool pretty = call.caller.isTerminal();
    const QPointer<ControlConnection> connection = call.connection;
    const auto checks = co_await Doctor::examine(m_doctor);
    if (connection)
        send(*connection, Doctor::reply(checks, asJSON, pretty));
}

QCoro::Task<> ControlService::runMachine(Call call)
{
    const QPointer<ControlConnection> connection = call.connection;
    const MachineContext state{.caller = call.caller,
                               .paths = m_model.paths(),
                               .clock = m_model.clock(),
                               .processes = m_doctor.processes,
                               .locator = m_doctor.locator,
                               .checklist = m_model.setup(),
                               .programs = QCoreApplication::applicationDirPath()};
    const CommandReply reply = co_await call.command.command->runMachine(call.command.arguments, state);
    if (connection)
        send(*connection, reply);
}

void ControlService::watch(const Call &call)
{
    Watcher watcher{call.connection, call.command.arguments.wantsJSON(), std::nullopt};
    if (const auto text = call.command.arguments.value(u"until-run-ends")) {
        const auto found = findRun(context(call.caller), *text);
        if (!found)
            return send(*call.connection, CommandReply::refused(found.error()));
        watcher.until = found->record.id;
        if (found->place == RunPlace::Finished) {
            const EngineEvent event{EngineEvent::Kind::Finished, found->record, {}};
            const Date ended = found->record.endedAt.value_or(found->record.startedAt);
            return send(*call.connection,
                        {.output = WatchCommand::line(event, ended, Calendar::current(), watcher.asJSON)});
        }
    }
    m_watchers.append(watcher);
}

void ControlService::remember(const EngineEvent &event)
{
    switch (event.kind) {
    case EngineEvent::Kind::Queued:
        m_passing.insert(event.record.id, {event.record, false});
        break;
    case EngineEvent::Kind::Launched:
        m_passing.insert(event.record.id, {event.record, true});
        break;
    case EngineEvent::Kind::Finished:
        m_passing.remove(event.record.id);
        break;
    default:
        break;
    }
}

void ControlService::happened(const EngineEvent &event)
{
    remember(event);
    m_watchers.removeIf(
        [](const Watcher &watcher) { return !watcher.connection || watcher.connection->isFinished(); });
    if (m_watchers.isEmpty())
        return;
    const Date now = m_model.clock().now();
    const auto calendar = Calendar::current();
    for (const auto &watcher : std::as_const(m_watchers)) {
        if (watcher.until && *watcher.until != event.record.id)
            continue;
        watcher.connection->stream(WatchCommand::line(event, now, calendar, watcher.asJSON).toUtf8());
        if (watcher.connection && watcher.until && event.kind == EngineEvent::Kind::Finished)
            watcher.connection->finish(static_cast<int>(ExitStatus::Done));
    }
}

void ControlService::quit()
{
    m_isQuitting = true;
    for (const auto &watcher : std::as_const(m_watchers)) {
        if (!watcher.connection || watcher.connection->isFinished())
            continue;
        if (watcher.until) {
            watcher.connection->writeError("keelhaven: Keelhaven quit before the run ended.\n");
            watcher.connection->finish(static_cast<int>(ExitStatus::Refused));
        } else {
            watcher.connection->finish(static_cast<int>(ExitStatus::Done));
        }
    }
    m_watchers.clear();
}

} // namespace Keelhaven
