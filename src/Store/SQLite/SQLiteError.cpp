#include "Store/SQLite/SQLiteError.h"

#include <QTextBoundaryFinder>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

QString firstCharacters(const QString &text, int count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (int i = 0; i < count; ++i) {
        if (finder.toNextBoundary() < 0)
            return text;
    }
    return text.first(finder.position());
}

} // namespace

QString SQLiteError::message() const
{
    QString sentence = u"sqlite "_s + QString::number(code) + u": "_s + text;
    if (sql)
        sentence += u" — "_s + firstCharacters(*sql, 120);
    return sentence;
}

} // namespace Keelhaven
