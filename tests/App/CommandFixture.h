#pragma once

#include "App/Commands/CommandTable.h"
#include "Scheduler/EngineFixture.h"

namespace Keelhaven {

/// Commands called as the running instance calls them, on an engine whose sessions are values.
class CommandTest : public EngineTest
{
protected:
    /// Valid until the next one is made.
    CommandContext context()
    {
        m_passing.clear();
        for (const auto &record : engine->launching())
            m_passing.insert(record.id, {record, false});
        for (const auto &run : engine->closing())
            m_passing.insert(run->record.id, {run->record, true});
        return {.caller = caller,
                .engine = *engine,
                .settings = settings,
                .paths = m_paths,
                .passing = m_passing,
                .now = clock.now(),
                .calendar = calendar,
                .usage = &usage};
    }
    CommandReply call(const QStringList &words)
    {
        caller.arguments = words;
        const auto parsed = parseCommandLine(words, commandTable());
        const auto &[command, arguments] = std::get<ParsedCommand>(parsed);
        return command->run ? command->run(arguments, context())
                            : await(command->runTask(arguments, context()));
    }
    /// What a call prints, or why it is refused.
    QString said(const QStringList &words)
    {
        const CommandReply reply = call(words);
        EXPECT_EQ(reply.exit == ExitStatus::Done, reply.error.isEmpty()) << words.join(u' ').toStdString();
        QString text = reply.output;
        if (reply.listing) {
            for (QByteArray piece; !(piece = reply.listing()).isEmpty();)
                text += QString::fromUtf8(piece);
        }
        return (text + reply.error).trimmed();
    }

    ControlCaller caller{{}, home.path(), 0, false};

private:
    KeelhavenPaths m_paths = home.paths();
    QMap<QUuid, PassingRun> m_passing;
};

} // namespace Keelhaven
