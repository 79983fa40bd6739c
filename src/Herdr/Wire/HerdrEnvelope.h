#pragma once

#include "Contract/RecordMapper.h"

/// The frame: one JSON object on one line, request and response alike; one connection carries one of each.
namespace Keelhaven {

/// `{"id": …, "method": …, "params": …}`. A server reads it as HerdrRequest<JSONValue> and decodes the
/// parameters by the method's name.
template <typename Params>
struct HerdrRequest
{
    QString id;
    QString method;
    Params params{};
    bool operator==(const HerdrRequest &) const = default;
};

/// The error object of a response.
struct HerdrFailure
{
    QString code;
    QString message;
    bool operator==(const HerdrFailure &) const = default;
};

/// A response. Its id is not read: a connection carries only one. When both stand, the error counts.
template <typename Outcome>
struct HerdrEnvelope
{
    using Failure = HerdrFailure;

    std::optional<Outcome> result;
    std::optional<Failure> error;
    bool operator==(const HerdrEnvelope &) const = default;
};

/// "kh-" and eight characters of a new UUID: the id of one request.
[[nodiscard]] QString newHerdrRequestID();

template <typename Params>
struct RecordTable<HerdrRequest<Params>>
{
    static auto fields()
    {
        using R = HerdrRequest<Params>;
        return std::tuple{required(u"id", &R::id), required(u"method", &R::method),
                          required(u"params", &R::params)};
    }
};

template <>
struct RecordTable<HerdrFailure>
{
    static auto fields()
    {
        return std::tuple{required(u"code", &HerdrFailure::code),
                          required(u"message", &HerdrFailure::message)};
    }
};

template <typename Outcome>
struct RecordTable<HerdrEnvelope<Outcome>>
{
    static auto fields()
    {
        using R = HerdrEnvelope<Outcome>;
        return std::tuple{optional(u"result", &R::result), optional(u"error", &R::error)};
    }
};

} // namespace Keelhaven
