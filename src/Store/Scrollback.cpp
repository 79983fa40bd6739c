#include "Store/Scrollback.h"

#include "Platform/Uuid.h"

#include <QFile>

namespace Keelhaven::Scrollback {

using namespace Qt::StringLiterals;

QString file(const QString &runsDir, const QUuid &id)
{
    return runsDir + u'/' + uuidText(id) + u".txt"_s;
}

Result<void, FileError> save(const QString &runsDir, const QUuid &id, const QString &text)
{
    return writeFileAtomically(file(runsDir, id), text.toUtf8());
}

std::optional<QString> load(const QString &runsDir, const QUuid &id)
{
    const auto bytes = readFile(file(runsDir, id));
    return bytes ? std::optional(QString::fromUtf8(*bytes)) : std::nullopt;
}

void remove(const QString &runsDir, const QUuid &id)
{
    QFile::remove(file(runsDir, id));
}

} // namespace Keelhaven::Scrollback
