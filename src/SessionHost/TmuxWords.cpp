#include "SessionHost/TmuxWords.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

void appendWord(QByteArray &line, const QByteArray &word)
{
    line.append('"');
    for (const char byte : word) {
        const auto value = static_cast<unsigned char>(byte);
        // A "~" in front becomes a home folder even inside the quotes; 0xff would be the end of the input.
        if (byte == '"' || byte == '\\' || byte == '$' || byte == '~') {
            line.append('\\').append(byte);
        } else if (value < 0x20 || value == 0x7f || value == 0xff) {
            line.append('\\').append(QByteArray::number(value, 8).rightJustified(3, '0'));
        } else {
            line.append(byte);
        }
    }
    line.append('"');
}

} // namespace

QByteArray tmuxLine(const QByteArrayList &words)
{
    QByteArray line;
    for (const QByteArray &word : words) {
        if (!line.isEmpty())
            line.append(' ');
        appendWord(line, word);
    }
    return line;
}

QByteArray tmuxLiteral(const QString &text)
{
    // "##" stands for "#", but a run of "#" in front of "[" is kept as it is, for tmux's style marks.
    QString literal;
    for (qsizetype i = 0; i < text.size();) {
        qsizetype end = i;
        while (end < text.size() && text[end] == u'#')
            ++end;
        if (end == i) {
            literal.append(text[i++]);
            continue;
        }
        const bool beforeBracket = end < text.size() && text[end] == u'[';
        literal.append(QString((end - i) * (beforeBracket ? 1 : 2), u'#'));
        i = end;
    }
    return literal.toUtf8();
}

QString tmuxName(const QString &label)
{
    QString name;
    for (const QChar c : label.left(60)) {
        const bool isUnfit = c.category() == QChar::Other_Control || c == u'.' || c == u':' || c == u'#';
        name.append(isUnfit ? u'_' : c);
    }
    if (!name.isEmpty() && name.back().isHighSurrogate())
        name.chop(1);
    return name.trimmed().isEmpty() ? u"terminal"_s : name;
}

} // namespace Keelhaven
