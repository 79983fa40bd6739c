#include "Platform/Shell.h"

#include <QFileInfo>
#include <pwd.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

QString shellQuoted(const QString &text)
{
    QString quoted = text;
    quoted.replace(u'\'', u"'\\''"_s);
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
