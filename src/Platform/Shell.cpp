#include "Platform/Shell.h"

#include <QFileInfo>
#include <pwd.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

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
    if (configured.startsWith(u'/') && QFileInfo(configured).isExecutable())
        return configured;
    const passwd *account = ::getpwuid(::getuid());
    const QString own = account && account->pw_shell ? QFile::decodeName(account->pw_shell) : QString();
    return !own.isEmpty() && QFileInfo(own).isExecutable() ? own : u"/bin/sh"_s;
}

} // namespace Keelhaven
