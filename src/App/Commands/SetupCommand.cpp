#include "App/Commands/SetupCommand.h"

#include "App/Commands/InstallDesktop.h"
#include "App/Commands/ServiceCommand.h"
#include "App/Commands/TextTable.h"
#include "Contract/SettingsCatalog.h"
#include "Contract/SweepBlockedReason.h"
#include "Platform/Clock.h"
#include "Platform/Shell.h"
#include "Setup/SetupChecklist.h"
#include "Setup/UpdateTransport.h"

namespace Keelhaven::SetupCommand {

using namespace Qt::StringLiterals;

namespace {

/// What is typed to get the row its tick; empty when nothing is known.
QString nextStep(const SetupRow &row, const SetupChecklist &checklist)
{
    switch (row.action) {
    case SetupAction::installClaude:
    case SetupAction::installDeveloperTools:
        // Where nobody could look, it may well be there.
        return checklist.shellAnswers() ? row.command.value_or(QString()) : QString();
    case SetupAction::openTerminal:
        return u"claude"_s;
    case SetupAction::chooseFolder:
        if (const auto folder = checklist.folderToMake())
            return u"mkdir -p "_s + shellQuoted(*folder);
        return u"keelhaven settings set keelhavenRunDirectory ~/Code"_s;
    case SetupAction::none:
        break;
    }
    return {};
}

QString text(const SetupChecklist &checklist)
{
    const auto rows = checklist.rows();
    qsizetype width = 0;
    for (const auto &row : rows)
        width = std::max(width, row.title.size());
    QString text = u"%1\n%2\n\n"_s.arg(SetupRows::title, SetupRows::subtitle);
    QString next;
    for (const auto &row : rows) {
        text += u"%1 %2  %3\n"_s.arg(row.passed ? u"✓"_s : u"○"_s, row.title.leftJustified(width),
                                     oneLine(row.detail));
        if (const QString step = nextStep(row, checklist); !row.passed && !step.isEmpty())
            next += u"  %1\n"_s.arg(step);
    }
    if (checklist.allPassed())
        return text + u"\nEverything is there. Add an agent with \"keelhaven agents add --help\".\n"_s;
    if (const QString note = checklist.note(); !note.isEmpty()) {
        text += u'\n' + oneLine(note) + u'\n';
        next.prepend(u"  %1 -lc 'echo \"$PATH\"' </dev/null\n"_s.arg(userShell()));
    }
    if (!next.isEmpty())
        text += u"\nTo do next:\n"_s + next;
    text += u"\nThen call this again."_s;
    return text + (checklist.done() ? u"\n"_s : u" \"keelhaven setup --skip\" ends setup as it is.\n"_s);
}

JSONValue json(const SetupChecklist &checklist)
{
    return JSONObject{{u"rows"_s, JSONCodec<QList<SetupRow>>::encode(checklist.rows())},
                      {u"allPassed"_s, checklist.allPassed()},
                      {u"done"_s, checklist.done()},
                      {u"loginShellAnswers"_s, checklist.shellAnswers()}};
}

DoctorCheck updates(const SettingsStore &settings)
{
    const QString name = u"updates"_s;
    if (UpdatePlaces::endpoint().isEmpty())
        return {name, true, u"this build was not told where releases are announced, and asks nobody"_s};
    const auto checked = Setting::read(settings, Setting::updateLastCheckedAt);
    return {name, true,
            checked ? u"last checked %1"_s.arg(localTime(dateFromSeconds(*checked), Calendar::current()))
                    : u"not checked yet"_s};
}

DoctorCheck links(const KeelhavenPaths &paths)
{
    const QString name = u"links"_s;
    if (InstallDesktop::opensLinks(paths))
        return {name, true, u"the desktop gives keelhaven:// links to Keelhaven"_s};
    return {
        name, false,
        u"the desktop does not know who opens keelhaven:// links, nor the menu Keelhaven: run \"keelhaven "
        "install\"."_s};
}

DoctorCheck projectsFolder(const SettingsStore &settings, const KeelhavenPaths &paths)
{
    const QString name = u"projects folder"_s;
    if (const auto blocked = sweepBlockedReason(settings, paths.home))
        return {name, false, u"%1 (\"keelhaven setup\" tells what to do)"_s.arg(*blocked)};
    return {name, true, Setting::runDirectory(settings, paths.home).value_or(QString())};
}

} // namespace

QCoro::Task<CommandReply> setup(Arguments arguments, MachineContext context)
{
    SetupChecklist &checklist = context.checklist;
    // A check that is under way may have begun before what the caller just changed.
    while (checklist.checking()) {
        const bool slept = co_await context.clock.sleep(std::chrono::milliseconds(100));
        if (!slept)
            co_return CommandReply::refused(u"Keelhaven is about to quit."_s);
    }
    co_await checklist.refresh(true);
    if (arguments.isSet(u"skip"))
        checklist.skip();
    if (arguments.wantsJSON())
        co_return CommandReply::json(json(checklist), context.caller);
    co_return CommandReply{.output = text(checklist)};
}

QCoro::Task<QList<DoctorCheck>> examine(ProcessRunner *processes, SettingsStore *settings,
                                        KeelhavenPaths paths)
{
    const ServiceStatus service = co_await ServiceCommand::examine(processes, paths);
    co_return QList<DoctorCheck>{projectsFolder(*settings, paths),
                                 links(paths),
                                 {u"service"_s, service.ok, service.detail},
                                 updates(*settings)};
}

} // namespace Keelhaven::SetupCommand
