#pragma once

#include <QString>

namespace Keelhaven {

class AppModel;

/// The one place where "keelhaven://" links are carried out. Links come from outside; text that is no link
/// does nothing.
namespace DeepLinkRouter {

/// Without a window only the links that wake a service do something; the others are taken and ignored.
void route(const QString &link, AppModel &model);

} // namespace DeepLinkRouter

} // namespace Keelhaven
