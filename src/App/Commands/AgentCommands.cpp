#include "App/Commands/AgentCommands.h"

#include "App/Commands/AgentOptions.h"
#include "App/Commands/Lookup.h"
#include "App/Commands/ScheduleOptions.h"
#include "App/Commands/TemplateCommands.h"
#include "App/Commands/TextTable.h"
#include "Contract/PluginCacheGuard.h"
#include "Platform/Files.h"
#include "Scheduler/Model/SlotTemplate.h"
#include "Scheduler/SchedulerEngine.h"

#include <algorithm>

namespace Keelhaven::AgentCommands {

using namespace Qt::StringLiterals;

namespace {

JSONValue agentJSON(const SchedulerSlot &slot)
{
    return encodeRecord(slot);
}

QString described(const SchedulerSlot &slot)
{
    return u"\"%1\" (%2)"_s.arg(oneLine(slot.name), shortID(slot.id));
}

QString nextFireText(const SchedulerSlot &slot, const CommandContext &context)
{
    const auto next = slot.enabled ? slot.nextFireDate(context.now, context.calendar) : std::nullopt;
    return next ? localTime(*next, context.calendar) : QString();
}

QString scheduleText(const SchedulerSlot &slot, const CommandContext &context)
{
    return slot.captainDecides ? u"captain decides"_s : slot.schedule.summary(context.calendar);
}

/// The slot that --file names; nothing without the option.
Result<std::optional<SchedulerSlot>, QString> slotFromFile(const Arguments &arguments,
                                                           const CommandContext &context)
{
    const auto name = arguments.value(u"file");
    if (!name)
        return std::nullopt;
    QByteArray bytes = context.input.value_or(QByteArray());
    if (*name != u"-"_s) {
        const auto path = AgentOptions::absolutePath(*name, context.caller.workingDirectory);
        if (!path)
            return failure(path.error());
        const auto content = readFile(expandTilde(*path, context.paths.home));
        if (!content)
            return failure(content.error().message() + u'.');
        bytes = *content;
    }
    auto slot = decodeRecordBytes<SchedulerSlot>(bytes);
    if (!slot)
        return failure(u"%1 is no agent: %2."_s.arg(*name == u"-"_s ? u"Standard input"_s : *name,
                                                    slot.error().message()));
    return *std::move(slot);
}

bool waitsForInput(const Arguments &arguments, const CommandContext &context)
{
    return arguments.value(u"file") == u"-"_s && !context.input;
}

/// Lays the options over the slot and hands it to the engine, unless something keeps it from being saved.
CommandReply save(const SchedulerSlot &base, const Arguments &arguments, const CommandContext &context,
                  const QString &verb)
{
    const auto slot = AgentOptions::apply(base, arguments,
                                          {context.caller.workingDirectory, context.calendar, context.now});
    if (!slot)
        return CommandReply::refused(slot.error());
    const PluginCacheGuard guard(context.paths.home);
    const auto isForbidden = [&](const QString &folder) {
        return guard.isForbidden(expandTilde(folder, context.paths.home));
    };
    if (const auto hint = slot->saveHint(isForbidden))
        return CommandReply::refused(*hint);
    context.engine.upsert(*slot);
    const auto saved = context.engine.slot(slot->id).value_or(*slot);
    CommandReply reply;
    if (arguments.wantsJSON()) {
        reply = CommandReply::json(agentJSON(saved), context);
    } else {
        const QString state = saved.enabled ? u"enabled"_s : u"disabled"_s;
        reply = CommandReply::done(
            u"%1 %2, %3, %4."_s.arg(verb, described(saved), scheduleText(saved, context), state));
    }
    if (const auto &error = context.engine.lastWorkspaceError())
        reply.error = u"keelhaven: The agent is saved, but its workspace is not ready: %1\n"_s.arg(*error);
    return reply;
}

CommandReply setEnabled(const Arguments &arguments, const CommandContext &context, bool enabled)
{
    auto slot = findAgent(context.engine.slotList(), arguments.operand());
    if (!slot)
        return CommandReply::refused(slot.error());
    if (enabled && !supportsScheduling(slot->provider))
        return CommandReply::refused(
            u"%1 agents do not fire on a schedule; start this one with \"keelhaven agents run\"."_s.arg(
                label(slot->provider)));
    slot->enabled = enabled;
    context.engine.upsert(*slot);
    const auto saved = context.engine.slot(slot->id).value_or(*slot);
    if (arguments.wantsJSON())
        return CommandReply::json(agentJSON(saved), context);
    const QString next = nextFireText(saved, context);
    if (!enabled)
        return CommandReply::done(u"Disabled %1."_s.arg(described(saved)));
    return CommandReply::done(next.isEmpty()
                                  ? u"Enabled %1; its schedule never fires again."_s.arg(described(saved))
                                  : u"Enabled %1; it fires next at %2."_s.arg(described(saved), next));
}

} // namespace

std::vector<OptionSpec> addOptions()
{
    auto options = AgentOptions::table();
    options.push_back({.name = u"template",
                       .form = OptionForm::Value,
                       .value = u"TEMPLATE",
                       .help = u"Start from a ready-made agent",
                       .check = TemplateCommands::checkID});
    return options;
}

std::optional<QString> checkAdd(const Arguments &arguments)
{
    if (const auto wrong = ScheduleOptions::checkTogether(arguments))
        return wrong;
    if (arguments.has(u"template") && arguments.has(u"file"))
        return u"give one of --template and --file"_s;
    for (const QString &option :
         {u"file"_s, u"template"_s, u"daily"_s, u"weekly"_s, u"every-hours"_s, u"once"_s}) {
        if (arguments.has(option))
            return std::nullopt;
    }
    return u"a schedule is missing: give --daily, --weekly, --every-hours, --once, --template or --file"_s;
}

CommandReply list(const Arguments &arguments, const CommandContext &context)
{
    const auto &agents = context.engine.slotList();
    if (arguments.wantsJSON())
        return CommandReply::json(JSONCodec<QList<SchedulerSlot>>::encode(agents), context);
    if (agents.isEmpty())
        return CommandReply::done(u"No agents yet; \"keelhaven agents add\" makes one."_s);
    TextTable table({u"AGENT"_s, u"NAME"_s, u"ON"_s, u"PROVIDER"_s, u"SCHEDULE"_s, u"NEXT"_s, u"FOLDERS"_s});
    for (const auto &slot : agents) {
        const QString provider =
            slot.model ? enumText(slot.provider) + u' ' + *slot.model : enumText(slot.provider);
        table.addRow({shortID(slot.id), slot.name, slot.enabled ? u"yes"_s : u"no"_s, provider,
                      scheduleText(slot, context), nextFireText(slot, context), slot.cwds.join(u", "_s)});
    }
    return {.output = table.text(context.caller.columns)};
}

CommandReply add(const Arguments &arguments, const CommandContext &context)
{
    if (waitsForInput(arguments, context))
        return {.needsInput = true};
    const auto fromFile = slotFromFile(arguments, context);
    if (!fromFile)
        return CommandReply::refused(fromFile.error());
    SchedulerSlot base;
    if (*fromFile)
        base = **fromFile;
    else if (const auto id = arguments.value(u"template"))
        base = SlotTemplate::named(*id)->makeSlot();
    else
        base.setModelChoice(userDefaultChoice(context.settings));
    if (context.engine.slot(base.id))
        return CommandReply::refused(
            u"An agent with the id %1 exists; change it with \"keelhaven agents edit\"."_s.arg(
                uuidText(base.id)));
    return save(base, arguments, context, u"Added"_s);
}

CommandReply edit(const Arguments &arguments, const CommandContext &context)
{
    // The agent is looked up first: nobody types a whole slot for an agent that is not there.
    const auto slot = findAgent(context.engine.slotList(), arguments.operand());
    if (!slot)
        return CommandReply::refused(slot.error());
    if (waitsForInput(arguments, context))
        return {.needsInput = true};
    const auto fromFile = slotFromFile(arguments, context);
    if (!fromFile)
        return CommandReply::refused(fromFile.error());
    SchedulerSlot base = fromFile->value_or(*slot);
    base.id = slot->id;
    return save(base, arguments, context, u"Changed"_s);
}

CommandReply enable(const Arguments &arguments, const CommandContext &context)
{
    return setEnabled(arguments, context, true);
}

CommandReply disable(const Arguments &arguments, const CommandContext &context)
{
    return setEnabled(arguments, context, false);
}

CommandReply remove(const Arguments &arguments, const CommandContext &context)
{
    const auto slot = findAgent(context.engine.slotList(), arguments.operand());
    if (!slot)
        return CommandReply::refused(slot.error());
    context.engine.deleteSlot(slot->id);
    if (arguments.wantsJSON())
        return CommandReply::json(agentJSON(*slot), context);
    return CommandReply::done(u"Deleted %1; its runs stay in the history."_s.arg(described(*slot)));
}

CommandReply run(const Arguments &arguments, const CommandContext &context)
{
    const auto slot = findAgent(context.engine.slotList(), arguments.operand());
    if (!slot)
        return CommandReply::refused(slot.error());
    if (slot->cwds.isEmpty())
        return CommandReply::refused(
            u"%1 has no project folder, so there is nothing to run."_s.arg(described(*slot)));
    const auto ids = context.engine.enqueue(*slot);
    if (ids.isEmpty())
        return CommandReply::refused(u"%1 has nothing to do now."_s.arg(described(*slot)));
    if (arguments.wantsJSON())
        return CommandReply::json(JSONCodec<QList<QUuid>>::encode(ids), context);
    QString lines;
    for (const auto &id : ids)
        lines += u"Queued run %1 of \"%2\".\n"_s.arg(uuidText(id), oneLine(slot->name));
    return {.output = lines};
}

} // namespace Keelhaven::AgentCommands
