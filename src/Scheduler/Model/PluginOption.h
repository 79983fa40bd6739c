#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// One installed plugin as a captain or a dispatcher is offered it.
struct PluginOption
{
    QString id;
    QString name;
    std::optional<QString> description;
    QStringList commands; ///< "/{plugin name}:{command}"
    bool enabledUser = false;
    bool operator==(const PluginOption &) const = default;
};

template <>
struct RecordTable<PluginOption>
{
    static auto fields()
    {
        using O = PluginOption;
        return std::tuple{required(u"id", &O::id), required(u"name", &O::name),
                          optional(u"description", &O::description), required(u"commands", &O::commands),
                          required(u"enabled_user", &O::enabledUser)};
    }
};

} // namespace Keelhaven
