#include "Scheduler/Prompt/PromptTokenizer.h"

#include <algorithm>

namespace Keelhaven::PromptTokenizer {

using namespace Qt::StringLiterals;

namespace {

bool isNameCharacter(char32_t character)
{
    return QChar::isLetter(character) || QChar::isDigit(character) || QChar::isMark(character) ||
           character == U'-' || character == U'_' || character == U':';
}

bool isName(QStringView text)
{
    for (qsizetype at = 0; at < text.size(); ++at) {
        char32_t character = text.at(at).unicode();
        if (text.at(at).isHighSurrogate() && at + 1 < text.size() && text.at(at + 1).isLowSurrogate()) {
            character = QChar::surrogateToUcs4(text.at(at), text.at(at + 1));
            ++at;
        }
        if (!isNameCharacter(character))
            return false;
    }
    return true;
}

} // namespace

std::optional<PromptToken> activeToken(const QString &text, qsizetype caret)
{
    if (caret < 0 || caret > text.size())
        return std::nullopt;
    qsizetype start = caret;
    while (start > 0 && !text.at(start - 1).isSpace())
        --start;
    const QString token = text.sliced(start, caret - start);
    if (start == 0 && token.startsWith(u'/') && isName(QStringView(token).sliced(1)))
        return PromptToken{PromptToken::Kind::SlashCommand, token.sliced(1), start, token.size()};
    if (token.startsWith(u"~/"_s) || token.startsWith(u"./"_s) || token.startsWith(u'/'))
        return PromptToken{PromptToken::Kind::Path, token, start, token.size()};
    return std::nullopt;
}

std::optional<LeadingCommand> leadingSlashCommand(const QString &text)
{
    if (!text.startsWith(u'/'))
        return std::nullopt;
    const auto end = std::ranges::find_if(text, [](QChar character) { return character.isSpace(); });
    const QString name = text.sliced(1, end - text.begin() - 1);
    if (!isName(name))
        return std::nullopt;
    return LeadingCommand{name, end != text.end()};
}

std::optional<QString> commandName(const QString &text)
{
    const auto command = leadingSlashCommand(text);
    return command && !command->name.isEmpty() ? std::optional(command->name) : std::nullopt;
}

} // namespace Keelhaven::PromptTokenizer
