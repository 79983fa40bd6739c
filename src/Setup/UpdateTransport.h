#pragma once

#include "Platform/HttpClient.h"

namespace Keelhaven {

/// Why an update check found nothing out.
struct UpdateError
{
    enum class Kind { Http, BadVersion, Failed };

    Kind kind = Kind::Failed;
    int status = 0; ///< of Http
    QString text;   ///< the unreadable version, or the system's description

    [[nodiscard]] static UpdateError http(int status) { return {Kind::Http, status, {}}; }
    [[nodiscard]] static UpdateError badVersion(const QString &text) { return {Kind::BadVersion, 0, text}; }
    [[nodiscard]] static UpdateError failed(const QString &description)
    {
        return {Kind::Failed, 0, description};
    }
    [[nodiscard]] QString message() const;

    bool operator==(const UpdateError &) const = default;
};

/// Fetches the record of the version endpoint.
class UpdateTransport
{
public:
    struct Response
    {
        QByteArray body;
        int status = 0; ///< 0 for an answer that is no HTTP
    };

    virtual ~UpdateTransport() = default;
    [[nodiscard]] virtual QCoro::Task<Result<Response, UpdateError>> fetch(QUrl url) = 0;
};

/// A GET that no cache answers, with a time-out of 15 seconds. `http` outlives it.
class URLSessionUpdateTransport : public UpdateTransport
{
public:
    explicit URLSessionUpdateTransport(HttpClient &http)
        : m_http(http)
    {}

    [[nodiscard]] QCoro::Task<Result<Response, UpdateError>> fetch(QUrl url) override;

private:
    HttpClient &m_http;
};

/// Where this build looks for releases, and where it sends a user who wants one; both as the build was told.
/// Empty when it was told nothing.
namespace UpdatePlaces {

[[nodiscard]] QUrl endpoint();
[[nodiscard]] QUrl downloadPage();

} // namespace UpdatePlaces

} // namespace Keelhaven
