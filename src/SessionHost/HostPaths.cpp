#include "SessionHost/HostPaths.h"

#include "Contract/KeelhavenPaths.h"

#include <QFile>
#include <QRegularExpression>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// What a client can connect to: sun_path less the terminating NUL, less the suffix of the tmux socket.
constexpr qsizetype longestSocketPath = 103;

} // namespace

Result<HostPaths, QString> HostPaths::fromEnvironment(const QString &session)
{
    static const QRegularExpression shape(u"^[A-Za-z0-9][A-Za-z0-9_-]{0,63}$"_s);
    const auto keelhaven = KeelhavenPaths::fromEnvironment();
    HostPaths paths;
    paths.session = session.isEmpty() ? qEnvironmentVariable("HERDR_SESSION") : session;
    if (paths.session.isEmpty())
        paths.session = u"keelhaven"_s;
    if (!shape.match(paths.session).hasMatch())
        return failure(u"the session name may hold letters, digits, - and _ only"_s);
    paths.socket = qEnvironmentVariable("HERDR_SOCKET_PATH");
    paths.isManaged = paths.socket.isEmpty();
    if (paths.isManaged)
        paths.socket = u"%1/.config/herdr/sessions/%2/herdr.sock"_s.arg(keelhaven.home, paths.session);
    if (!paths.socket.startsWith(u'/'))
        return failure(u"the socket path must be absolute: %1"_s.arg(paths.socket));
    if (QFile::encodeName(paths.socket).size() > longestSocketPath)
        return failure(u"the socket path is too long: %1"_s.arg(paths.socket));
    paths.tmuxSocket = paths.socket + u".mux"_s;
    paths.lockFile = paths.socket + u".lock"_s;
    paths.launchFolder = paths.socket + u".launch"_s;
    paths.codexRuns = keelhaven.codexRunsDir();
    paths.claudeFolder = keelhaven.home + u"/.claude"_s;
    return paths;
}

} // namespace Keelhaven
