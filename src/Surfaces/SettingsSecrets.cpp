#include "Surfaces/SettingsSecrets.h"

#include <array>

namespace Keelhaven::SettingsSecrets {

using namespace Qt::StringLiterals;

std::span<const SettingsSecretRow> rows()
{
    static constexpr std::array all{
        SettingsSecretRow{.section = u"Telegram",
                          .service = u"com.keelhaven.telegram-bot",
                          .label = u"Bot token",
                          .placeholder = u"What BotFather gave the bot"},
        SettingsSecretRow{.section = u"Slack",
                          .service = u"com.keelhaven.slack-bot",
                          .label = u"Bot User OAuth token",
                          .placeholder = u"xoxb-…"},
        SettingsSecretRow{.section = u"Slack",
                          .service = u"com.keelhaven.slack-app",
                          .label = u"App-Level token",
                          .placeholder = u"xapp-…"},
    };
    return all;
}

Result<QString, QString> check(const QString &text, qsizetype longest)
{
    const QString secret = text.trimmed();
    if (secret.isEmpty())
        return failure(u"There is nothing to keep."_s);
    if (secret.toUtf8().size() > longest)
        return failure(u"A secret has at most %1 bytes."_s.arg(longest));
    for (const QChar character : secret) {
        if (character.category() == QChar::Other_Control)
            return failure(u"A secret is one line of text."_s);
    }
    return secret;
}

} // namespace Keelhaven::SettingsSecrets
