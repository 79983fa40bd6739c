#pragma once

#include "App/Commands/CommandContext.h"
#include "App/ControlServer.h"
#include "App/Doctor.h"
#include "Scheduler/SchedulerEngine.h"

namespace Keelhaven {

class AppModel;

/// Answers the `keelhaven` command on behalf of the running instance. Server, model and doctor's services
/// outlive it.
class ControlService : public QObject
{
    Q_OBJECT

public:
    ControlService(ControlServer &server, AppModel &model, DoctorServices doctor, QObject *parent = nullptr);

    /// Ends every open conversation; called after the model was shut down and before the loop ends.
    void quit();

private:
    struct Call
    {
        QPointer<ControlConnection> connection;
        ControlCaller caller;
        ParsedCommand command;
    };
    struct Watcher
    {
        QPointer<ControlConnection> connection;
        bool asJSON = false;
        std::optional<QUuid> until; ///< ends with this run
    };

    void answer(ControlConnection *connection, const ControlCaller &caller);
    void run(const Call &call, const std::optional<QByteArray> &input);
    void runLocal(const Call &call);
    void collectInput(const Call &call);
    QCoro::Task<> carryOut(Call call, std::optional<QByteArray> input);
    void watch(const Call &call);
    QCoro::Task<> examine(Call call);
    QCoro::Task<> runMachine(Call call);
    void happened(const EngineEvent &event);
    void remember(const EngineEvent &event);
    [[nodiscard]] CommandContext context(const ControlCaller &caller);

    AppModel &m_model;
    DoctorServices m_doctor;
    QMap<QUuid, PassingRun> m_passing;
    QList<Watcher> m_watchers;
    bool m_isQuitting = false;
};

} // namespace Keelhaven
