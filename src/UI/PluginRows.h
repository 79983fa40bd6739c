#pragma once

#include "Plugins/LocalPluginInfo.h"
#include "Plugins/PluginInventory.h"
#include "UI/KeyedListModel.h"

#include <QQmlEngine>

namespace Keelhaven {

/// One line of the plugins' list, its texts as they are shown.
struct PluginRow
{
    QString key;   ///< the id with the kind of the line before it: an id may stand in several
    QString group; ///< the heading it stands under
    QString name;
    QString subtitle;
    QString state; ///< "On", "Off" or what is wrong
    QString tone;  ///< of the state
    bool operator==(const PluginRow &) const = default;
};

class PluginListModel : public KeyedListModel<PluginRow, QString>
{
    Q_OBJECT
    QML_ANONYMOUS

public:
    enum Role { Key = Qt::UserRole, Group, Name, Subtitle, State, Tone };

    using KeyedListModel::KeyedListModel;
    using KeyedListModel::show;

    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

protected:
    [[nodiscard]] QString key(const PluginRow &row) const override { return row.key; }
};

/// The lines of the list. `info` is what the plugin's folder holds; null until it was read.
namespace PluginRows {

/// What a line's key begins with; the plugin's id follows.
inline constexpr QStringView bundledKey = u"built-in:";
inline constexpr QStringView installedKey = u"installed:";
inline constexpr QStringView orphanKey = u"orphan:";

[[nodiscard]] PluginRow installed(const PluginRecord &plugin, const LocalPluginInfo *info);
/// Of one that is switched on and not installed.
[[nodiscard]] PluginRow orphan(const QString &id);
/// Of the application's own.
[[nodiscard]] PluginRow bundled(const LocalPluginInfo *info);

/// Whether the words of a line, or the names of what its plugin brings, hold what is searched for.
[[nodiscard]] bool matches(const PluginRow &row, const LocalPluginInfo *info, const QString &searchText);

} // namespace PluginRows

} // namespace Keelhaven
