#pragma once

#include <QStringView>
#include <array>

namespace Keelhaven {

/// A work of others that Keelhaven is built on.
struct Acknowledgement
{
    QStringView name;
    QStringView use;
    QStringView license;
};

/// In the order in which they are shown.
inline constexpr std::array acknowledgements{
    Acknowledgement{u"Qt 6", u"windows, files, network and message buses", u"LGPL 3"},
    Acknowledgement{u"QCoro", u"coroutines on Qt's loop", u"MIT"},
    Acknowledgement{u"QtKeychain", u"the desktop's keyring", u"Modified BSD"},
    Acknowledgement{u"SQLite", u"agents, runs and what they delivered", u"public domain"},
    Acknowledgement{u"tmux", u"the terminals of the sessions", u"ISC"},
    Acknowledgement{u"Inter", u"the typeface, where it is installed", u"SIL Open Font License"},
};

} // namespace Keelhaven
