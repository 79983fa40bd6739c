#include "App/Commands/PluginsCommand.h"

#include "App/Commands/TextTable.h"
#include "Platform/Clock.h"
#include "Platform/Tasks.h"
#include "Plugins/PluginInventory.h"

namespace Keelhaven::PluginsCommand {

using namespace Qt::StringLiterals;

namespace {

/// "user" or "project /work/app", and whether it is still there.
QString place(const PluginInstall &install)
{
    QStringList words{install.scope.value_or(u"?"_s)};
    if (install.projectPath)
        words.append(*install.projectPath);
    if (install.missing)
        words.append(u"(missing)"_s);
    return oneLine(words.join(u' '));
}

/// The distinct versions and places of a plugin's installs.
void addRow(TextTable &table, const PluginRecord &plugin)
{
    QStringList versions;
    QStringList places;
    for (const auto &install : plugin.installs) {
        if (install.version)
            versions.append(oneLine(*install.version));
        places.append(place(install));
    }
    versions.removeDuplicates();
    places.removeDuplicates();
    table.addRow({oneLine(plugin.id), versions.join(u", "_s), plugin.enabledUser ? u"on"_s : u"off"_s,
                  places.join(u", "_s)});
}

QString text(const PluginInventory &inventory, int columns)
{
    TextTable table({u"PLUGIN"_s, u"VERSION"_s, u"USER"_s, u"INSTALLED"_s});
    for (const auto &plugin : inventory.plugins)
        addRow(table, plugin);
    QString text = table.isEmpty() ? u"No plugins are installed.\n"_s : table.text(columns);
    for (const QString &id : inventory.orphans)
        text += u"%1 is switched on, and not installed.\n"_s.arg(oneLine(id));
    for (const QString &notice : inventory.notices)
        text += oneLine(notice) + u'\n';
    return text;
}

} // namespace

QCoro::Task<CommandReply> list(Arguments arguments, MachineContext context)
{
    auto work = [claudeDir = context.paths.claudeDir(), now = context.clock.now(),
                 calendar = Calendar::current()] {
        return PluginInventory::scanShape(claudeDir, now, calendar);
    };
    const JSONObject shape = co_await onPool(std::move(work));
    if (arguments.wantsJSON())
        co_return CommandReply::json(shape, context.caller);
    co_return CommandReply{.output = text(PluginInventory::fromJSON(shape), context.caller.columns)};
}

} // namespace Keelhaven::PluginsCommand
