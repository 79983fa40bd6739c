#pragma once

#include "Contract/RecordMapper.h"

namespace Keelhaven {

/// The output of `herdr status --json`.
struct HerdrStatusJSON
{
    struct Client
    {
        QString version;
        int protocol = 0;
        std::optional<QString> binary;
        std::optional<QString> session;
        bool operator==(const Client &) const = default;
    };

    struct Server
    {
        bool running = false;
        std::optional<QString> version;
        std::optional<int> protocol;
        std::optional<bool> compatible;
        std::optional<QString> socket;
        std::optional<QString> session;
        std::optional<bool> restartNeeded;
        bool operator==(const Server &) const = default;
    };

    Client client;
    Server server;
    bool operator==(const HerdrStatusJSON &) const = default;
};

template <>
struct RecordTable<HerdrStatusJSON::Client>
{
    static auto fields()
    {
        using R = HerdrStatusJSON::Client;
        return std::tuple{required(u"version", &R::version), required(u"protocol", &R::protocol),
                          optional(u"binary", &R::binary), optional(u"session", &R::session)};
    }
};

template <>
struct RecordTable<HerdrStatusJSON::Server>
{
    static auto fields()
    {
        using R = HerdrStatusJSON::Server;
        return std::tuple{required(u"running", &R::running),
                          optional(u"version", &R::version),
                          optional(u"protocol", &R::protocol),
                          optional(u"compatible", &R::compatible),
                          optional(u"socket", &R::socket),
                          optional(u"session", &R::session),
                          optional(u"restart_needed", &R::restartNeeded)};
    }
};

template <>
struct RecordTable<HerdrStatusJSON>
{
    static auto fields()
    {
        return std::tuple{required(u"client", &HerdrStatusJSON::client),
                          required(u"server", &HerdrStatusJSON::server)};
    }
};

} // namespace Keelhaven
