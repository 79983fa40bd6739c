#include "Support/TestHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <stdexcept>

namespace Keelhaven {

using namespace Qt::StringLiterals;

// Socket paths below it must stay short, so it lies directly in /tmp.
TestHome::TestHome()
    : m_folder(u"/tmp/kh-XXXXXX"_s)
{
    if (!m_folder.isValid())
        throw std::runtime_error("no temporary folder");
}

void TestHome::enter() const
{
    qputenv("HOME", path().toUtf8());
    qputenv("TMUX_TMPDIR", path().toUtf8());
    qputenv("XDG_RUNTIME_DIR", path(u".run"_s).toUtf8());
    // Nor may the machine's services hear of a test.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + path(u".run/no-bus"_s).toUtf8());
    QDir().mkpath(path(u".run"_s));
    QFile::setPermissions(path(u".run"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const char *name :
         {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "DBUS_SESSION_BUS_ADDRESS", "TMUX",
          "TMUX_PANE", "HERDR_SOCKET_PATH", "HERDR_ENV", "HERDR_PANE_ID", "HERDR_SESSION", "CODEX_HOME",
          "KEELHAVEN_RESOURCES", "KEELHAVEN_RUN_ID", "KEELHAVEN_RUN_DIR", "CLAUDE_CONFIG_DIR"})
        qunsetenv(name);
}

QString TestHome::write(const QString &relative, const QByteArray &bytes) const
{
    const QString file = path(relative);
    QDir().mkpath(QFileInfo(file).path());
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write a test file");
    return file;
}

QByteArray TestHome::read(const QString &relative) const
{
    QFile in(path(relative));
    return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
}

} // namespace Keelhaven
