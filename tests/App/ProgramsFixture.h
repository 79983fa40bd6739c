#pragma once

#include "Contract/JSONValue.h"
#include "Contract/KeelhavenPaths.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QProcess>
#include <csignal>
#include <gtest/gtest.h>

namespace Keelhaven {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

/// What a call of the front came to.
struct Answer
{
    int status = -1;
    QString output;
    QString error;

    [[nodiscard]] JSONValue json() const { return JSONValue::parse(output.toUtf8()).value_or(JSONValue()); }
};

/// The programs as a user meets them: the real front, the real application, no terminal host.
class ProgramsTest : public ::testing::Test
{
protected:
    ProgramsTest()
    {
        QDir().mkpath(m_home.path(u".run"_s));
        QDir().mkpath(m_home.path(u"project"_s));
        m_environment.insert(u"HOME"_s, m_home.path());
        m_environment.insert(u"PATH"_s, u"/usr/bin:/bin"_s);
        m_environment.insert(u"SHELL"_s, u"/bin/sh"_s);
        m_environment.insert(u"LANG"_s, u"C.UTF-8"_s);
        m_environment.insert(u"TZ"_s, u"UTC"_s);
        m_environment.insert(u"XDG_RUNTIME_DIR"_s, m_home.path(u".run"_s));
        m_environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, u"unix:path="_s + m_home.path(u".run/no-bus"_s));
        // What the sanitizers' runtime is told holds for the programs, too.
        for (const char *name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"}) {
            if (qEnvironmentVariableIsSet(name))
                m_environment.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
        }
    }

    ~ProgramsTest() override
    {
        stop(SIGTERM);
        // The installed host's folder is read-only.
        const QDir versions(m_home.path(u".local/share/keelhaven/herdr"_s));
        for (const QString &name : versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            QFile::setPermissions(versions.filePath(name),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    void prepare(QProcess &process, const QStringList &words) const
    {
        process.setProcessEnvironment(m_environment);
        process.setWorkingDirectory(m_home.path(u"project"_s));
        process.setProgram(QStringLiteral(KEELHAVEN_BIN_DIR "/keelhaven"));
        process.setArguments(words);
    }

    Answer keelhaven(const QStringList &words, const QByteArray &input = {}) const
    {
        QProcess process;
        prepare(process, words);
        process.start();
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(30'000))
            return {};
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    void start(const QStringList &words = {u"--headless"_s})
    {
        prepare(m_instance, words);
        m_instance.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_instance.start();
        ASSERT_TRUE(waitUntil([this] { return keelhaven({u"status"_s}).status == 0; }));
    }

    /// The instance's exit status; -2 when the signal killed it.
    int stop(int number)
    {
        if (m_instance.state() == QProcess::NotRunning)
            return -1;
        ::kill(static_cast<pid_t>(m_instance.processId()), number);
        if (!m_instance.waitForFinished(10'000))
            return -1;
        return m_instance.exitStatus() == QProcess::NormalExit ? m_instance.exitCode() : -2;
    }

    TestHome m_home;
    QProcessEnvironment m_environment;
    QProcess m_instance;
};

inline const QStringList addNightly{u"agents"_s, u"add"_s,       u"--name"_s,   u"Nightly"_s, u"--cwd"_s,
                                    u"."_s,      u"--command"_s, u"Tidy up."_s, u"--daily"_s, u"09:00"_s};

} // namespace Keelhaven
