#include "Herdr/Wire/HerdrError.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

HerdrError HerdrError::api(const QString &code, const QString &text)
{
    return {Kind::Api, code, text};
}

HerdrError HerdrError::unreachable(const QString &text)
{
    return {Kind::Unreachable, {}, text};
}

HerdrError HerdrError::transport(const QString &text)
{
    return {Kind::Transport, {}, text};
}

QString HerdrError::message() const
{
    if (kind == Kind::Api)
        return text + u" ("_s + code + u")"_s;
    return text;
}

} // namespace Keelhaven
