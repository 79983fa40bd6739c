#pragma once

#include "Platform/Clock.h"
#include "Platform/SettingsStore.h"
#include "Platform/Tasks.h"
#include "Setup/AppVersion.h"
#include "Setup/UpdateInfo.h"
#include "Setup/UpdateTransport.h"

#include <QObject>

namespace Keelhaven {

/// Tells the user when a newer release exists; downloads and installs nothing. Main loop only.
class UpdateChecker : public QObject
{
    Q_OBJECT

public:
    /// From the end of one periodic check to the next.
    static constexpr Span period = std::chrono::hours(6);

    /// The references outlive it.
    struct Services
    {
        UpdateTransport &transport;
        SettingsStore &defaults;
        Clock &clock;
        Tasks &tasks;
        QUrl endpoint = UpdatePlaces::endpoint();
        QUrl downloadPage = UpdatePlaces::downloadPage();
    };

    /// `versionText` is this build's version; "0" when it has none.
    UpdateChecker(Services services, const QString &versionText, QObject *parent = nullptr);

    /// A newer release the user should hear of.
    [[nodiscard]] const std::optional<UpdateInfo> &available() const { return m_available; }
    [[nodiscard]] bool checking() const { return m_checking; }
    /// When the last answer came, in this process or an earlier one.
    [[nodiscard]] const std::optional<Date> &lastCheckedAt() const { return m_lastCheckedAt; }
    [[nodiscard]] const std::optional<QString> &lastError() const { return m_lastError; }
    /// After a check by hand that found nothing: the version the user is on.
    [[nodiscard]] const std::optional<QString> &upToDateAs() const { return m_upToDateAs; }
    [[nodiscard]] const AppVersion &current() const { return m_current; }
    [[nodiscard]] const QString &currentText() const { return m_currentText; }
    /// Whether this build was told where releases are announced.
    [[nodiscard]] bool hasEndpoint() const { return !m_services.endpoint.isEmpty(); }

    /// Checks now and every 6 hours; a second call does nothing. A build without an endpoint asks nobody.
    void start();
    void stop();

    /// Asks the endpoint; returns at once while another check runs. `manual` is the user's own wish: it shows
    /// a skipped version too and says so when there is nothing newer.
    [[nodiscard]] QCoro::Task<> check(bool manual);

    /// Leaves the available version out until a newer one appears.
    void skip();

    /// Opens the page of the available release, else the download page. False when there is neither.
    bool openDownload();

    /// The words of the buttons.
    static constexpr QStringView skipTitle = u"Skip this version";
    static constexpr QStringView downloadTitle = u"Download update";
    static constexpr QStringView checkTitle = u"Check now";
    static constexpr QStringView checkingTitle = u"Checking…"; ///< in place of "Check now" while a check runs

    /// "Keelhaven 1.2"
    [[nodiscard]] QString titleText() const;
    /// "Keelhaven 1.3 is available — you're on 1.2."; empty when nothing is.
    [[nodiscard]] QString bannerText() const;
    /// "You're on the latest version (1.2)."; empty unless a check by hand found that.
    [[nodiscard]] QString latestText() const;
    /// What stands under the settings' button, as of `now`.
    [[nodiscard]] QString caption(Date now) const;

    /// Opens a web page for the user.
    std::function<void(const QUrl &)> openURL;

Q_SIGNALS:
    void changed();

private:
    [[nodiscard]] QCoro::Task<> round(int loop);
    [[nodiscard]] QCoro::Task<Result<UpdateInfo, UpdateError>> newest();
    void apply(const UpdateInfo &info, const AppVersion &published, bool manual);

    Services m_services;
    QString m_currentText;
    AppVersion m_current;
    std::optional<UpdateInfo> m_available;
    std::optional<Date> m_lastCheckedAt;
    std::optional<QString> m_lastError;
    std::optional<QString> m_upToDateAs;
    bool m_checking = false;
    int m_loop = 0; ///< number of the periodic loop that goes on; 0 for none
    int m_loops = 0;
    Timer m_next;
};

} // namespace Keelhaven
