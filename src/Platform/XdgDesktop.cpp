#include "Platform/XdgDesktop.h"

#include <QFileInfo>
#include <QProcess>
#include <array>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// What stands between an emulator and the command. Where there is an older form that takes the command as
/// one shell line, this is the one that takes a list.
struct Separator
{
    QStringView emulator;
    QStringView words;
};

constexpr std::array separators{
    Separator{u"xdg-terminal-exec", u""},
    Separator{u"gnome-terminal", u"--"},
    Separator{u"kgx", u"--"},
    Separator{u"ptyxis", u"--"},
    Separator{u"mate-terminal", u"--"},
    Separator{u"xfce4-terminal", u"-x"},
    Separator{u"terminator", u"-x"},
    Separator{u"kitty", u""},
    Separator{u"foot", u""},
    Separator{u"wezterm", u"start --"},
};
constexpr QStringView usualSeparator = u"-e";

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

/// The user's choice, then the system's, then common ones.
QList<QStringList> emulators(const SettingsStore &settings)
{
    QList<QStringList> list;
    list.append(QProcess::splitCommand(settings.text(XdgDesktop::terminalKey.toString())));
    list.append(QProcess::splitCommand(qEnvironmentVariable("TERMINAL")));
    for (const char16_t *name :
         {u"xdg-terminal-exec", u"x-terminal-emulator", u"gnome-terminal", u"konsole", u"kgx", u"ptyxis",
          u"xfce4-terminal", u"mate-terminal", u"tilix", u"terminator", u"kitty", u"alacritty", u"wezterm",
          u"foot", u"xterm", u"urxvt", u"st"})
        list.append(QStringList{QString::fromUtf16(name)});
    return list;
}

} // namespace

XdgDesktop::XdgDesktop(ProcessRunner &processes, SettingsStore &settings)
    : m_processes(processes)
    , m_settings(settings)
{}

QStringList XdgDesktop::terminalArguments(const QStringList &emulator, const QStringList &command)
{
    if (emulator.isEmpty())
        return {};
    const QString name = QFileInfo(emulator.first()).fileName();
    const auto found = std::ranges::find(separators, QStringView(name), &Separator::emulator);
    const QStringView words = found == separators.end() ? usualSeparator : found->words;
    return emulator + words.toString().split(u' ', Qt::SkipEmptyParts) + command;
}

bool XdgDesktop::openTerminal(const QStringList &command)
{
    if (!hasDisplay())
        return false;
    const auto candidates = emulators(m_settings);
    return std::ranges::any_of(candidates, [&](const QStringList &emulator) {
        QStringList words = terminalArguments(emulator, command);
        if (words.isEmpty())
            return false;
        ProcessSpec spec;
        spec.program = words.takeFirst();
        spec.arguments = words;
        // The terminal is a new one, not a pane of the tmux this program may have been started in.
        spec.environment.insert(u"TMUX"_s, std::nullopt);
        spec.environment.insert(u"TMUX_PANE"_s, std::nullopt);
        return m_processes.startDetached(spec);
    });
}

} // namespace Keelhaven
