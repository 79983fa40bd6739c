#pragma once

#include "Herdr/HerdrTransport.h"

namespace Keelhaven {

/// HerdrTransport over a local stream socket, one connection an exchange. The blocking calls of all
/// transports of the process run on one worker thread, in order of arrival; a slow exchange delays the ones
/// behind it.
class UnixSocketTransport : public HerdrTransport
{
public:
    /// The time-out's text. The launcher tells a prompt that was not read from other failures by it.
    static constexpr QStringView timedOutText = u"timed out waiting for a Herdr response";

    explicit UnixSocketTransport(QString socketPath);

    [[nodiscard]] QCoro::Task<Result<QString, HerdrError>> roundTrip(QString line, Span timeout) override;
    void post(QString line, Span timeout, std::function<void()> finished) override;

    /// The exchange itself, on the calling thread. The time-out is cut to whole seconds; less than one is
    /// none at all.
    [[nodiscard]] static Result<QString, HerdrError> exchange(const QString &socketPath, const QString &line,
                                                              Span timeout);

private:
    QString m_socketPath;
};

} // namespace Keelhaven
