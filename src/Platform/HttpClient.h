#pragma once

#include "Platform/Result.h"

#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QString>
#include <QUrl>
#include <chrono>
#include <utility>

namespace Keelhaven {

/// One HTTP exchange to make.
struct HttpRequest
{
    QByteArray method = "GET";
    QUrl url;
    /// Names and values as they go out. Values may be secrets: no error and no log repeats them.
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body;
    /// For the whole exchange, from the look-up of the name to the last byte.
    std::chrono::milliseconds timeout = std::chrono::seconds(30);
    /// A longer body ends the exchange with `HttpError::Kind::TooLarge`.
    qint64 bodyLimit = 16 * 1024 * 1024;
};

/// What a server answered, whatever its status.
struct HttpResponse
{
    int status = 0;
    QList<std::pair<QByteArray, QByteArray>> headers;
    QByteArray body;

    /// The first value of a header, whose name is compared without regard to case; empty when it is absent.
    [[nodiscard]] QByteArray header(const QByteArray &name) const;
};

/// Why there is no answer.
struct HttpError
{
    enum class Kind {
        Unreachable,
        NotHttp, ///< a server took the connection and ended it without the beginning of an HTTP answer
        TimedOut,
        TooLarge,
        Closed
    };

    Kind kind = Kind::Unreachable;
    QString detail; ///< what the system said; holds no header and no query

    [[nodiscard]] QString message() const { return detail; }
};

/// Talks HTTP from the main loop.
class HttpClient
{
public:
    virtual ~HttpClient() = default;

    /// Sends the request and reads the answer to its end. Redirects are answers: none is followed.
    [[nodiscard]] virtual QCoro::Task<Result<HttpResponse, HttpError>> send(HttpRequest request) = 0;
};

} // namespace Keelhaven
