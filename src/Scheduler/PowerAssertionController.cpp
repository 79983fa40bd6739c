#include "Scheduler/PowerAssertionController.h"

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

const QString keepAwakeKey = u"keepMacAwake"_s;
const QString lockScreenKey = u"preventMacLockScreen"_s;
const QString userHolder = u"user"_s;

} // namespace

PowerAssertionController::PowerAssertionController(PowerBackend &backend, SettingsStore &settings)
    : m_backend(backend)
    , m_settings(settings)
    , m_preventLockScreen(settings.flag(lockScreenKey))
    , m_keepAwake(settings.flag(keepAwakeKey))
{
    m_backend.onChanged = [this] { Q_EMIT changed(); };
    if (m_keepAwake)
        hold(userHolder);
    applyLockScreen();
}

PowerAssertionController::~PowerAssertionController()
{
    m_backend.onChanged = nullptr;
    if (m_assertionID != 0)
        m_backend.drop(m_assertionID);
    if (m_displayAssertionID != 0)
        m_backend.drop(m_displayAssertionID);
}

void PowerAssertionController::hold(const QString &key)
{
    m_holders.insert(key);
    ensureAssertion();
    Q_EMIT changed();
}

void PowerAssertionController::release(const QString &key)
{
    m_holders.erase(key);
    reconcile();
    Q_EMIT changed();
}

void PowerAssertionController::setKeepAwake(bool on)
{
    m_keepAwake = on;
    m_settings.set(keepAwakeKey, on);
    if (on)
        hold(userHolder);
    else
        release(userHolder);
}

void PowerAssertionController::setPreventLockScreen(bool on)
{
    m_preventLockScreen = on;
    m_settings.set(lockScreenKey, on);
    applyLockScreen();
    Q_EMIT changed();
}

void PowerAssertionController::readSettings()
{
    m_keepAwake = m_settings.flag(keepAwakeKey);
    if (m_keepAwake)
        hold(userHolder);
    else
        release(userHolder);
    m_preventLockScreen = m_settings.flag(lockScreenKey);
    applyLockScreen();
    Q_EMIT changed();
}

void PowerAssertionController::ensureAssertion()
{
    ensure(m_assertionID, PowerBackend::Hold::System, u"Keelhaven: Keep My Mac Awake"_s);
}

void PowerAssertionController::ensure(std::uint32_t &id, PowerBackend::Hold hold, const QString &reason)
{
    if (id == 0)
        id = m_backend.take(hold, reason);
    else
        m_backend.renew(id);
}

void PowerAssertionController::reconcile()
{
    if (m_holders.empty() && m_assertionID != 0)
        m_backend.drop(std::exchange(m_assertionID, 0));
}

void PowerAssertionController::applyLockScreen()
{
    if (m_preventLockScreen)
        ensure(m_displayAssertionID, PowerBackend::Hold::Display, u"Keelhaven: Prevent Mac lock screen"_s);
    else if (m_displayAssertionID != 0)
        m_backend.drop(std::exchange(m_displayAssertionID, 0));
}

} // namespace Keelhaven
