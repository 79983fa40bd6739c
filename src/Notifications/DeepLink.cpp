#include "Notifications/DeepLink.h"

#include "Platform/Uuid.h"

#include <QStringBuilder>
#include <QStringDecoder>
#include <QUrl>
#include <algorithm>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView scheme = u"keelhaven:";

bool isControl(QChar c)
{
    return c < QChar(0x20) || c == QChar(0x7f);
}

/// Nothing when an escape is malformed or the bytes are no clean UTF-8 text. QUrl's own decoder is lenient
/// and would let halves of characters and control characters through.
std::optional<QString> percentDecoded(QStringView text)
{
    const QByteArray bytes = text.toUtf8();
    QByteArray plain;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (bytes[i] != '%') {
            plain.append(bytes[i]);
            continue;
        }
        bool isHex = false;
        const QByteArray digits = bytes.mid(i + 1, 2);
        const bool plausible = digits.size() == 2 && std::isxdigit(static_cast<unsigned char>(digits[0]));
        const uint code = plausible ? digits.toUInt(&isHex, 16) : 0;
        if (!isHex)
            return std::nullopt;
        plain.append(static_cast<char>(code));
        i += 2;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder(plain);
    if (decoder.hasError() || std::ranges::any_of(decoded, isControl))
        return std::nullopt;
    return decoded;
}

/// Host of an authority "user@host:port".
QString hostOf(QStringView authority)
{
    const QStringView address = authority.sliced(authority.lastIndexOf(u'@') + 1);
    const qsizetype colon = address.indexOf(u':');
    return (colon < 0 ? address : address.first(colon)).toString().toLower();
}

std::optional<QString> lastComponent(QStringView path)
{
    while (path.endsWith(u'/'))
        path.chop(1);
    const QStringView last = path.sliced(path.lastIndexOf(u'/') + 1);
    if (last.isEmpty())
        return std::nullopt;
    return percentDecoded(last).value_or(last.toString());
}

QString link(QStringView host, const QString &last)
{
    return scheme % u"//" % host % u'/' % last;
}

} // namespace

std::optional<DeepLink> DeepLink::parse(const QString &text)
{
    // No character has more UTF-16 units than bytes of UTF-8, so the first test bounds the second.
    if (text.size() > maximumLength || text.toUtf8().size() > maximumLength)
        return std::nullopt;
    if (!text.startsWith(scheme, Qt::CaseInsensitive))
        return std::nullopt;
    if (std::ranges::any_of(text, [](QChar c) { return isControl(c) || c == u' '; }))
        return std::nullopt;
    QStringView rest = QStringView(text).sliced(scheme.size());
    const auto end = std::ranges::find_if(rest, [](QChar c) { return c == u'?' || c == u'#'; });
    rest = rest.first(end - rest.begin());

    DeepLink link;
    if (rest.startsWith(u"//")) {
        rest = rest.sliced(2);
        const qsizetype slash = rest.indexOf(u'/');
        link.host = hostOf(slash < 0 ? rest : rest.first(slash));
        rest = slash < 0 ? QStringView() : rest.sliced(slash);
    }
    link.name = lastComponent(rest);
    if (link.name)
        link.uuid = uuidFromText(*link.name);
    return link;
}

DeepLink::Action DeepLink::action() const
{
    const auto wake = [&](Action action) { return name == u"wake"_s ? action : Action::None; };
    // A session in the root folder has "/" for a project, which nothing on a screen is called.
    if (host == u"project")
        return name && *name != u"/" ? Action::OpenProject : Action::RaiseWindow;
    if (host == u"scheduler")
        return wake(Action::WakeScheduler);
    if (host == u"dispatch")
        return wake(Action::WakeDispatch);
    if (host == u"captain")
        return wake(Action::WakeCaptain);
    if (host == u"ship")
        return Action::ShowShip;
    if (host == u"run")
        return Action::ShowRun;
    if (host == u"runs")
        return Action::ShowScheduler;
    return Action::RaiseWindow;
}

bool DeepLink::wantsWindow() const
{
    switch (action()) {
    case Action::None:
    case Action::WakeScheduler:
    case Action::WakeDispatch:
    case Action::WakeCaptain:
        return false;
    default:
        return true;
    }
}

QString DeepLink::project(const QString &name)
{
    return link(u"project", QString::fromLatin1(QUrl::toPercentEncoding(name)));
}

QString DeepLink::run(const QUuid &id)
{
    return link(u"run", uuidText(id));
}

QString DeepLink::ship(const QUuid &id)
{
    return link(u"ship", uuidText(id));
}

} // namespace Keelhaven
