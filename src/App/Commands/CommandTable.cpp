#include "App/Commands/CommandTable.h"

#include "App/Commands/AgentCommands.h"
#include "App/Commands/AgentOptions.h"
#include "App/Commands/RunCommands.h"
#include "App/Commands/ScheduleOptions.h"

namespace Keelhaven {

std::span<const CommandSpec> commandTable()
{
    using enum OptionForm;
    static const std::vector<CommandSpec> table{
        {.path = u"agents list", .summary = u"List the agents", .options = {}, .run = AgentCommands::list},
        {.path = u"agents add",
         .summary = u"Add an agent",
         .options = AgentOptions::table(),
         .run = AgentCommands::add,
         .check = AgentCommands::checkAdd,
         .notes = u"An agent needs a name, a folder, a command and one schedule. It fires only once it is "
                  u"enabled."},
        {.path = u"agents edit",
         .summary = u"Change an agent; what is not named stays",
         .operand = u"AGENT",
         .options = AgentOptions::table(),
         .run = AgentCommands::edit,
         .check = ScheduleOptions::checkTogether},
        {.path = u"agents enable",
         .summary = u"Let an agent fire on its schedule",
         .operand = u"AGENT",
         .options = {},
         .run = AgentCommands::enable},
        {.path = u"agents disable",
         .summary = u"Keep an agent from firing",
         .operand = u"AGENT",
         .options = {},
         .run = AgentCommands::disable},
        {.path = u"agents delete",
         .summary = u"Delete an agent; its runs stay in the history",
         .operand = u"AGENT",
         .options = {},
         .run = AgentCommands::remove},
        {.path = u"agents run",
         .summary = u"Queue a run of the agent in each of its folders",
         .operand = u"AGENT",
         .options = {},
         .run = AgentCommands::run},
        {.path = u"runs list",
         .summary = u"List finished runs, newest first",
         .options = {{.name = u"all", .form = Flag, .help = u"Every run, hidden ones too"},
                     {.name = u"limit",
                      .form = Value,
                      .value = u"N",
                      .help = u"At most N runs (20, or all of them with --all)",
                      .check = RunCommands::checkLimit},
                     {.name = u"agent", .form = Value, .value = u"AGENT", .help = u"Only this agent's runs"}},
         .run = RunCommands::list},
        {.path = u"runs show",
         .summary = u"Show a waiting, live or finished run",
         .operand = u"RUN",
         .options = {},
         .run = RunCommands::show},
        {.path = u"runs stop",
         .summary = u"End a live run, or take a waiting one out of the queue",
         .operand = u"RUN",
         .options = {},
         .run = RunCommands::stop},
        {.path = u"runs remove",
         .summary = u"Remove a finished run and all its files",
         .operand = u"RUN",
         .options = {},
         .run = RunCommands::remove},
        {.path = u"status",
         .summary = u"Show what runs, what waits and what fires next",
         .options = {},
         .run = RunCommands::status},
        {.path = u"watch",
         .summary = u"Print what happens as it happens, until interrupted",
         .options = {{.name = u"until-run-ends",
                      .form = Value,
                      .value = u"RUN",
                      .help = u"Stop when this run has ended"}},
         .kind = CommandKind::Watch},
        {.path = u"open",
         .summary = u"Deliver a keelhaven:// link",
         .operand = u"LINK",
         .options = {},
         .run = RunCommands::open},
        {.path = u"doctor",
         .summary = u"Check what Keelhaven needs on this machine; works without a running Keelhaven",
         .options = {},
         .kind = CommandKind::Doctor},
    };
    return table;
}

} // namespace Keelhaven
