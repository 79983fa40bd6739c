#pragma once

#include "Herdr/HerdrLocator.h"
#include "Platform/FileSettingsStore.h"
#include "ScriptedTransport.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {

/// Answers child processes from a function and remembers them.
class ScriptedProcesses : public ProcessRunner
{
public:
    std::function<QByteArray(const ProcessSpec &)> output = [](const ProcessSpec &) { return QByteArray(); };
    QList<ProcessSpec> runs;
    QList<ProcessSpec> detached;

    QCoro::Task<ProcessResult> run(ProcessSpec spec) override
    {
        runs.append(spec);
        ProcessResult result;
        result.kind = ProcessResult::Kind::Exited;
        result.output = output(spec);
        result.exitCode = result.output.isEmpty() ? 1 : 0;
        co_return result;
    }
    bool startDetached(const ProcessSpec &spec) override
    {
        detached.append(spec);
        return true;
    }
};

/// A home folder, a standing clock, a scripted host and everything a HerdrLocator needs.
struct HerdrFixture : ::testing::Test
{
    HerdrFixture()
    {
        qunsetenv("HERDR_SOCKET_PATH");
        locator.makeClient = [this](Span timeout) { return HerdrClient(transport, timeout); };
        pongs({22});
    }

    /// The protocols that ping answers one after the other; 0 is a server that is down.
    void pongs(std::initializer_list<int> protocols)
    {
        QList<ScriptedTransport::Answer> list;
        for (const int protocol : protocols)
            list.append(protocol == 0
                            ? ScriptedTransport::Answer(HerdrError::unreachable(QStringLiteral("down")))
                            : ScriptedTransport::result(Herdr::Pong{QStringLiteral("0.9.1"), protocol}));
        transport->answers(Herdr::Method::ping, list);
    }

    [[nodiscard]] HerdrInstaller::Layout layout() const
    {
        return HerdrInstaller::Layout::forPaths(
            home.paths(), home.path(QStringLiteral("bundle/keelhaven-host")), std::nullopt);
    }

    QString executable(const QString &relative, const QByteArray &bytes = "#!/bin/sh\n") const
    {
        const QString path = home.write(relative, bytes);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner);
        return path;
    }

    /// Runs the task to its end, time passing as it waits.
    template <typename T>
    T finish(QCoro::Task<T> task)
    {
        std::optional<T> result;
        auto watch = [](QCoro::Task<T> inner, std::optional<T> &out) -> QCoro::Task<> {
            out.emplace(co_await inner);
        };
        const auto running = watch(std::move(task), result);
        while (!result && clock.nextTimer())
            clock.advance(*clock.nextTimer());
        return std::move(result).value();
    }
    void finish(QCoro::Task<> task)
    {
        auto wrapped = [](QCoro::Task<> inner) -> QCoro::Task<bool> {
            co_await inner;
            co_return true;
        };
        static_cast<void>(finish(wrapped(std::move(task))));
    }

    TestHome home;
    VirtualClock clock;
    FileSettingsStore settings{home.path(QStringLiteral("settings.json"))};
    ScriptedProcesses processes;
    ClaudeLocator shell{processes, settings, home.path()};
    NoHerdrUserService service;
    std::shared_ptr<ScriptedTransport> transport = std::make_shared<ScriptedTransport>(clock);
    HerdrLocator locator{{home.paths(), settings, processes, shell, clock, service, layout()}};
};

} // namespace Keelhaven
