#include "Platform/SystemdJobManager.h"

#include "Platform/Files.h"

#include <QFileInfo>
#include <array>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr std::array weekdays{u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};

QString twoDigits(const CalendarEntry &entry, const QString &part)
{
    const auto value = entry.constFind(part);
    return value == entry.constEnd() ? u"*"_s : u"%1"_s.arg(*value, 2, 10, QChar(u'0'));
}

bool holds(const QString &file, const QString &text)
{
    const auto bytes = readFile(file);
    return bytes && *bytes == text.toUtf8();
}

} // namespace

SystemdJobManager::SystemdJobManager(ProcessRunner &processes, const QString &configHome, QStringList command)
    : m_manager(processes, configHome)
    , m_command(std::move(command))
{}

QString SystemdJobManager::onCalendar(const CalendarEntry &entry)
{
    QString text;
    if (const auto day = entry.constFind(u"Weekday"_s); day != entry.constEnd())
        text = QString::fromUtf16(weekdays.at(static_cast<std::size_t>(*day % 7))) + u' ';
    return text + u"*-%1-%2 %3:%4:00"_s.arg(twoDigits(entry, u"Month"_s), twoDigits(entry, u"Day"_s),
                                            twoDigits(entry, u"Hour"_s), twoDigits(entry, u"Minute"_s));
}

QString SystemdJobManager::timerText(const QList<CalendarEntry> &entries)
{
    QString text = u"[Unit]\nDescription=Firing times of Keelhaven's agents\n\n[Timer]\n"_s;
    for (const auto &entry : entries)
        text += u"OnCalendar="_s + onCalendar(entry) + u'\n';
    // An occurrence that was slept through is the program's to judge, not systemd's to make up for.
    return text + u"Persistent=false\nAccuracySec=1s\n\n[Install]\nWantedBy=timers.target\n"_s;
}

QString SystemdJobManager::serviceText(const QStringList &command)
{
    QString line = SystemdUserManager::quoted(command.value(0));
    for (const QString &argument : command.mid(1))
        line += u' ' + SystemdUserManager::quotedArgument(argument);
    // The program may stay as the running instance; what it started then outlives it as always.
    return u"[Unit]\nDescription=Keelhaven looks which agents are due\n\n[Service]\nType=exec\nExecStart=%1\n"
           "Restart=no\nKillMode=process\n"_s.arg(line);
}

QCoro::Task<> SystemdJobManager::schedule(QString label, QList<CalendarEntry> entries)
{
    if (entries.isEmpty())
        co_await remove(label);
    else
        co_await install(label, timerText(entries), serviceText(m_command));
}

QCoro::Task<> SystemdJobManager::install(QString label, QString timerText, QString serviceText)
{
    const QString timer = label + u".timer"_s;
    const QString timerFile = m_manager.unitFile(timer);
    const QString serviceFile = m_manager.unitFile(label + u".service"_s);
    const bool isWritten = holds(timerFile, timerText) && holds(serviceFile, serviceText);
    if (isWritten && m_standing.contains(label))
        co_return;
    m_standing.remove(label);

    const bool answers = co_await m_manager.answers();
    if (!answers)
        co_return;
    if (isWritten) {
        const QStringList ask{u"show"_s, u"--property=ActiveState,NeedDaemonReload"_s, timer};
        const ProcessResult state = co_await m_manager.call(ask);
        if (state.output.contains("ActiveState=active\n") && state.output.contains("NeedDaemonReload=no")) {
            m_standing.insert(label);
            co_return;
        }
    } else if (!writeFileAtomically(serviceFile, serviceText.toUtf8()) ||
               !writeFileAtomically(timerFile, timerText.toUtf8())) {
        co_return;
    }
    const QStringList reload{u"daemon-reload"_s};
    co_await m_manager.call(reload);
    const bool isOurs = co_await m_manager.owns(timer);
    if (!isOurs)
        co_return;
    const QStringList enable{u"enable"_s, timer};
    co_await m_manager.call(enable);
    // A timer that runs already goes by its old moments until it is started anew.
    const QStringList restart{u"restart"_s, timer};
    const ProcessResult restarted = co_await m_manager.call(restart);
    if (restarted.succeeded())
        m_standing.insert(label);
}

QCoro::Task<> SystemdJobManager::remove(QString label)
{
    const QString timer = label + u".timer"_s;
    const QStringList files{m_manager.unitFile(timer), m_manager.unitFile(label + u".service"_s),
                            m_manager.folder() + u"/timers.target.wants/"_s + timer};
    m_standing.remove(label);
    if (!QFileInfo::exists(files[0]) && !QFileInfo::exists(files[1]))
        co_return;
    const bool isOurs = co_await m_manager.owns(timer);
    if (isOurs) {
        const QStringList disable{u"disable"_s, u"--now"_s, timer};
        co_await m_manager.call(disable);
    }
    for (const QString &file : files)
        QFile::remove(file);
    if (isOurs) {
        const QStringList reload{u"daemon-reload"_s};
        co_await m_manager.call(reload);
    }
}

QCoro::Task<ServiceStatus> SystemdJobManager::examine() const
{
    const bool answers = co_await m_manager.answers();
    if (!answers)
        co_return ServiceStatus{false,
                                u"no systemd user manager answers: agents fire only while Keelhaven runs."_s};
    const auto lingers = co_await m_manager.lingers();
    if (lingers.value_or(true))
        co_return ServiceStatus{true, u"systemd starts Keelhaven at the firing times of its agents"_s};
    co_return ServiceStatus{
        true,
        u"systemd starts Keelhaven at the firing times of its agents, but only while you are logged in; \"loginctl enable-linger\" changes that"_s};
}

} // namespace Keelhaven
