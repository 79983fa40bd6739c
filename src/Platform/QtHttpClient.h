#pragma once

#include "Platform/HttpClient.h"

#include <QObject>
#include <memory>

class QNetworkAccessManager;

namespace Keelhaven {

/// HttpClient on QNetworkAccessManager, which is built with its thread at the first request, so that a
/// process that never talks HTTP does not pay for it. Only "http" and "https"; no redirects, cookies, cache
/// or remembered log-ins, and straight to the host whatever proxy the desktop names. Its end aborts what
/// still runs; whoever waits for that is not resumed.
class QtHttpClient : public HttpClient
{
public:
    QtHttpClient();
    ~QtHttpClient() override;

    [[nodiscard]] QCoro::Task<Result<HttpResponse, HttpError>> send(HttpRequest request) override;

    /// Aborts what still runs, tells the waiters, and sends nothing more. For shutdown: a coroutine frame
    /// that nobody resumes is leaked.
    void close();

private:
    [[nodiscard]] QNetworkAccessManager &network();

    bool m_isClosed = false;
    std::unique_ptr<QNetworkAccessManager> m_network;
    QObject m_exchanges; ///< parent of what still runs; gone before the manager that owns the replies
};

} // namespace Keelhaven
