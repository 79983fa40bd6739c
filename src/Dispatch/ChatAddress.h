#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// The messenger that a conversation runs over.
enum class ChannelKind { Telegram, Slack };

template <>
struct EnumTexts<ChannelKind>
{
    static constexpr std::array<std::u16string_view, 2> texts{u"telegram", u"slack"};
};

/// One chat or conversation of a messenger: where answers go.
struct ChatAddress
{
    ChannelKind channel = ChannelKind::Telegram;
    QString id;
    bool operator==(const ChatAddress &) const = default;
};

template <>
struct RecordTable<ChatAddress>
{
    static auto fields()
    {
        return std::tuple{required(u"channel", &ChatAddress::channel), required(u"id", &ChatAddress::id)};
    }
};

} // namespace Keelhaven
