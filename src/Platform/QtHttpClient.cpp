#include "Platform/QtHttpClient.h"

#include "Platform/OneShot.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

using Outcome = Result<HttpResponse, HttpError>;

/// Why a request cannot go out as it is. Qt would also read local files, and writes line breaks as they come.
std::optional<QString> objection(const HttpRequest &request)
{
    const QString scheme = request.url.scheme();
    if (!request.url.isValid() || request.url.host().isEmpty() || (scheme != u"http" && scheme != u"https"))
        return u"not an HTTP address"_s;
    const auto breaksLine = [](const QByteArray &text) {
        return text.contains('\r') || text.contains('\n') || text.contains('\0');
    };
    for (const auto &[name, value] : request.headers) {
        if (name.isEmpty() || breaksLine(name) || breaksLine(value))
            return u"a header cannot be sent"_s;
    }
    return std::nullopt;
}

/// Whether nobody listens at a loopback address: the kernel tells that at once, so that asking every
/// so often for a local service that does not run costs neither Qt's manager nor its thread.
bool refusesAtOnce(const QUrl &url)
{
    const QHostAddress host(url.host());
    if (host.protocol() != QAbstractSocket::IPv4Protocol || !host.isLoopback() || url.port() <= 0)
        return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(host.toIPv4Address());
    address.sin_port = htons(static_cast<quint16>(url.port()));
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return false;
    int error = 0;
    if (::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) < 0)
        error = errno;
    pollfd settled{socket, POLLOUT, 0};
    socklen_t size = sizeof error;
    if (error == EINPROGRESS && ::poll(&settled, 1, 0) == 1)
        ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
    ::close(socket);
    return error == ECONNREFUSED;
}

QNetworkRequest networkRequest(const HttpRequest &request)
{
    QNetworkRequest out(request.url);
    out.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    out.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    out.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    out.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    out.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    out.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    out.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // Qt would call itself a browser.
    out.setRawHeader("User-Agent", "keelhaven/" + QCoreApplication::applicationVersion().toUtf8());
    for (const auto &[name, value] : request.headers)
        out.setRawHeader(name, value);
    return out;
}

/// Qt reports statuses of 400 and above as errors as well; those are answers.
bool isTransportError(QNetworkReply::NetworkError error)
{
    return (error > QNetworkReply::NoError && error <= QNetworkReply::UnknownNetworkError) ||
           error == QNetworkReply::ProtocolFailure;
}

/// One request on its way, in a race between the answer's end and the time-out. Deletes itself after either.
class Exchange : public QObject
{
public:
    Exchange(const HttpRequest &request, QNetworkReply *reply, QObject *client)
        : QObject(client)
        , m_reply(reply)
        , m_host(request.url.host())
        , m_limit(request.bodyLimit)
    {
        connect(reply, &QNetworkReply::metaDataChanged, this, [this] { lookAtLength(); });
        connect(reply, &QNetworkReply::readyRead, this, [this] { drain(); });
        connect(reply, &QNetworkReply::finished, this, [this] { finished(); });
        connect(&m_timer, &QTimer::timeout, this, [this, timeout = request.timeout] {
            fail(HttpError::Kind::TimedOut, u"no answer within %1 s"_s.arg(double(timeout.count()) / 1000));
        });
        m_timer.setSingleShot(true);
        m_timer.start(request.timeout);
    }

    ~Exchange() override { dropReply(); }

    /// Ends the request and tells its waiter so, at once.
    void abandon() { fail(HttpError::Kind::Closed, u"the program is going down"_s); }

    OneShot<Outcome> done;

private:
    void lookAtLength()
    {
        const auto length = m_reply->header(QNetworkRequest::ContentLengthHeader);
        if (length.isValid() && length.toLongLong() > m_limit)
            failTooLarge();
    }

    void drain()
    {
        m_body.append(m_reply->readAll());
        if (m_body.size() > m_limit)
            failTooLarge();
    }

    void failTooLarge()
    {
        fail(HttpError::Kind::TooLarge, u"the answer has more than %1 bytes"_s.arg(m_limit));
    }

    void finished()
    {
        drain();
        if (done.isResolved())
            return;
        const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (status == 0 || isTransportError(m_reply->error())) {
            // Qt says the same of a server that speaks something else and of one that only hangs up.
            const bool hungUp = m_reply->error() == QNetworkReply::RemoteHostClosedError;
            fail(status == 0 && hungUp ? HttpError::Kind::NotHttp : HttpError::Kind::Unreachable, reason());
            return;
        }
        HttpResponse response;
        response.status = status;
        const auto headers = m_reply->rawHeaderPairs();
        for (const auto &[name, value] : headers)
            response.headers.append({name, value});
        response.body = std::exchange(m_body, {});
        end(std::move(response));
    }

    /// What Qt says; some of its sentences repeat the address, whose path and query may hold a secret.
    [[nodiscard]] QString reason() const
    {
        const QString text = m_reply->errorString();
        const QUrl url = m_reply->url();
        const bool repeatsAddress = (url.path().size() > 1 && text.contains(url.path())) ||
                                    (url.hasQuery() && text.contains(url.query()));
        return repeatsAddress ? u"the exchange failed (%1)"_s.arg(int(m_reply->error())) : text;
    }

    void fail(HttpError::Kind kind, const QString &text)
    {
        end(failure(HttpError{kind, m_host + u": "_s + text}));
    }

    void end(Outcome outcome)
    {
        m_timer.stop();
        dropReply();
        deleteLater();
        done.resolve(std::move(outcome));
    }

    void dropReply()
    {
        if (!m_reply)
            return;
        QNetworkReply *reply = std::exchange(m_reply, nullptr);
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
    }

    QPointer<QNetworkReply> m_reply;
    QString m_host;
    qint64 m_limit;
    QByteArray m_body;
    QTimer m_timer;
};

QNetworkReply *start(QNetworkAccessManager &network, const HttpRequest &request)
{
    const QNetworkRequest out = networkRequest(request);
    if (request.method == "GET" && request.body.isEmpty())
        return network.get(out);
    if (request.method == "HEAD")
        return network.head(out);
    return network.sendCustomRequest(out, request.method, request.body);
}

} // namespace

QtHttpClient::QtHttpClient() = default;
QtHttpClient::~QtHttpClient() = default;

QNetworkAccessManager &QtHttpClient::network()
{
    if (!m_network) {
        m_network = std::make_unique<QNetworkAccessManager>();
        m_network->setProxy(QNetworkProxy::NoProxy);
    }
    return *m_network;
}

void QtHttpClient::close()
{
    m_isClosed = true;
    const auto running = m_exchanges.children();
    for (QObject *exchange : running)
        static_cast<Exchange *>(exchange)->abandon();
}

QCoro::Task<Result<HttpResponse, HttpError>> QtHttpClient::send(HttpRequest request)
{
    if (m_isClosed)
        co_return failure(HttpError{HttpError::Kind::Closed, u"the program is going down"_s});
    if (const auto refused = objection(request))
        co_return failure(HttpError{HttpError::Kind::Unreachable, *refused});
    if (!m_network && refusesAtOnce(request.url))
        co_return failure(
            HttpError{HttpError::Kind::Unreachable, request.url.host() + u": Connection refused"_s});
    const auto done = (new Exchange(request, start(network(), request), &m_exchanges))->done;
    auto outcome = co_await done;
    co_return outcome;
}

} // namespace Keelhaven
