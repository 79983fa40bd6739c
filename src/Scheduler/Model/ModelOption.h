#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// One model as a captain or a dispatcher is offered it.
struct ModelOption
{
    QString key; ///< what an answer names it by: a model value, or the provider for its default
    QString label;
    QString provider; ///< raw text of the provider
    bool operator==(const ModelOption &) const = default;
};

template <>
struct RecordTable<ModelOption>
{
    static auto fields()
    {
        using O = ModelOption;
        return std::tuple{required(u"key", &O::key), required(u"label", &O::label),
                          required(u"provider", &O::provider)};
    }
};

} // namespace Keelhaven
