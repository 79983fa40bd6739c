#pragma once

#include <QString>

namespace Keelhaven {

class AppModel;

/// The one place where "keelhaven://" links are carried out. Links come from outside; text that is no link
/// does nothing.
namespace DeepLinkRouter {

/// Without a window a link that shows something changes only what the next window has selected.
void route(const QString &link, AppModel &model);

} // namespace DeepLinkRouter

} // namespace Keelhaven
