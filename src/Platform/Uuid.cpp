#include "Platform/Uuid.h"

namespace Keelhaven {

QString uuidText(const QUuid &id)
{
    constexpr char16_t hex[] = u"0123456789ABCDEF";
    const QByteArray bytes = id.toRfc4122();
    QString text(36, Qt::Uninitialized);
    QChar *at = text.data();
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            *at++ = u'-';
        *at++ = hex[static_cast<unsigned char>(bytes[i]) >> 4];
        *at++ = hex[bytes[i] & 0xf];
    }
    return text;
}

std::optional<QUuid> uuidFromText(QStringView text)
{
    if (text.size() != 36)
        return std::nullopt;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool hex = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        if (dash ? c != u'-' : !hex)
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

QString newShortID()
{
    return QUuid::createUuid().toString(QUuid::Id128).first(8);
}

} // namespace Keelhaven
