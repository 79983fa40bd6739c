#include "App/Commands/InstallCommand.h"

#include "App/Commands/CommandTable.h"
#include "App/Commands/InstallCompletions.h"
#include "App/Commands/InstallDesktop.h"
#include "App/Commands/InstallManPage.h"
#include "App/Commands/InstallManifest.h"
#include "App/Commands/ServiceCommand.h"
#include "App/Commands/TextTable.h"
#include "Platform/Files.h"
#include "Platform/Shell.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace Keelhaven::InstallCommand {

using namespace Qt::StringLiterals;

namespace {

using Piece = InstallManifest::Piece;

QString manifestFile(const KeelhavenPaths &paths)
{
    return paths.appSupportDir + u"/installed.json"_s;
}

/// All that is installed, or why it cannot be.
Result<QList<Piece>, FileError> pieces(const MachineContext &context)
{
    const KeelhavenPaths &paths = context.paths;
    const QString data = InstallDesktop::dataHome(paths);
    const QString icons = data + u"/icons/hicolor"_s;
    const QString program = context.programs + u"/keelhaven"_s;
    QList<QByteArray> resources;
    for (const QString &name : {u"icons/keelhaven.svg"_s, u"icons/ShipOutline.svg"_s,
                                u"desktop/keelhaven.desktop"_s, u"man/keelhaven.1"_s}) {
        auto bytes = readFile(paths.resourcesDir + u'/' + name);
        if (!bytes)
            return failure(std::move(bytes.error()));
        resources.append(*std::move(bytes));
    }
    const auto table = commandTable();
    QList<Piece> list{
        {.path = InstallDesktop::applications(paths) + u'/' + InstallDesktop::entryName.toString(),
         .bytes = InstallDesktop::entry(resources[2], program)},
        {.path = icons + u"/scalable/apps/keelhaven.svg"_s, .bytes = resources[0]},
        {.path = icons + u"/symbolic/apps/keelhaven-symbolic.svg"_s, .bytes = resources[1]},
        {.path = data + u"/bash-completion/completions/keelhaven"_s,
         .bytes = InstallCompletions::bash(table)},
        {.path = data + u"/zsh/site-functions/_keelhaven"_s, .bytes = InstallCompletions::zsh(table)},
        {.path = data + u"/fish/vendor_completions.d/keelhaven.fish"_s,
         .bytes = InstallCompletions::fish(table)},
        {.path = data + u"/man/man1/keelhaven.1"_s,
         .bytes = InstallManPage::page(resources[3], table, QCoreApplication::applicationVersion())}};
    // Programs that lie there themselves need no link.
    const QString folder = paths.home + u"/.local/bin"_s;
    if (resolvedPath(folder) != resolvedPath(context.programs))
        list.append({.path = folder + u"/keelhaven"_s, .target = program});
    return list;
}

QStringList hints(const KeelhavenPaths &paths)
{
    QStringList hints;
    const QString programs = paths.home + u"/.local/bin"_s;
    if (!qEnvironmentVariable("PATH").split(u':').contains(programs))
        hints.append(u"%1 is not on your PATH. Most systems put it there at your next login; for this shell: "
                     "export PATH=%2:\"$PATH\""_s.arg(programs, shellQuoted(programs)));
    if (QFileInfo(userShell()).fileName() == u"zsh")
        hints.append(u"zsh completes keelhaven once its profile says, before compinit: fpath+=(%1)"_s.arg(
            shellQuoted(InstallDesktop::dataHome(paths) + u"/zsh/site-functions"_s)));
    return hints;
}

JSONArray listJSON(const QStringList &texts)
{
    JSONArray array;
    for (const QString &text : texts)
        array.push_back(text);
    return array;
}

JSONArray leftJSON(const QList<InstallManifest::Left> &left)
{
    JSONArray array;
    for (const auto &each : left)
        array.push_back(JSONObject{{u"path"_s, each.path}, {u"reason"_s, each.reason}});
    return array;
}

QString lines(const QString &title, const QStringList &paths)
{
    QString text = paths.isEmpty() ? QString() : title + u'\n';
    for (const QString &path : paths)
        text += u"  "_s + oneLine(path) + u'\n';
    return text;
}

/// What happened, and what a person may still want to do. Exit status 1 when something was in the way.
CommandReply reply(const Arguments &arguments, const MachineContext &context,
                   const InstallManifest::Outcome &outcome, const QStringList &notes, const QString &nothing)
{
    CommandReply reply;
    QString left;
    for (const auto &each : outcome.left) {
        left += u"  %1: %2\n"_s.arg(oneLine(each.path), oneLine(each.reason));
        if (each.isObstacle)
            reply.exit = ExitStatus::Refused;
    }
    if (arguments.wantsJSON()) {
        reply.output = CommandReply::json(JSONObject{{u"written"_s, listJSON(outcome.written)},
                                                     {u"unchanged"_s, listJSON(outcome.unchanged)},
                                                     {u"removed"_s, listJSON(outcome.removed)},
                                                     {u"left"_s, leftJSON(outcome.left)},
                                                     {u"notes"_s, listJSON(notes)}},
                                          context.caller)
                           .output;
    } else {
        reply.output = lines(u"Written:"_s, outcome.written) + lines(u"Removed:"_s, outcome.removed);
        if (!left.isEmpty())
            reply.output += u"Left as it is:\n"_s + left;
        if (reply.output.isEmpty())
            reply.output = nothing + u'\n';
        for (const QString &note : notes)
            reply.output += oneLine(note) + u'\n';
    }
    if (reply.exit == ExitStatus::Refused)
        reply.error = u"keelhaven: Not everything could be done; see what was left as it is.\n"_s;
    return reply;
}

} // namespace

QCoro::Task<CommandReply> install(Arguments arguments, MachineContext context)
{
    const auto wanted = pieces(context);
    if (!wanted)
        co_return CommandReply::refused(
            u"This installation is not complete: %1."_s.arg(oneLine(wanted.error().message())));
    InstallManifest manifest(manifestFile(context.paths));
    auto outcome = manifest.write(*wanted);
    const QStringList entered = manifest.record().entered;
    QStringList notes = co_await InstallDesktop::enter(&context.processes, context.paths, &manifest.record());
    if (const auto error = manifest.save())
        outcome.left.append({manifestFile(context.paths), *error, true});
    for (const QString &list : std::as_const(manifest.record().entered)) {
        if (!entered.contains(list))
            notes.prepend(u"keelhaven:// links are Keelhaven's in %1."_s.arg(list));
    }
    notes += hints(context.paths);
    co_return reply(arguments, context, outcome, notes, u"Everything is in place already."_s);
}

QCoro::Task<CommandReply> uninstall(Arguments arguments, MachineContext context)
{
    InstallManifest manifest(manifestFile(context.paths));
    auto outcome = manifest.remove();
    const QStringList lists =
        co_await InstallDesktop::leave(&context.processes, context.paths, &manifest.record());
    if (const auto error = manifest.save())
        outcome.left.append({manifestFile(context.paths), *error, true});
    QStringList notes;
    for (const QString &list : lists)
        notes.append(u"keelhaven:// links are Keelhaven's no more in %1."_s.arg(list));
    if (ServiceCommand::isInstalled(context.paths))
        notes.append(u"The service is still there; \"keelhaven service remove\" takes it away."_s);
    co_return reply(arguments, context, outcome, notes, u"Nothing is installed."_s);
}

} // namespace Keelhaven::InstallCommand
