#include "Platform/LoginShell.h"

#include "Platform/Shell.h"

namespace Keelhaven::LoginShell {

using namespace Qt::StringLiterals;

namespace {

/// A line of its own before and after the answer.
constexpr QByteArrayView mark = "--keelhaven-login-shell--";

} // namespace

QStringList arguments(const QString &shell, const QString &command)
{
    const QString marks = QString::fromLatin1(mark);
    // One line without backslashes or exclamation marks: no shell takes such a word apart in single quotes.
    const QString script = u"echo; echo %1; %2; echo; echo %1"_s.arg(marks, command);
    return loginShellArguments(shell, u"exec /bin/sh -c "_s + shellQuoted(script));
}

std::optional<QString> answer(const QByteArray &output)
{
    const QByteArray line = '\n' + mark.toByteArray() + '\n';
    const auto begin = output.indexOf(line);
    const auto from = begin + line.size();
    const auto end = begin < 0 ? -1 : output.indexOf(line, from - 1);
    if (end < 0)
        return std::nullopt;
    return QString::fromUtf8(output.sliced(from, std::max<qsizetype>(end - from, 0))).trimmed();
}

QByteArray framed(const QByteArray &answer)
{
    const QByteArray line = mark.toByteArray() + '\n';
    return '\n' + line + answer + '\n' + line;
}

} // namespace Keelhaven::LoginShell
