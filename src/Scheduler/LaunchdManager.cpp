#include "Scheduler/LaunchdManager.h"

#include <QXmlStreamWriter>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

/// "Hour=9,Minute=0": equal for equal moments, whatever order they were named in.
QString keyOf(const CalendarEntry &entry)
{
    QStringList pairs;
    for (const auto &[name, value] : entry.asKeyValueRange())
        pairs.append(name + u'=' + QString::number(value));
    return pairs.join(u',');
}

void writeTexts(QXmlStreamWriter &xml, const QStringList &texts)
{
    xml.writeStartElement(u"array"_s);
    for (const QString &text : texts)
        xml.writeTextElement(u"string"_s, text);
    xml.writeEndElement();
}

void writeEntries(QXmlStreamWriter &xml, const QList<CalendarEntry> &entries)
{
    xml.writeStartElement(u"array"_s);
    for (const auto &entry : entries) {
        xml.writeStartElement(u"dict"_s);
        for (const auto &[name, value] : entry.asKeyValueRange()) {
            xml.writeTextElement(u"key"_s, name);
            xml.writeTextElement(u"integer"_s, QString::number(value));
        }
        xml.writeEndElement();
    }
    xml.writeEndElement();
}

} // namespace

LaunchdManager::LaunchdManager(JobManager &jobs, QString label, std::function<Calendar()> calendar)
    : m_jobs(jobs)
    , m_label(std::move(label))
    , m_calendar(std::move(calendar))
{}

QCoro::Task<> LaunchdManager::sync(QList<SchedulerSlot> slotList)
{
    m_wanted = calendarEntries(slotList, m_calendar());
    if (m_running)
        co_return;
    m_running = true;
    const QPointer<LaunchdManager> self(this);
    auto &jobs = m_jobs;
    while (m_wanted) {
        const auto entries = *std::exchange(m_wanted, std::nullopt);
        co_await jobs.schedule(m_label, entries);
        if (!self)
            co_return;
    }
    m_running = false;
}

QList<CalendarEntry> LaunchdManager::calendarEntries(const QList<SchedulerSlot> &slotList,
                                                     const Calendar &calendar)
{
    QList<CalendarEntry> entries;
    QSet<QString> known;
    for (const auto &slot : slotList) {
        if (!slot.enabled || slot.provider != AgentProvider::Claude || slot.captainDecides)
            continue;
        for (const auto &entry : slot.schedule.launchdCalendarEntries(calendar)) {
            const QString key = keyOf(entry);
            if (known.contains(key))
                continue;
            known.insert(key);
            entries.append(entry);
        }
    }
    return entries;
}

std::optional<QByteArray> LaunchdManager::plistData(const QString &label, const QList<CalendarEntry> &entries)
{
    if (entries.isEmpty())
        return std::nullopt;
    QByteArray data;
    QXmlStreamWriter xml(&data);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeDTD(
        uR"(<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">)"_s);
    xml.writeStartElement(u"plist"_s);
    xml.writeAttribute(u"version"_s, u"1.0"_s);
    xml.writeStartElement(u"dict"_s);
    xml.writeTextElement(u"key"_s, u"Label"_s);
    xml.writeTextElement(u"string"_s, label);
    xml.writeTextElement(u"key"_s, u"ProgramArguments"_s);
    writeTexts(xml, {u"/usr/bin/open"_s, u"-g"_s, u"keelhaven://scheduler/wake"_s});
    xml.writeTextElement(u"key"_s, u"RunAtLoad"_s);
    xml.writeEmptyElement(u"false"_s);
    xml.writeTextElement(u"key"_s, u"StartCalendarInterval"_s);
    writeEntries(xml, entries);
    xml.writeEndDocument();
    return data;
}

} // namespace Keelhaven
