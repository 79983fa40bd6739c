#include "Platform/Shell.h"

#include <QFileInfo>
#include <pwd.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

bool isShell(const QString &path)
{
    const QFileInfo file(path);
    return path.startsWith(u'/') && file.isFile() && file.isExecutable() && file.fileName() != u"nologin" &&
           file.fileName() != u"false";
}

} // namespace

QString shellQuoted(const QString &text)
{
    // The backslash leaves the quotes as well: fish knows escapes inside of them, the other shells do not.
    QString quoted;
    for (const QChar character : text) {
        if (character == u'\'' || character == u'\\')
            quoted += u"'\\"_s + character + u'\'';
        else
            quoted += character;
    }
    return u'\'' + quoted + u'\'';
}

QString userShell()
{
    const QString configured = qEnvironmentVariable("SHELL");
    if (isShell(configured))
        return configured;
    const passwd *account = ::getpwuid(::getuid());
    const QString own = account && account->pw_shell ? QFile::decodeName(account->pw_shell) : QString();
    return isShell(own) ? own : u"/bin/sh"_s;
}

QStringList loginShellArguments(const QString &shell, const QString &command)
{
    // csh takes "-l" only as its sole argument.
    const QString name = QFileInfo(shell).fileName();
    const bool isCShell = name == u"csh" || name == u"tcsh";
    return {isCShell ? u"-c"_s : u"-lc"_s, command};
}

} // namespace Keelhaven
