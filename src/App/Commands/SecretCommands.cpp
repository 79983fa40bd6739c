#include "App/Commands/SecretCommands.h"

#include "App/AppModel.h"
#include "App/Commands/TextTable.h"
#include "Platform/KeychainStore.h"

#include <QStringDecoder>

namespace Keelhaven::SecretCommands {

using namespace Qt::StringLiterals;

namespace {

/// One line of text, without the line end that a shell or an editor adds; else what is wrong with the input.
Result<QString, QString> secretFrom(const QByteArray &input)
{
    const QByteArray bytes = input.trimmed();
    if (bytes.size() > KeychainStore::longestSecret)
        return failure(u"A secret has at most %1 bytes."_s.arg(KeychainStore::longestSecret));
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = QString(decoder.decode(bytes)).trimmed();
    if (decoder.hasError())
        return failure(u"Standard input is no text."_s);
    if (text.isEmpty())
        return failure(u"Standard input holds no secret."_s);
    for (const QChar character : text) {
        if (character.category() == QChar::Other_Control)
            return failure(u"A secret is one line of text."_s);
    }
    return text;
}

CommandReply done(const Arguments &arguments, const CommandContext &context, bool isSet)
{
    if (arguments.wantsJSON())
        return CommandReply::json(JSONObject{{u"service"_s, arguments.operand()}, {u"isSet"_s, isSet}},
                                  context);
    const QString sentence = isSet ? u"The secret of %1 is kept."_s : u"%1 has no secret any more."_s;
    return CommandReply::done(sentence.arg(arguments.operand()));
}

CommandReply refused(const Arguments &arguments, const QString &what, const SecretError &error)
{
    return CommandReply::refused(
        u"The secret of %1 %2: %3."_s.arg(arguments.operand(), what, oneLine(error.message())));
}

} // namespace

QCoro::Task<CommandReply> set(Arguments arguments, CommandContext context)
{
    const auto secret = secretFrom(context.input.value_or(QByteArray()));
    if (!secret)
        co_return CommandReply::refused(secret.error());
    const auto kept = co_await context.model->keychain().set(*secret, arguments.operand());
    if (!kept)
        co_return refused(arguments, u"could not be kept"_s, kept.error());
    co_return done(arguments, context, true);
}

QCoro::Task<CommandReply> delete_(Arguments arguments, CommandContext context)
{
    const auto removed = co_await context.model->keychain().delete_(arguments.operand());
    if (!removed)
        co_return refused(arguments, u"could not be removed"_s, removed.error());
    co_return done(arguments, context, false);
}

std::optional<QString> checkService(const Arguments &arguments)
{
    if (KeychainStore::isServiceName(arguments.operand()))
        return std::nullopt;
    return u"\"%1\" is no name of a service: letters, digits, dots and dashes"_s.arg(
        oneLine(arguments.operand()));
}

QString servicesText()
{
    return u"Services:\n"
           "  com.keelhaven.telegram-bot  the token of the Telegram bot\n"
           "  com.keelhaven.slack-bot     the Slack app's Bot User OAuth token (xoxb-…)\n"
           "  com.keelhaven.slack-app     the Slack app's App-Level token (xapp-…)\n\n"
           "A secret is read from standard input, so that it stands in no history and no process list:\n"
           "  keelhaven secret set com.keelhaven.telegram-bot < token.txt\n"_s;
}

} // namespace Keelhaven::SecretCommands
