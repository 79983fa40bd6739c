#include "Store/SQLite/SQLiteError.h"

#include "Platform/Text.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

QString SQLiteError::message() const
{
    QString sentence = u"sqlite "_s + QString::number(code) + u": "_s + text;
    if (sql)
        sentence += u" — "_s + firstCharacters(*sql, 120);
    return sentence;
}

} // namespace Keelhaven
