#include "Herdr/SystemdHerdrService.h"

#include "HerdrFixture.h"
#include "Platform/QtProcessRunner.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

class SystemdTest : public HerdrFixture
{
protected:
    SystemdTest()
    {
        processes.output = [this](const ProcessSpec &spec) {
            const QString verb = spec.arguments.value(1);
            if (!hasManager || verb == broken)
                return QByteArray();
            return verb == u"show" ? loadedFrom.toUtf8() + '\n' : QByteArray("ok");
        };
    }

    /// Whether it started, and the commands given.
    std::pair<bool, QString> started(const QString &binary)
    {
        processes.runs.clear();
        const bool done = finish(systemd.start(binary, {{u"PATH"_s, u"/a b:/50%"_s}}));
        return {done, verbs()};
    }
    QString verbs()
    {
        QStringList list;
        for (const ProcessSpec &spec : processes.runs) {
            EXPECT_EQ(spec.program, u"systemctl");
            EXPECT_EQ(spec.arguments.value(0), u"--user");
            list.append(spec.arguments.value(1));
        }
        return list.join(u' ');
    }

    const QString unitFile = home.path(u".config/systemd/user/com.keelhaven.herdr.service"_s);
    bool hasManager = true;
    QString broken; ///< the command that fails
    QString loadedFrom = unitFile;
    SystemdHerdrService systemd{processes, home.paths()};
};

TEST_F(SystemdTest, DefinesAndStartsTheUnit)
{
    EXPECT_EQ(started(u"/b/her dr"_s), std::pair(true, u"show-environment daemon-reload show start"_s));
    EXPECT_EQ(processes.runs.last().arguments.last(), u"com.keelhaven.herdr.service");
    EXPECT_EQ(readFile(unitFile).value(),
              "[Unit]\nDescription=Keelhaven terminal sessions\n\n[Service]\nType=exec\n"
              "ExecStart=\"/b/her dr\" server\nEnvironment=\"PATH=/a b:/50%%\"\nRestart=no\n"
              "KillMode=process\n");
    EXPECT_EQ(started(u"/b/her dr"_s).second, u"show-environment daemon-reload show start")
        << "a server of the same binary is not ended";
    EXPECT_EQ(started(u"/c/herdr"_s).second, u"show-environment show stop daemon-reload show start");
    EXPECT_TRUE(readFile(unitFile).value().contains("ExecStart=\"/c/herdr\" server\n"));
    processes.runs.clear();
    finish(systemd.stop());
    EXPECT_EQ(verbs(), u"show stop");
}

TEST_F(SystemdTest, LeavesTheStartToTheCallerWhereItCannotDoIt)
{
    hasManager = false;
    EXPECT_EQ(started(u"/b/herdr"_s), std::pair(false, u"show-environment"_s));
    EXPECT_FALSE(QFileInfo::exists(unitFile));
    hasManager = true;
    broken = u"start"_s;
    EXPECT_FALSE(started(u"/b/herdr"_s).first);
    broken.clear();
    // A program with a home of its own talks to the manager of the user's real one.
    for (const QString &elsewhere : {home.path(u"real/com.keelhaven.herdr.service"_s), QString()}) {
        loadedFrom = elsewhere;
        EXPECT_EQ(started(u"/c/herdr"_s).first, false);
        EXPECT_FALSE(verbs().contains(u" st"_s)) << verbs().toStdString();
        processes.runs.clear();
        finish(systemd.stop());
        EXPECT_EQ(verbs(), u"show");
    }
    QDir(home.path(u".config/systemd"_s)).removeRecursively();
    home.write(u".config/systemd"_s, "a file in the way");
    EXPECT_FALSE(started(u"/c/herdr"_s).first);
}

TEST_F(SystemdTest, SystemdItselfAcceptsTheUnit)
{
    const QString unit = SystemdHerdrService::unitText(
        executable(u"a $b 50% ü/her dr"_s),
        {{u"PATH"_s, u"/a b:/50%:$HOME:\"q\":\\ "_s}, {u"LINES"_s, u"one\ntwo"_s}, {u"EMPTY"_s, QString()}});
    EXPECT_TRUE(unit.contains(u"a $b 50%% ü/her dr\" server\n"_s)) << unit.toStdString();
    EXPECT_TRUE(unit.contains(u"Environment=\"LINES=one\\ntwo\"\n"_s)) << unit.toStdString();
    EXPECT_TRUE(unit.contains(u"Environment=\"PATH=/a b:/50%%:$HOME:\\\"q\\\":\\\\ \"\n"_s))
        << unit.toStdString();
    if (QStandardPaths::findExecutable(u"systemd-analyze"_s).isEmpty())
        return;
    ProcessSpec verify;
    verify.program = u"systemd-analyze"_s;
    verify.arguments = QStringList{u"--user"_s, u"verify"_s, u"--recursive-errors=no"_s,
                                   home.write(u"units/com.keelhaven.herdr.service"_s, unit.toUtf8())};
    verify.environment.insert(u"XDG_RUNTIME_DIR"_s, home.path());
    verify.errors = ProcessSpec::Errors::Merge;
    QtProcessRunner real;
    const ProcessResult result = await(real.run(verify));
    EXPECT_TRUE(result.succeeded()) << result.output.toStdString() << unit.toStdString();
    EXPECT_EQ(result.output, QByteArray());
}

} // namespace
} // namespace Keelhaven
