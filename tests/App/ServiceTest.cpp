#include "App/Commands/ServiceCommand.h"

#include "App/ControlInstance.h"
#include "Platform/ClaudeLocator.h"
#include "Platform/Files.h"
#include "Platform/PythonLocator.h"
#include "Platform/SettingsStore.h"
#include "Setup/SetupChecklist.h"
#include "Support/FakeDesktop.h"
#include "Support/FakeProcessRunner.h"
#include "Support/MemorySettings.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// A user manager that reads the units of this home, and remembers what it was told.
class ServiceTest : public ::testing::Test
{
protected:
    ServiceTest()
    {
        processes.answer = [this](const ProcessSpec &spec) -> std::optional<ProcessResult> {
            if (spec.program == u"loginctl")
                return FakeProcessRunner::exited(0, linger);
            EXPECT_EQ(spec.program, u"systemctl");
            const QString verb = spec.arguments.value(1);
            if (!hasManager || verb == broken)
                return FakeProcessRunner::exited(1);
            if (verb == u"show")
                return FakeProcessRunner::exited(
                    0, (QFileInfo::exists(unit) || isElsewhere ? loadedFrom : QString()).toUtf8() + '\n');
            if (verb == u"is-enabled" || verb == u"is-active")
                return FakeProcessRunner::exited((verb == u"is-enabled" ? isEnabled : isActive) ? 0 : 1);
            if (verb != u"show-environment")
                told.append(
                    spec.arguments.mid(1).join(u' ').replace(u"com.keelhaven.headless.service"_s, u"K"_s));
            isEnabled = verb == u"enable" || (isEnabled && verb != u"disable");
            isActive = verb == u"start" || (isActive && verb != u"disable");
            return FakeProcessRunner::exited(0);
        };
    }

    using Command = QCoro::Task<CommandReply> (*)(Arguments, MachineContext);
    CommandReply call(Command command)
    {
        told.clear();
        return await(command(Arguments(), {.caller = {},
                                           .paths = home.paths(),
                                           .clock = clock,
                                           .processes = processes,
                                           .locator = locator,
                                           .checklist = checklist,
                                           .programs = u"/opt/keel haven/bin"_s}));
    }

    const TestHome home;
    const QString unit = home.path(u".config/systemd/user/com.keelhaven.headless.service"_s);
    FakeProcessRunner processes;
    bool hasManager = true;
    bool isEnabled = false;
    bool isActive = false;
    bool isElsewhere = false;
    QString broken;
    QString loadedFrom = unit;
    QByteArray linger = "yes\n";
    QStringList told;

private:
    VirtualClock clock;
    MemorySettings settings;
    FakeDesktop desktop;
    ClaudeLocator locator{processes, settings, home.path()};
    PythonLocator python{processes, locator, desktop};
    SetupChecklist checklist{{processes, settings, locator, python, desktop, home.path()}};
};

} // namespace

TEST_F(ServiceTest, IsInstalledOnceAndRemovedWithoutATrace)
{
    EXPECT_EQ(call(ServiceCommand::status).output, u"The service is not installed.\n");
    EXPECT_EQ(call(ServiceCommand::install).output,
              u"The service is installed and runs: Keelhaven starts with your session from now on.\n");
    EXPECT_EQ(told, (QStringList{u"daemon-reload"_s, u"enable K"_s, u"start K"_s}));
    EXPECT_TRUE(
        readFile(unit).value().contains("\nExecStart=\"/opt/keel haven/bin/keelhaven\" --headless\n"));
    EXPECT_EQ(call(ServiceCommand::install).output, u"The service is installed and runs already.\n");
    EXPECT_EQ(told, (QStringList{u"daemon-reload"_s, u"enable K"_s})) << "what runs is not disturbed";
    EXPECT_EQ(call(ServiceCommand::status).output, u"The service starts with your session and runs.\n");
    EXPECT_EQ(call(ServiceCommand::remove).output, u"The service is removed.\n");
    EXPECT_EQ(told, (QStringList{u"disable --now K"_s, u"daemon-reload"_s}));
    EXPECT_TRUE(QDir(home.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    EXPECT_EQ(call(ServiceCommand::remove).output, u"The service is not installed.\n");
}

TEST_F(ServiceTest, WithoutAManagerNothingIsWritten)
{
    hasManager = false;
    const auto reply = call(ServiceCommand::install);
    EXPECT_EQ(reply.exit, ExitStatus::Refused);
    EXPECT_TRUE(reply.error.contains(u"loginctl enable-linger"));
    EXPECT_FALSE(QFileInfo::exists(unit));
    EXPECT_TRUE(call(ServiceCommand::status).output.contains(u"No systemd user manager answers here."));
    EXPECT_FALSE(
        await(ServiceCommand::examine(&processes, home.paths())).detail.contains(u"service install"));
}

TEST_F(ServiceTest, WhatSystemdRefusesIsNotLeftBehind)
{
    broken = u"enable"_s;
    const auto reply = call(ServiceCommand::install);
    EXPECT_EQ(reply.exit, ExitStatus::Refused);
    EXPECT_TRUE(reply.error.contains(u"systemctl --user enable"));
    EXPECT_FALSE(QFileInfo::exists(unit));
    broken.clear();
    EXPECT_EQ(call(ServiceCommand::install).exit, ExitStatus::Done);
    broken = u"enable"_s;
    EXPECT_EQ(call(ServiceCommand::install).exit, ExitStatus::Refused);
    EXPECT_TRUE(QFileInfo::exists(unit)) << "what ran before goes on";
}

TEST_F(ServiceTest, AnotherHomesManagerIsLeftAlone)
{
    isElsewhere = true;
    loadedFrom = u"/home/real/.config/systemd/user/com.keelhaven.headless.service"_s;
    EXPECT_EQ(call(ServiceCommand::install).exit, ExitStatus::Refused);
    EXPECT_FALSE(QFileInfo::exists(unit));
    EXPECT_EQ(told, (QStringList{u"daemon-reload"_s, u"daemon-reload"_s}));
}

TEST_F(ServiceTest, AUnitOfSomebodyElsesStays)
{
    home.write(u".config/systemd/user/com.keelhaven.headless.service"_s, "[Service]\nExecStart=/mine\n");
    EXPECT_EQ(call(ServiceCommand::install).error, u"keelhaven: %1 is not Keelhaven's.\n"_s.arg(unit));
    EXPECT_EQ(call(ServiceCommand::remove).output, u"The service is not installed.\n");
    EXPECT_EQ(readFile(unit).value(), "[Service]\nExecStart=/mine\n");
}

TEST_F(ServiceTest, WaitsForAKeelhavenThatRunsByHand)
{
    const auto instance = ControlInstance::claim(home.paths());
    ASSERT_TRUE(instance);
    EXPECT_TRUE(call(ServiceCommand::install).output.contains(u"A Keelhaven runs already"));
    EXPECT_FALSE(told.contains(u"start K"));
}

TEST_F(ServiceTest, TellsThatItEndsWithTheSession)
{
    linger = "no\n";
    EXPECT_TRUE(call(ServiceCommand::install).output.contains(u"loginctl enable-linger"));
    EXPECT_FALSE(await(ServiceCommand::examine(&processes, home.paths())).ok);
    linger = "yes\n";
    EXPECT_TRUE(await(ServiceCommand::examine(&processes, home.paths())).ok);
    linger.clear();
    EXPECT_FALSE(call(ServiceCommand::status).output.contains(u"linger"));
}

TEST(ServiceUnitTest, SystemdTakesIt)
{
    const TestHome home;
    const QString front = home.write(u"100% keel haven/keelhaven"_s, "#!/bin/sh\n");
    QFile::setPermissions(front, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString text = ServiceCommand::unitText(front, {{u"XDG_DATA_HOME"_s, u"/a b/$c"_s}});
    const QString file = home.write(u"com.keelhaven.headless.service"_s, text.toUtf8());
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_RUNTIME_DIR"_s, home.path());
    QProcess verify;
    verify.setProcessEnvironment(environment);
    verify.setProcessChannelMode(QProcess::MergedChannels);
    verify.start(u"systemd-analyze"_s,
                 {u"--user"_s, u"verify"_s, u"--man=no"_s, u"--recursive-errors=no"_s, file});
    ASSERT_TRUE(verify.waitForFinished(30'000));
    EXPECT_EQ(verify.exitCode(), 0) << verify.readAll().constData();
}

} // namespace Keelhaven
