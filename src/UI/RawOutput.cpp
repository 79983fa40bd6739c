#include "UI/RawOutput.h"

#include "Platform/Tasks.h"
#include "UI/ShownText.h"

#include <QCoroTask>

namespace Keelhaven {

QVariant RawOutput::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || index.row() < 0 || index.row() >= m_lines.size())
        return {};
    return m_lines[index.row()];
}

QStringList RawOutput::linesOf(QStringView text)
{
    QStringList lines;
    for (const QStringView line : text.split(u'\n'))
        lines.append(
            ShownText::paragraph(line.first(std::min(line.size(), lineLimit + 1)).toString(), lineLimit));
    while (!lines.isEmpty() && lines.constLast().trimmed().isEmpty())
        lines.removeLast();
    return lines;
}

std::optional<QStringList> RawOutput::read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    if (file.size() > fileLimit)
        file.seek(file.size() - fileLimit);
    return linesOf(QString::fromUtf8(file.read(fileLimit)));
}

void RawOutput::setText(const QString &text)
{
    ++m_request;
    const auto lines = linesOf(text);
    if (lines != m_lines || m_isLoading || m_hasFailed)
        show(lines);
}

void RawOutput::open(const QString &path)
{
    close();
    m_isLoading = true;
    Q_EMIT stateChanged();
    QCoro::connect(onPool([path] { return read(path); }), this,
                   [this, request = m_request](const std::optional<QStringList> &lines) {
                       if (request == m_request)
                           show(lines);
                   });
}

void RawOutput::close()
{
    ++m_request;
    m_isLoading = false;
    m_hasFailed = false;
    beginResetModel();
    m_lines.clear();
    endResetModel();
    Q_EMIT stateChanged();
}

void RawOutput::show(const std::optional<QStringList> &lines)
{
    m_isLoading = false;
    m_hasFailed = !lines;
    beginResetModel();
    m_lines = lines.value_or(QStringList());
    endResetModel();
    Q_EMIT stateChanged();
}

} // namespace Keelhaven
